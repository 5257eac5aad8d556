// Long seeded random sequences of object-interface operations, checked step by step against a
// plain reference model: a map from path to a typed value, plus the modified flag. By-index
// lookups are checked against the plain walk over the model, so the set's remembered position
// is checked against the walk without memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <orvandel/configuration/IConfigurationSetFactory.h>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;

namespace {

// A value as the model keeps it: the type and the value's text (numbers in decimal, strings as
// they are), which is enough to compare with what the set holds.
struct ModelValue {
    ISetting::Type type;
    int64_t number;
    std::string text;
    bool operator==(const ModelValue& other) const {
        return type == other.type && number == other.number && text == other.text;
    }
};

struct Model {
    std::map<std::string, ModelValue> settings;
    bool modified = false;
};

// How the test draws, stores and reads a value of one numeric type, through int64_t.
struct NumberType {
    ISetting::Type type;
    int64_t (*draw)(uint64_t bits);
    void (*store)(ISetting& setting, int64_t number);
    int64_t (*read)(const ISetting& setting);
};

template <class T>
NumberType numberType(ISetting::Type type) {
    return {type,
            [](uint64_t bits) {
                return std::is_same_v<T, bool> ? static_cast<int64_t>(bits & 1)
                                               : static_cast<int64_t>(static_cast<T>(bits));
            },
            [](ISetting& setting, int64_t number) { setting.setValue(static_cast<T>(number)); },
            [](const ISetting& setting) {
                T number{};
                setting.getValue(&number);
                return static_cast<int64_t>(number);
            }};
}

const NumberType kNumberTypes[] = {
    numberType<bool>(ISetting::boolType), numberType<uint32_t>(ISetting::uint32Type),
    numberType<int64_t>(ISetting::int64Type), numberType<signed char>(ISetting::charType),
    numberType<uint16_t>(ISetting::uint16Type)};

const NumberType* numberTypeOf(ISetting::Type type) {
    for (const NumberType& number : kNumberTypes) {
        if (number.type == type) {
            return &number;
        }
    }
    return nullptr;
}

const ISetting::Type kTypes[] = {ISetting::boolType,  ISetting::uint32Type, ISetting::int64Type,
                                 ISetting::charType,  ISetting::stringType, ISetting::binaryType,
                                 ISetting::uint16Type};

class ModelBasedTest : public ::testing::TestWithParam<uint32_t> {
  public:
    void SetUp() override {
        d_random.seed(GetParam());
        d_sets[0] = getConfigurationSetFactory()->createConfigurationSet("BinaryConfigurationSet");
        d_sets[1] = getConfigurationSetFactory()->createConfigurationSet("ConfigurationSet");
    }

    uint32_t pick(uint32_t bound) {
        return std::uniform_int_distribution<uint32_t>(0, bound - 1)(d_random);
    }

    // Paths from a small alphabet, so that collisions, prefixes and branches are common.
    std::string randomPath() {
        static const char* const kParts[] = {"", "a", "a/", "a/b", "ab", "b/", "b/c", "/", "A"};
        std::string path;
        const uint32_t parts = pick(3);
        for (uint32_t part = 0; part <= parts; ++part) {
            path += kParts[pick(sizeof kParts / sizeof *kParts)];
        }
        return path;
    }

    ModelValue randomValue() {
        ModelValue value{kTypes[pick(sizeof kTypes / sizeof *kTypes)], 0, std::string()};
        if (const NumberType* number = numberTypeOf(value.type)) {
            value.number = number->draw(d_random());
            return value;
        }
        // Strings hold no NUL: the binary form cuts a string there.
        const uint32_t first = value.type == ISetting::stringType ? 1 : 0;
        for (uint32_t length = pick(6); length > 0; --length) {
            value.text.push_back(static_cast<char>(first + pick(256 - first)));
        }
        return value;
    }

    static void store(ISetting& setting, const ModelValue& value) {
        if (const NumberType* number = numberTypeOf(value.type)) {
            number->store(setting, value.number);
        } else if (value.type == ISetting::stringType) {
            setting.setValue(value.text);
        } else {
            size_t length = value.text.size();
            setting.resizeBinaryBuffer(&length);
            unsigned char* bytes = nullptr;
            setting.getBinaryBuffer(&bytes, &length);
            std::copy(value.text.begin(), value.text.end(), bytes);
        }
    }

