// A model test of the by-index lookup. The set remembers where its last by-index lookup ended so
// that consecutive indices cost constant time; here every answer it gives is compared with the
// plain walk (lower bound of the branch, step `index` entries, prefix test at the end) over the
// set's own map, under random interleavings of lookups and changes of the map.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <orvandel/configuration/internal/BinaryConfigurationSet.h>
#include <orvandel/configuration/internal/Setting.h>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::makeSetting;
using testsupport::serializedForm;

namespace {

// A binary set whose map the test can read, to walk it independently.
class InspectableSet : public BinaryConfigurationSet {
  public:
    const SettingMap& settings() const { return d_settings; }

  protected:
    ~InspectableSet() override = default;
};

using SettingMap = ConfigurationSet::SettingMap;

// The walk without memory: the entry `index` steps after the branch's lower bound, provided its
// path begins with the branch; end() stands for "no setting at that index".
SettingMap::const_iterator referenceWalk(const SettingMap& settings, const std::string& branch,
                                         uint32_t index) {
    SettingMap::const_iterator position = settings.lower_bound(branch);
    while (position != settings.end()) {
        if (index == 0) {
            return position->first.compare(0, branch.size(), branch) == 0 ? position
                                                                          : settings.end();
        }
        ++position;
        --index;
    }
    return settings.end();
}

class IndexCursorModel {
  public:
    explicit IndexCursorModel(uint32_t seed)
        : d_random(seed), d_set(new InspectableSet()), d_lastIndex(0) {}

    void step() {
        const uint32_t choice = below(1000);
        if (choice < 560) {
            lookUp();
        } else if (choice < 730) {
            insert();
        } else if (choice < 840) {
            remove();
        } else if (choice < 842) {
            d_set->removeAllSettings();
        } else if (choice < 900) {
            mergeStream();
        } else if (choice < 930) {
            failToReadStream();
        } else {
            changeAValue();
        }
    }

    size_t lookups() const { return d_lookups; }
    size_t hits() const { return d_hits; }

  private:
    uint32_t below(uint32_t bound) { return static_cast<uint32_t>(d_random() % bound); }

    // Paths over a small alphabet, so that branches, prefixes and collisions are frequent.
    std::string randomPath() {
        static const char alphabet[] = {'a', 'b', '/'};
        std::string path(below(5), 'a');
        for (char& character : path) {
            character = alphabet[below(3)];
        }
        return path;
    }

    std::string existingPathOrRandom() {
        const SettingMap& settings = d_set->settings();
        if (settings.empty() || below(4) == 0) {
            return randomPath();
        }
        SettingMap::const_iterator position = settings.begin();
        std::advance(position, below(static_cast<uint32_t>(settings.size())));
        return position->first;
    }

    void chooseBranchAndIndex(std::string& branch, uint32_t& index) {
        const uint32_t choice = below(100);
        if (choice < 35) {  // the next index of the last branch: a consecutive run
            branch = d_lastBranch;
            index = d_lastIndex + 1;
            return;
        }
        if (choice < 45) {  // the same branch again, at the same, an earlier or a later index
            branch = d_lastBranch;
            index = d_lastIndex + below(5) - std::min<uint32_t>(d_lastIndex, 2);
            return;
        }
        if (choice < 60) {
            branch.clear();
        } else if (choice < 85) {  // a prefix of a stored path, often a level with its separator
            const std::string path = existingPathOrRandom();
            branch = path.substr(0, below(static_cast<uint32_t>(path.size()) + 1));
        } else {
            branch = randomPath() + (below(2) == 0 ? "b" : "");
        }
        const uint32_t size = static_cast<uint32_t>(d_set->getSettingCount());
        index = below(20) == 0 ? std::numeric_limits<uint32_t>::max() - below(2) : below(size + 3);
    }

