// Memory runs out at each allocation of the main operations in turn, failing it and every later
// one. The operation then succeeds with the right result or fails cleanly (std::bad_alloc, or a C
// code and "out of memory"), leaving the set and the file as they were.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <thread>

#include <orvandel/configuration/ConfigurationAPI.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;

namespace {

thread_local long sd_allocationsLeft = -1;  // negative when none is refused
thread_local bool sd_refused = false;

void* allocate(std::size_t size) noexcept {
    if (sd_allocationsLeft == 0) {
        sd_refused = true;
        return nullptr;
    }
    sd_allocationsLeft -= sd_allocationsLeft > 0 ? 1 : 0;
    return std::malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(std::size_t size) {
    void* memory = allocate(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

}  // namespace

// clang-format off
void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
// clang-format on

namespace {

using Set = AutoRefCounted<IConfigurationSet>;
using testsupport::makeSetting;
using testsupport::serializedForm;

Set newSet(const std::string& type) {
    return getConfigurationSetFactory()->createConfigurationSet(type);
}

Set sampleSet(const std::string& type) {  // a set of every kind of value
    const Set set = newSet(type);
    set->insertSetting("a/float", makeSetting(ISetting::floatType, -3.25f));
    set->insertSetting("a/double", makeSetting(ISetting::doubleType, -3.25));
    set->insertSetting("a/int", makeSetting(ISetting::int64Type, int64_t{-7}));
    set->insertSetting("b/text", makeSetting(ISetting::stringType, std::string("Gr\xc3\xbc")));
    set->insertSetting("b/wide", makeSetting(ISetting::unicodeString, std::wstring(L"w\u00fc")));
    set->insertSetting("c/blob", testsupport::makeBinarySetting({1, 2, 3, 250}));
    return set;
}

// Runs operation with allocations from the n-th on refused, n = 0, 1, ... until none is refused,
// each on a new thread (whose first failure needs a place for its message); check judges each run.
void sweep(const std::function<void()>& operation, const std::function<void(bool)>& check) {
    bool refused = true;
    for (long allowed = 0; refused; ++allowed) {
        SCOPED_TRACE("allocations allowed: " + std::to_string(allowed));
        bool completed = false;
        std::thread([&] {
            sd_allocationsLeft = allowed;
            try {
                operation();
                completed = true;
            } catch (const std::bad_alloc&) {
            } catch (...) {
                sd_allocationsLeft = -1;
                ADD_FAILURE() << "an exception other than std::bad_alloc";
            }
            sd_allocationsLeft = -1;
            refused = sd_refused;
        }).join();
        check(completed);
        refused = refused || !completed;
    }
}

class AllocationFailure : public testing::TestWithParam<const char*> {};

// Saving writes the form and loading reads it, so these sweeps reach every allocation of both.
TEST_P(AllocationFailure, SaveAndLoadFailCleanlyOrGiveTheWholeResult) {
    const Set expected = sampleSet(GetParam());
    const std::vector<unsigned char> form = serializedForm(*expected);
    const std::vector<unsigned char> empty = serializedForm(*newSet(GetParam()));
    const testsupport::ScratchDirectory directory;
    const std::string file = directory.file("set");
    newSet(GetParam())->save(file);
    Set set = newSet(GetParam());
    const auto loadedAs = [&](bool completed) {
        ASSERT_EQ(completed ? form : empty, serializedForm(*set));
        set = newSet(GetParam());
    };
    sweep([&] { expected->save(file); },
          [&](bool completed) {
              ASSERT_EQ(form, serializedForm(*expected));
              set->load(file);
              loadedAs(completed);
              ASSERT_EQ(1, std::distance(std::filesystem::directory_iterator(directory.file("")),
                                         std::filesystem::directory_iterator()));
          });
    sweep([&] { set->load(file); }, loadedAs);
}

INSTANTIATE_TEST_SUITE_P(BothForms, AllocationFailure,
                         testing::Values("BinaryConfigurationSet", "XMLConfigurationSet"));

// A chain of C calls stops at the first failure, which has its code and the message of memory.
TEST(AllocationFailureInC, ACallFailsWithItsCodeAndTheMessageOfMemory) {
    const std::vector<unsigned char> form = serializedForm(*sampleSet("XMLConfigurationSet"));
    const auto text = [](const char* word) { return reinterpret_cast<const unsigned char*>(word); };
    void* set = nullptr;
    void* setting = nullptr;
    sweep(
        [&] {
            uint32_t failure = ConfigurationResult_badArgument;
            uint32_t result =
                ConfigurationSetFactory_createConfigurationSet(text("XMLConfigurationSet"), &set);
            if (result == 0) {
                failure = ConfigurationResult_serializationFailure;
                result = ConfigurationSet_unserialize(set, form.data(), uint32_t(form.size()));
            }
            if (result == 0) {
                result = ConfigurationSet_retrieveSetting(set, text("a/double"), &setting);
            }
            sd_allocationsLeft = -1;
            unsigned char message[256] = {};
            uint32_t required = 0;
            Configuration_getLastErrorMessage(message, sizeof message, &required);
            const std::string said(reinterpret_cast<char*>(message));
            EXPECT_TRUE(result == 0 ||
                        (result == failure && said.find("out of memory") != said.npos))
                << result << " " << said;
        },
        [&](bool) {
            double value = 0;
            EXPECT_TRUE(setting == nullptr ||
                        (Setting_getDOUBLE(setting, &value) == 0 && value == -3.25));
            Setting_releaseInstance(setting);
            ConfigurationSet_releaseInstance(set);
            set = setting = nullptr;
        });
}

}  // namespace