    static ModelValue read(const ISetting& setting) {
        ModelValue value{setting.getType(), 0, std::string()};
        if (const NumberType* number = numberTypeOf(value.type)) {
            value.number = number->read(setting);
        } else if (value.type == ISetting::stringType) {
            const std::string* text = nullptr;
            setting.getValue(&text);
            value.text = *text;
        } else {
            const unsigned char* bytes = nullptr;
            size_t length = 0;
            setting.getLockedBinaryBuffer(&bytes, &length);
            value.text.assign(reinterpret_cast<const char*>(bytes), length);
        }
        return value;
    }

    AutoRefCounted<ISetting> newSetting(const ModelValue& value) {
        AutoRefCounted<ISetting> setting = getConfigurationSetFactory()->createSetting();
        setting->initialize(value.type);
        store(*setting, value);
        return setting;
    }

    void insert(uint32_t which) {
        const std::string path = randomPath();
        const ModelValue value = randomValue();
        const AutoRefCounted<ISetting> setting = newSetting(value);
        Model& model = d_models[which];
        if (model.settings.count(path) != 0) {
            EXPECT_THROW(d_sets[which]->insertSetting(path, setting),
                         IConfigurationSet::ConfigurationSetException);
            return;
        }
        d_sets[which]->insertSetting(path, setting);
        model.settings[path] = value;
        model.modified = true;
    }

    void change(uint32_t which) {
        const std::string path = randomPath();
        Model& model = d_models[which];
        const auto found = model.settings.find(path);
        if (found == model.settings.end()) {
            EXPECT_THROW(d_sets[which]->retrieveSetting(path),
                         IConfigurationSet::ConfigurationSetException);
            return;
        }
        const ModelValue value = randomValue();
        AutoRefCounted<ISetting> setting = d_sets[which]->retrieveSetting(path);
        if (value.type != found->second.type) {
            EXPECT_THROW(store(*setting, value), ISetting::SettingException);
            return;
        }
        store(*setting, value);
        found->second = value;
        model.modified = true;
    }

    void remove(uint32_t which) {
        const std::string path = randomPath();
        Model& model = d_models[which];
        if (model.settings.erase(path) == 0) {
            EXPECT_THROW(d_sets[which]->removeSetting(path),
                         IConfigurationSet::ConfigurationSetException);
            return;
        }
        d_sets[which]->removeSetting(path);
        model.modified = true;
    }

    void removeAllSometimes(uint32_t which) {
        if (pick(8) == 0) {
            d_sets[which]->removeAllSettings();
            d_models[which].settings.clear();
            d_models[which].modified = true;
        }
    }

    // A stream of a few records read into the binary set, merging into the model; a stream with
    // a trailing byte must fail and change nothing, flag included.
    void readStream(uint32_t) {
        const AutoRefCounted<IConfigurationSet> source =
            getConfigurationSetFactory()->createConfigurationSet("BinaryConfigurationSet");
        std::map<std::string, ModelValue> records;
        for (uint32_t count = pick(5); count > 0; --count) {
            const std::string path = randomPath();
            const ModelValue value = randomValue();
            if (records.emplace(path, value).second) {
                source->insertSetting(path, newSetting(value));
            }
        }
        std::vector<unsigned char> form = testsupport::serializedForm(*source);
        if (pick(3) == 0) {
            form.push_back(0);
            EXPECT_THROW(d_sets[0]->unserialize(form.data(), form.size()),
                         IConfigurationSet::ConfigurationSetException);
            return;
        }
        d_sets[0]->unserialize(form.data(), form.size());
        for (const auto& record : records) {
            d_models[0].settings[record.first] = record.second;
        }
        d_models[0].modified = false;
    }

