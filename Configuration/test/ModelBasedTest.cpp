// Long seeded random sequences of operations on a binary and a plain set, checked step by step
// against a plain model: a map from path to a typed value, plus the modified flag.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <map>
#include <random>
#include <variant>

#include <orvandel/configuration/Convenience.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>

#include "ForeignSetting.h"
#include "TestSupport.h"

using namespace com::orvandel::configuration;
using com::orvandel::AutoRefCounted;
using com::orvandel::const_pointer_cast;

namespace {

// A typed value; the alternative's index is the setting type's number. Its == is the settings'
// equality: a NaN equals nothing, -0 equals +0.
using Value = std::variant<bool, uint8_t, uint16_t, uint32_t, uint64_t, int8_t, int16_t, int32_t,
                           int64_t, float, double, std::string, BinaryValue, std::wstring>;
using Settings = std::map<std::string, Value>;
using SetException = IConfigurationSet::ConfigurationSetException;

// The same value bit for bit, as a read must give back what was stored (NaN and -0 included).
bool same(const Value& left, const Value& right) {
    const auto bitwise = [&right](const auto& mine) {
        using T = std::decay_t<decltype(mine)>;
        const T* theirs = std::get_if<T>(&right);
        return theirs != nullptr &&
               (std::is_floating_point_v<T> ? std::memcmp(&mine, theirs, sizeof mine) == 0
                                            : mine == *theirs);
    };
    return std::visit(bitwise, left);
}

// Bit patterns that give every type's boundaries: 0, -1, the extremes, -0, infinity and NaN.
// clang-format off
const uint64_t kSpecialBits[] = {
    0, 1, 0x7F, 0x80, 0x7FFF, 0x8000, 0x7FFFFFFF, 0x80000000, 0x7F800000, 0x7FC00000, 0xFF800000,
    0x7FF0000000000000, 0x7FF8000000000000, 0xFFF0000000000000, 0x7FFFFFFFFFFFFFFF,
    0x8000000000000000, 0xFFFFFFFFFFFFFFFF};
// clang-format on

template <size_t... I>
std::array<Value, sizeof...(I)> valuesOfEveryType(std::index_sequence<I...>) {
    return {Value(std::in_place_index<I>)...};
}
const auto kEveryType = valuesOfEveryType(std::make_index_sequence<std::variant_size_v<Value>>());

// The setting's value, read and stored through the convenience layer's own readers and writers.
Value read(const ISetting& setting) {
    Value value = kEveryType.at(setting.getType());
    std::visit(
        [&setting](auto& typed) {
            typed = detail::readValue<std::decay_t<decltype(typed)>>(setting);
        },
        value);
    return value;
}

void store(ISetting& setting, const Value& value) {
    std::visit([&setting](const auto& typed) { detail::writeValue(setting, typed); }, value);
}

class ModelBasedTest : public ::testing::TestWithParam<uint32_t> {
  public:
    uint32_t pick(uint32_t bound) {
        return std::uniform_int_distribution<uint32_t>(0, bound - 1)(d_random);
    }
    // Paths from a small alphabet, so that collisions, prefixes and branches are common.
    std::string randomPath() {
        static const char* const kParts[] = {"",   "a",        "a/", "a/b", "ab",
                                             "b/", "\xC3\xA9", "/",  "A"};
        std::string path;
        for (uint32_t parts = pick(3) + 1; parts > 0; --parts) {
            path += kParts[pick(std::size(kParts))];
        }
        return path;
    }
    // A value of the given type (or any) from random or special bits; strings of up to 5 units.
    Value randomValue(size_t type = kEveryType.size()) {
        const uint64_t bits =
            pick(4) == 0 ? kSpecialBits[pick(std::size(kSpecialBits))] : d_random();
        Value value = kEveryType[type < kEveryType.size() ? type : pick(kEveryType.size())];
        std::visit(
            [&](auto& typed) {
                using T = std::decay_t<decltype(typed)>;
                if constexpr (std::is_arithmetic_v<T>) {  // the low bytes (a little-endian target)
                    const uint64_t used = std::is_same_v<T, bool> ? bits & 1 : bits;
                    std::memcpy(&typed, &used, sizeof typed);
                } else {  // no NUL in strings (the binary form ends them); wide units: code points
                    const uint32_t first = std::is_same_v<T, BinaryValue> ? 0 : 1;
                    const uint32_t count = std::is_same_v<T, std::wstring> ? 0x10FFFF : 256 - first;
                    for (uint32_t length = pick(6); length > 0; --length) {
                        typed.push_back(static_cast<typename T::value_type>(first + pick(count)));
                    }
                }
            },
            value);
        return value;
    }
    static AutoRefCounted<ISetting> newSetting(const Value& value) {
        AutoRefCounted<ISetting> setting = getConfigurationSetFactory()->createSetting();
        setting->initialize(static_cast<ISetting::Type>(value.index()));
        store(*setting, value);
        return setting;
    }
    void insert(uint32_t which) {
        const std::string path = randomPath();
        const Value value = randomValue();
        const auto thrown = testsupport::thrownValue<SetException>(
            [&] { d_sets[which]->insertSetting(path, newSetting(value)); });
        const bool fresh = d_models[which].emplace(path, value).second;
        EXPECT_EQ(
            fresh ? std::optional<SetException>() : IConfigurationSet::settingExistsAtPathException,
            thrown);
        d_modified[which] |= fresh;
    }
    // A new value through a handle from the set; one of another type is refused and changes
    // nothing, flag included.
    void change(uint32_t which) {
        const std::string path = randomPath();
        const auto found = d_models[which].find(path);
        if (found == d_models[which].end()) {
            EXPECT_THROW(d_sets[which]->retrieveSetting(path), SetException);
            return;
        }
        const Value value = randomValue();
        const bool fits = value.index() == found->second.index();
        const auto thrown = testsupport::thrownValue<ISetting::SettingException>(
            [&] { store(*d_sets[which]->retrieveSetting(path), value); });
        EXPECT_EQ(fits, !thrown.has_value());
        found->second = fits ? value : found->second;
        d_modified[which] |= fits;
    }
    // The convenience layer's put: inserts, sets in place or replaces one of another type.
    void putValue(uint32_t which) {
        const std::string path = randomPath();
        const Value value = randomValue();
        std::visit([&](const auto& typed) { put(*d_sets[which], path, typed); }, value);
        d_models[which][path] = value;
        d_modified[which] = true;
    }
    // A stored setting against a new one, of the library or not, holding its own value, another
    // value of its type or a value of any type.
    void compareSetting(uint32_t which) {
        const auto found = d_models[which].find(randomPath());
        if (found == d_models[which].end()) {
            return;
        }
        const uint32_t choice = pick(3);
        const Value value = choice == 0   ? found->second
                            : choice == 1 ? randomValue(found->second.index())
                                          : randomValue();
        AutoRefCounted<ISetting> other = newSetting(value);
        other = pick(2) == 0 ? testsupport::foreign(other) : other;
        EXPECT_EQ(found->second == value, d_sets[which]
                                              ->retrieveLockedSetting(found->first)
                                              ->equals(const_pointer_cast<const ISetting>(other)));
    }
    // Removes one path, or now and then everything.
    void remove(uint32_t which) {
        const std::string path = randomPath();
        if (pick(8) == 0) {
            d_sets[which]->removeAllSettings();
            d_models[which].clear();
        } else if (d_models[which].erase(path) == 0) {
            EXPECT_THROW(d_sets[which]->removeSetting(path), SetException);
            return;
        } else {
            d_sets[which]->removeSetting(path);
        }
        d_modified[which] = true;
    }
    // A stream of a few records read into the binary set merges into the model and clears the
    // flag. (The binary format tests check that a broken stream changes nothing.)
    void readStream(uint32_t) {
        const AutoRefCounted<IConfigurationSet> source = testsupport::newBinarySet();
        Settings records;
        for (uint32_t count = pick(5); count > 0; --count) {
            records.emplace(randomPath(), randomValue());
        }
        for (const auto& [path, value] : records) {
            source->insertSetting(path, newSetting(value));
        }
        const std::vector<unsigned char> form = testsupport::serializedForm(*source);
        d_sets[0]->unserialize(form.data(), form.size());
        records.insert(d_models[0].begin(), d_models[0].end());  // keeps the records' values
        d_models[0].swap(records);
        d_modified[0] = false;
    }
    // One by-index lookup in any of the four forms, often the next or a nearby index of the
    // previous one so that the set's remembered position is used, compared with the plain walk
    // over the model: the entry `index` steps after the branch's lower bound, if its path begins
    // with the branch. A failed lookup writes no path.
    void lookUp(uint32_t which) {
        std::string& branch = d_lastBranch[which];
        uint32_t& index = d_lastIndex[which];
        const uint32_t choice = pick(20);
        if (choice < 9) {
            index = choice < 7 ? index + 1 : index + pick(5) - std::min<uint32_t>(index, 2);
        } else {
            branch = randomPath().substr(0, pick(4));
            index = pick(20) == 0 ? std::numeric_limits<uint32_t>::max() - pick(2)
                                  : pick(static_cast<uint32_t>(d_models[which].size()) + 3);
        }
        const Settings& model = d_models[which];
        auto expected = model.lower_bound(branch);
        const bool hit = index < static_cast<uint64_t>(std::distance(expected, model.end())) &&
                         (expected = std::next(expected, index))->first.rfind(branch, 0) == 0;
        IConfigurationSet& set = *d_sets[which];
        const IConfigurationSet& locked = set;
        std::string copied = "unwritten";
        const std::string* shared = nullptr;
        const uint32_t form = pick(4);
        AutoRefCounted<const ISetting> found;
        const auto thrown = testsupport::thrownValue<SetException>([&] {
            using Locked = AutoRefCounted<const ISetting>;
            found = form == 0   ? Locked(set.retrieveSettingByIndex(branch, index, copied).get())
                    : form == 1 ? locked.retrieveLockedSettingByIndex(branch, index, copied)
                    : form == 2
                        ? Locked(set.retrieveSettingByIndex(branch.c_str(), index, &shared).get())
                        : locked.retrieveLockedSettingByIndex(branch.c_str(), index, &shared);
        });
        if (!hit) {
            EXPECT_EQ(IConfigurationSet::noSettingAtPathException, thrown);
            EXPECT_EQ("unwritten", copied);
            EXPECT_EQ(nullptr, shared);
            return;
        }
        ASSERT_FALSE(thrown.has_value());
        ++d_hits;
        EXPECT_EQ(expected->first, form < 2 ? copied : *shared);
        EXPECT_EQ(set.retrieveLockedSetting(expected->first).operator->(), found.operator->());
        EXPECT_TRUE(same(expected->second, read(*found)));
    }
    // The set holds the model's values, read directly, through the convenience layer's get (as the
    // C++ type of the setting type) and through its walk, in order.
    static void expectHolds(const Settings& model, const IConfigurationSet& set) {
        ASSERT_EQ(model.size(), set.getSettingCount());
        auto next = model.begin();
        for (const auto& [path, setting] : entries(set, "")) {
            ASSERT_EQ(next->first, path);
            const Value& value = (next++)->second;
            EXPECT_TRUE(same(value, read(*setting))) << path;
            std::visit(
                [&](const auto& typed) {
                    using T = std::decay_t<decltype(typed)>;
                    EXPECT_TRUE(same(value, Value(std::in_place_type<T>, get<T>(set, path))));
                },
                value);
        }
        EXPECT_EQ(model.end(), next);
    }
    void checkEverything(uint32_t which) {
        expectHolds(d_models[which], *d_sets[which]);
        EXPECT_EQ(d_modified[which], d_sets[which]->checkModified());
        d_modified[which] = false;
    }
    // The binary set's own form reads back into a fresh set holding the same values, as does a
    // clone into a plain set.
    void serializeAndReadBack(uint32_t) {
        const std::vector<unsigned char> form = testsupport::serializedForm(*d_sets[0]);
        d_modified[0] = false;
        AutoRefCounted<IConfigurationSet> copy = testsupport::newBinarySet();
        copy->unserialize(form.data(), form.size());
        expectHolds(d_models[0], *copy);
        expectHolds(d_models[0], *clone(*d_sets[0], "ConfigurationSet"));
        const Settings& model = d_models[0];  // unequal to itself when it holds a NaN
        EXPECT_EQ(model == d_models[0],
                  copy->equals(const_pointer_cast<const IConfigurationSet>(d_sets[0])));
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

    std::mt19937_64 d_random{GetParam()};
    Settings d_models[2];
    bool d_modified[2] = {false, false};
    AutoRefCounted<IConfigurationSet> d_sets[2] = {
        testsupport::newBinarySet(),
        getConfigurationSetFactory()->createConfigurationSet("ConfigurationSet")};
    std::string d_lastBranch[2];
    uint32_t d_lastIndex[2] = {0, 0};
    size_t d_hits = 0;
};

using M = ModelBasedTest;

TEST_P(ModelBasedTest, LongRandomSequencesAgreeWithTheModel) {
    run({&M::insert, &M::insert, &M::putValue, &M::change, &M::change, &M::remove, &M::lookUp,
         &M::lookUp, &M::compareSetting, &M::compareSetting, &M::checkEverything,
         &M::serializeAndReadBack, &M::readStream},
        4000);
}

// Mostly lookups, interleaved with every change of the map, so that the position the set
// remembers from its last by-index lookup is used and must be forgotten often.
TEST_P(ModelBasedTest, TheRememberedByIndexPositionAnswersExactlyAsThePlainWalk) {
    run({&M::lookUp, &M::lookUp, &M::lookUp, &M::lookUp, &M::lookUp, &M::lookUp, &M::insert,
         &M::insert, &M::remove, &M::change, &M::readStream},
        20000);
    EXPECT_GT(d_hits, 2000u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, ModelBasedTest, ::testing::Values(1u, 2u, 3u, 42u, 2026u, 77777u));

}  // namespace