    void lookUp() {
        std::string branch;
        uint32_t index = 0;
        chooseBranchAndIndex(branch, index);
        d_lastBranch = branch;
        d_lastIndex = index;
        ++d_lookups;

        const SettingMap::const_iterator expected = referenceWalk(d_set->settings(), branch, index);
        const uint32_t form = below(4);
        const IConfigurationSet& locked = *d_set;
        std::string copiedPath = "unwritten";
        const std::string* sharedPath = nullptr;
        const ISetting* found = nullptr;
        try {
            switch (form) {
                case 0:
                    found = d_set->retrieveSettingByIndex(branch, index, copiedPath).operator->();
                    break;
                case 1:
                    found =
                        locked.retrieveLockedSettingByIndex(branch, index, copiedPath).operator->();
                    break;
                case 2:
                    found = d_set->retrieveSettingByIndex(branch.c_str(), index, &sharedPath)
                                .
                                operator->();
                    break;
                default:
                    found = locked.retrieveLockedSettingByIndex(branch.c_str(), index, &sharedPath)
                                .
                                operator->();
                    break;
            }
        } catch (IConfigurationSet::ConfigurationSetException exception) {
            ASSERT_EQ(IConfigurationSet::noSettingAtPathException, exception);
            ASSERT_TRUE(expected == d_set->settings().end())
                << "branch '" << branch << "' index " << index << " threw, but names "
                << expected->first;
            ASSERT_EQ("unwritten", copiedPath);
            ASSERT_EQ(nullptr, sharedPath);
            return;
        }
        ASSERT_TRUE(expected != d_set->settings().end())
            << "branch '" << branch << "' index " << index << " should throw";
        ++d_hits;
        ASSERT_EQ(expected->second.operator->(), found)
            << "branch '" << branch << "' index " << index;
        if (form < 2) {
            ASSERT_EQ(expected->first, copiedPath);
        } else {
            ASSERT_EQ(&expected->first, sharedPath);
        }
    }

    void insert() {
        const std::string path = below(10) == 0 ? existingPathOrRandom() : randomPath();
        const bool taken = d_set->settings().count(path) != 0;
        try {
            d_set->insertSetting(path, makeSetting(ISetting::uint32Type, d_serial++));
            ASSERT_FALSE(taken) << path;
        } catch (IConfigurationSet::ConfigurationSetException) {
            ASSERT_TRUE(taken) << path;
        }
    }

    void remove() {
        const std::string path = existingPathOrRandom();
        const bool present = d_set->settings().count(path) != 0;
        try {
            d_set->removeSetting(path);
            ASSERT_TRUE(present) << path;
        } catch (IConfigurationSet::ConfigurationSetException) {
            ASSERT_FALSE(present) << path;
        }
    }

    // A stream of a few records, some at stored paths and some at new ones.
    std::vector<unsigned char> randomStream() {
        const AutoRefCounted<IConfigurationSet> source(new BinaryConfigurationSet());
        for (uint32_t records = below(5); records > 0; --records) {
            try {
                source->insertSetting(existingPathOrRandom(),
                                      makeSetting(ISetting::uint32Type, d_serial++));
            } catch (IConfigurationSet::ConfigurationSetException) {
                // drawn twice; one record for the path is enough
            }
        }
        return serializedForm(*source);
    }

    void mergeStream() {
        const std::vector<unsigned char> stream = randomStream();
        d_set->unserialize(stream.data(), stream.size());
    }

    void failToReadStream() {
        std::vector<unsigned char> stream = randomStream();
        stream.push_back(0);
        EXPECT_THROW(d_set->unserialize(stream.data(), stream.size()),
                     IConfigurationSet::ConfigurationSetException);
    }

    // Changes a value through a looked-up setting, which leaves the map as it is.
    void changeAValue() {
        const std::string path = existingPathOrRandom();
        if (d_set->settings().count(path) != 0) {
            d_set->retrieveSetting(path)->setValue(d_serial++);
        }
    }

    std::mt19937 d_random;
    AutoRefCounted<InspectableSet> d_set;
    std::string d_lastBranch;
    uint32_t d_lastIndex;
    uint32_t d_serial = 0;
    size_t d_lookups = 0;
    size_t d_hits = 0;
};

TEST(IndexCursorModel, TheRememberedPositionAnswersExactlyAsThePlainWalk) {
    for (uint32_t seed : {1u, 2u, 3u, 20261123u}) {
        SCOPED_TRACE(seed);
        IndexCursorModel model(seed);
        for (int step = 0; step < 20000 && !testing::Test::HasFatalFailure(); ++step) {
            model.step();
        }
        // The walk really was exercised both ways.
        EXPECT_GT(model.hits(), model.lookups() / 5);
        EXPECT_GT(model.lookups() - model.hits(), model.lookups() / 10);
    }
}

}  // namespace