    // One by-index lookup in any of the four forms, often the next index of the previous one so
    // that the set's remembered position is used, compared with the plain walk over the model:
    // the entry `index` steps after the branch's lower bound, if its path begins with the branch.
    void lookUp(uint32_t which) {
        std::string& branch = d_lastBranch[which];
        uint32_t& index = d_lastIndex[which];
        const uint32_t choice = pick(100);
        if (choice < 35) {
            ++index;
        } else if (choice < 45) {
            index = index + pick(5) - std::min<uint32_t>(index, 2);
        } else {
            branch = randomPath().substr(0, pick(4));
            const auto size = static_cast<uint32_t>(d_models[which].settings.size());
            index = pick(20) == 0 ? std::numeric_limits<uint32_t>::max() - pick(2) : pick(size + 3);
        }
        const auto& settings = d_models[which].settings;
        auto expected = settings.lower_bound(branch);
        for (uint32_t step = index; step > 0 && expected != settings.end(); --step) {
            ++expected;
        }
        if (expected != settings.end() && expected->first.compare(0, branch.size(), branch) != 0) {
            expected = settings.end();
        }
        IConfigurationSet& set = *d_sets[which];
        const IConfigurationSet& locked = set;
        std::string copied = "unwritten";
        const std::string* shared = nullptr;
        const uint32_t form = pick(4);
        AutoRefCounted<const ISetting> found;
        const auto thrown =
            testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>([&] {
                if (form == 0) {
                    found = const_pointer_cast<const ISetting>(
                        set.retrieveSettingByIndex(branch, index, copied));
                } else if (form == 1) {
                    found = locked.retrieveLockedSettingByIndex(branch, index, copied);
                } else if (form == 2) {
                    found = const_pointer_cast<const ISetting>(
                        set.retrieveSettingByIndex(branch.c_str(), index, &shared));
                } else {
                    found = locked.retrieveLockedSettingByIndex(branch.c_str(), index, &shared);
                }
            });
        SCOPED_TRACE("branch '" + branch + "' index " + std::to_string(index));
        if (expected == settings.end()) {
            EXPECT_EQ(IConfigurationSet::noSettingAtPathException, thrown);
            EXPECT_EQ("unwritten", copied);
            EXPECT_EQ(nullptr, shared);
            return;
        }
        ASSERT_FALSE(thrown.has_value());
        ++d_hits;
        EXPECT_EQ(expected->first, form < 2 ? copied : *shared);
        EXPECT_EQ(set.retrieveLockedSetting(expected->first).operator->(), found.operator->());
        EXPECT_EQ(expected->second, read(*found));
    }

    void checkEverything(uint32_t which) {
        const Model& model = d_models[which];
        IConfigurationSet& set = *d_sets[which];
        ASSERT_EQ(model.settings.size(), set.getSettingCount());
        for (const auto& entry : model.settings) {
            EXPECT_EQ(entry.second, read(*set.retrieveLockedSetting(entry.first))) << entry.first;
        }
        EXPECT_EQ(model.modified, set.checkModified());
        d_models[which].modified = false;
    }

    void compareSets(uint32_t) {
        const bool same = d_models[0].settings == d_models[1].settings;
        EXPECT_EQ(same, d_sets[0]->equals(const_pointer_cast<const IConfigurationSet>(d_sets[1])));
        EXPECT_EQ(same, d_sets[1]->equals(const_pointer_cast<const IConfigurationSet>(d_sets[0])));
    }

    // The binary set's own form, read back into a fresh set, is an equal set.
    void serializeAndReadBack(uint32_t) {
        const std::vector<unsigned char> form = testsupport::serializedForm(*d_sets[0]);
        d_models[0].modified = false;
        AutoRefCounted<IConfigurationSet> copy =
            getConfigurationSetFactory()->createConfigurationSet("BinaryConfigurationSet");
        copy->unserialize(form.data(), form.size());
        EXPECT_TRUE(copy->equals(const_pointer_cast<const IConfigurationSet>(d_sets[0])));
    }

    using Operation = void (ModelBasedTest::*)(uint32_t);

    // Runs `steps` operations drawn from `operations` (repeated entries are drawn more often).
    void run(const std::vector<Operation>& operations, int steps) {
        for (int step = 0; step < steps && !HasFatalFailure(); ++step) {
            (this->*operations[pick(static_cast<uint32_t>(operations.size()))])(pick(2));
        }
        checkEverything(0);
        checkEverything(1);
    }

    std::mt19937_64 d_random;
    Model d_models[2];
    AutoRefCounted<IConfigurationSet> d_sets[2];
    std::string d_lastBranch[2];
    uint32_t d_lastIndex[2] = {0, 0};
    size_t d_hits = 0;
};

using M = ModelBasedTest;

TEST_P(ModelBasedTest, LongRandomSequencesAgreeWithTheModel) {
    run({&M::insert, &M::insert, &M::insert, &M::change, &M::change, &M::remove, &M::lookUp,
         &M::lookUp, &M::checkEverything, &M::removeAllSometimes, &M::compareSets,
         &M::serializeAndReadBack, &M::readStream},
        4000);
}

// The set remembers where its last by-index lookup ended so that consecutive indices cost
// constant time; mostly lookups here, interleaved with every change of the map, so that the
// remembered position is used and must be forgotten often.
TEST_P(ModelBasedTest, TheRememberedByIndexPositionAnswersExactlyAsThePlainWalk) {
    run({&M::lookUp, &M::lookUp, &M::lookUp, &M::lookUp, &M::lookUp, &M::lookUp, &M::insert,
         &M::insert, &M::remove, &M::change, &M::readStream, &M::removeAllSometimes},
        20000);
    EXPECT_GT(d_hits, 2000u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, ModelBasedTest, ::testing::Values(1u, 2u, 3u, 42u, 2026u, 77777u));

}  // namespace
