// Long seeded random sequences of object-interface operations, checked step by step against a
// plain reference model: a map from path to a typed value, plus the modified flag.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <orvandel/configuration/IConfigurationSetFactory.h>

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

const ISetting::Type kTypes[] = {ISetting::boolType,  ISetting::uint32Type, ISetting::int64Type,
                                 ISetting::charType,  ISetting::stringType, ISetting::binaryType,
                                 ISetting::uint16Type};

class ModelBasedTest : public ::testing::TestWithParam<uint32_t> {
  protected:
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

    ModelValue randomValue(ISetting::Type type) {
        ModelValue value{type, 0, std::string()};
        switch (type) {
            case ISetting::boolType:
                value.number = pick(2);
                break;
            case ISetting::charType:
                value.number = static_cast<int64_t>(pick(256)) - 128;
                break;
            case ISetting::uint16Type:
                value.number = pick(65536);
                break;
            case ISetting::uint32Type:
                value.number = d_random();
                break;
            case ISetting::int64Type:
                value.number = static_cast<int64_t>((uint64_t(d_random()) << 32) | d_random());
                break;
            default:
                // Strings hold no NUL: the binary form cuts a string there.
                const uint32_t first = type == ISetting::stringType ? 1 : 0;
                for (uint32_t length = pick(6); length > 0; --length) {
                    value.text.push_back(static_cast<char>(first + pick(256 - first)));
                }
        }
        return value;
    }

    static void store(ISetting& setting, const ModelValue& value) {
        switch (value.type) {
            case ISetting::boolType:
                return setting.setValue(value.number != 0);
            case ISetting::charType:
                return setting.setValue(static_cast<signed char>(value.number));
            case ISetting::uint16Type:
                return setting.setValue(static_cast<uint16_t>(value.number));
            case ISetting::uint32Type:
                return setting.setValue(static_cast<uint32_t>(value.number));
            case ISetting::int64Type:
                return setting.setValue(static_cast<int64_t>(value.number));
            case ISetting::stringType:
                return setting.setValue(value.text);
            default: {
                size_t length = value.text.size();
                setting.resizeBinaryBuffer(&length);
                unsigned char* bytes = nullptr;
                setting.getBinaryBuffer(&bytes, &length);
                std::copy(value.text.begin(), value.text.end(), bytes);
            }
        }
    }

    static ModelValue read(const ISetting& setting) {
        ModelValue value{setting.getType(), 0, std::string()};
        switch (value.type) {
            case ISetting::boolType: {
                bool flag = false;
                setting.getValue(&flag);
                value.number = flag;
                break;
            }
            case ISetting::charType: {
                signed char number = 0;
                setting.getValue(&number);
                value.number = number;
                break;
            }
            case ISetting::uint16Type: {
                uint16_t number = 0;
                setting.getValue(&number);
                value.number = number;
                break;
            }
            case ISetting::uint32Type: {
                uint32_t number = 0;
                setting.getValue(&number);
                value.number = number;
                break;
            }
            case ISetting::int64Type: {
                int64_t number = 0;
                setting.getValue(&number);
                value.number = number;
                break;
            }
            case ISetting::stringType: {
                const std::string* text = nullptr;
                setting.getValue(&text);
                value.text = *text;
                break;
            }
            default: {
                const unsigned char* bytes = nullptr;
                size_t length = 0;
                setting.getLockedBinaryBuffer(&bytes, &length);
                value.text.assign(reinterpret_cast<const char*>(bytes), length);
            }
        }
        return value;
    }

    void insert(uint32_t which) {
        const std::string path = randomPath();
        const ModelValue value = randomValue(kTypes[pick(sizeof kTypes / sizeof *kTypes)]);
        AutoRefCounted<ISetting> setting = getConfigurationSetFactory()->createSetting();
        setting->initialize(value.type);
        store(*setting, value);
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
        const ModelValue value = randomValue(kTypes[pick(sizeof kTypes / sizeof *kTypes)]);
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

    // A run of consecutive indices under a random branch, compared with the model's paths that
    // begin with that branch.
    void enumerate(uint32_t which) {
        const std::string branch = randomPath().substr(0, pick(3));
        std::vector<std::string> expected;
        for (const auto& entry : d_models[which].settings) {
            if (entry.first.compare(0, branch.size(), branch) == 0) {
                expected.push_back(entry.first);
            }
        }
        uint32_t index = pick(static_cast<uint32_t>(expected.size()) + 2);
        for (uint32_t steps = pick(4) + 1; steps > 0; --steps, ++index) {
            std::string path;
            if (index >= expected.size()) {
                EXPECT_THROW(d_sets[which]->retrieveLockedSettingByIndex(branch, index, path),
                             IConfigurationSet::ConfigurationSetException);
                continue;
            }
            AutoRefCounted<const ISetting> setting =
                d_sets[which]->retrieveLockedSettingByIndex(branch, index, path);
            EXPECT_EQ(expected[index], path);
            EXPECT_EQ(d_models[which].settings.at(path), read(*setting));
        }
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

    void step() {
        const uint32_t which = pick(2);
        switch (pick(12)) {
            case 0:
            case 1:
            case 2:
                return insert(which);
            case 3:
            case 4:
                return change(which);
            case 5:
                return remove(which);
            case 6:
            case 7:
                return enumerate(which);
            case 8:
                return checkEverything(which);
            case 9:
                if (pick(8) == 0) {
                    d_sets[which]->removeAllSettings();
                    d_models[which].settings.clear();
                    d_models[which].modified = true;
                }
                return;
            case 10: {
                const bool same = d_models[0].settings == d_models[1].settings;
                EXPECT_EQ(same, d_sets[0]->equals(
                                    const_pointer_cast<const IConfigurationSet>(d_sets[1])));
                EXPECT_EQ(same, d_sets[1]->equals(
                                    const_pointer_cast<const IConfigurationSet>(d_sets[0])));
                return;
            }
            default: {
                // The binary set's own form, read back into a fresh set, is an equal set.
                size_t length = 0;
                std::vector<unsigned char> form;
                try {
                    d_sets[0]->serialize(nullptr, 0, &length);
                } catch (IConfigurationSet::ConfigurationSetException) {
                    form.resize(length);
                    d_sets[0]->serialize(form.data(), form.size(), &length);
                }
                d_models[0].modified = false;
                AutoRefCounted<IConfigurationSet> copy =
                    getConfigurationSetFactory()->createConfigurationSet("BinaryConfigurationSet");
                copy->unserialize(form.data(), form.size());
                EXPECT_TRUE(copy->equals(const_pointer_cast<const IConfigurationSet>(d_sets[0])));
            }
        }
    }

    std::mt19937 d_random;
    Model d_models[2];
    AutoRefCounted<IConfigurationSet> d_sets[2];
};

TEST_P(ModelBasedTest, LongRandomSequencesAgreeWithTheModel) {
    for (int steps = 0; steps < 4000 && !HasFailure(); ++steps) {
        step();
    }
    checkEverything(0);
    checkEverything(1);
}

INSTANTIATE_TEST_SUITE_P(Seeds, ModelBasedTest, ::testing::Values(1u, 2u, 3u, 42u, 2026u, 77777u));

}  // namespace
