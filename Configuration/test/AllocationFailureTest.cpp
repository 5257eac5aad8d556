// Memory exhaustion at every point of the main operations: the allocation at which memory runs
// out is moved through each operation, failing it and every later one. Each time the operation
// either succeeds with the right result or fails cleanly: std::bad_alloc in C++ (the C functions:
// their code for an untranslated failure and the message "out of memory"), the set and the file
// as they were, and nothing aborted.
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

// The number of allocations that still succeed; negative when none is ever refused.
thread_local long sd_allocationsLeft = -1;
thread_local bool sd_refused = false;

void* allocate(std::size_t size) noexcept {
    if (sd_allocationsLeft == 0) {
        sd_refused = true;
        return nullptr;
    }
    if (sd_allocationsLeft > 0) {
        --sd_allocationsLeft;
    }
    return std::malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(std::size_t size) {
    void* memory = allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

using Bytes = std::vector<unsigned char>;
using testsupport::newBinarySet;
using testsupport::serializedForm;
using testsupport::setsEqual;

AutoRefCounted<IConfigurationSet> newSet(const std::string& type) {
    return getConfigurationSetFactory()->createConfigurationSet(type);
}

// A set of every value type, float and double among them.
AutoRefCounted<IConfigurationSet> sampleSet(const std::string& type) {
    const AutoRefCounted<IConfigurationSet> set = newSet(type);
    set->insertSetting("a/float", testsupport::makeSetting(ISetting::floatType, -3.25f));
    set->insertSetting("a/double", testsupport::makeSetting(ISetting::doubleType, -3.25));
    set->insertSetting("a/int", testsupport::makeSetting(ISetting::int64Type, int64_t{-7}));
    set->insertSetting(
        "b/text", testsupport::makeSetting(ISetting::stringType, std::string("Gr\xc3\xbc\xc3\x9f"
                                                                             "e")));
    set->insertSetting("b/wide",
                       testsupport::makeSetting(ISetting::unicodeString, std::wstring(L"w\u00fc")));
    set->insertSetting("c/blob", testsupport::makeBinarySetting({1, 2, 3, 250}));
    set->insertSetting("c/flag", testsupport::makeSetting(ISetting::boolType, true));
    return set;
}

// Runs operation with the n-th allocation and every later one refused, for n = 0, 1, ... until
// it runs through without a refusal. check(completed) judges each run, with allocation allowed.
void sweep(const std::function<void()>& operation, const std::function<void(bool)>& check) {
    for (long allowed = 0;; ++allowed) {
        SCOPED_TRACE("allocations allowed: " + std::to_string(allowed));
        bool completed = false;
        sd_refused = false;
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
        check(completed);
        if (completed && !sd_refused) {
            return;
        }
    }
}

class AllocationFailure : public testing::TestWithParam<const char*> {};

TEST_P(AllocationFailure, AReadFailsCleanlyOrReadsEveryValueRight) {
    const AutoRefCounted<IConfigurationSet> expected = sampleSet(GetParam());
    const Bytes form = serializedForm(*expected);
    AutoRefCounted<IConfigurationSet> set = newSet(GetParam());
    const Bytes before = serializedForm(*set);
    sweep([&] { set->unserialize(form.data(), form.size()); },
          [&](bool completed) {
              if (completed) {
                  ASSERT_TRUE(setsEqual(set, expected));
                  set = newSet(GetParam());
              } else {
                  ASSERT_EQ(before, serializedForm(*set));
              }
          });
}

TEST_P(AllocationFailure, AWriteFailsCleanlyOrWritesTheWholeForm) {
    const AutoRefCounted<IConfigurationSet> set = sampleSet(GetParam());
    const Bytes expected = serializedForm(*set);
    Bytes written;
    sweep([&] { written = serializedForm(*set); },
          [&](bool completed) {
              if (completed) {
                  ASSERT_EQ(expected, written);
              }
              ASSERT_EQ(expected, serializedForm(*set));
          });
}

TEST_P(AllocationFailure, SaveAndLoadFailCleanlyAndKeepTheFileAndTheSet) {
    const testsupport::ScratchDirectory directory;
    const std::string file = directory.file("set");
    const AutoRefCounted<IConfigurationSet> old = newSet(GetParam());
    old->save(file);
    const AutoRefCounted<IConfigurationSet> set = sampleSet(GetParam());
    sweep([&] { set->save(file); },
          [&](bool completed) {
              const AutoRefCounted<IConfigurationSet> saved = newSet(GetParam());
              saved->load(file);
              ASSERT_TRUE(setsEqual(saved, completed ? set : old));
              ASSERT_EQ(1, std::distance(std::filesystem::directory_iterator(directory.file("")),
                                         std::filesystem::directory_iterator()));
          });
    AutoRefCounted<IConfigurationSet> loaded = newSet(GetParam());
    sweep([&] { loaded->load(file); },
          [&](bool completed) {
              ASSERT_EQ(serializedForm(completed ? *set : *newSet(GetParam())),
                        serializedForm(*loaded));
              loaded = newSet(GetParam());
          });
}

INSTANTIATE_TEST_SUITE_P(BothForms, AllocationFailure,
                         testing::Values("BinaryConfigurationSet", "XMLConfigurationSet"));

// The text of the calling thread's last error message.
std::string lastError() {
    unsigned char text[256];
    uint32_t required = 0;
    return Configuration_getLastErrorMessage(text, sizeof text, &required) == 0
               ? reinterpret_cast<const char*>(text)
               : "";
}

// Each run on a new thread, whose first failing call must not abort for want of a place to keep
// its message.
TEST(AllocationFailureInC, ACallOnAFreshThreadFailsWithItsCodeAndTheMessageOfMemory) {
    const Bytes form = serializedForm(*sampleSet("XMLConfigurationSet"));
    for (long allowed = 0;; ++allowed) {
        uint32_t results[3] = {1, 5, 5};
        bool refused = false;
        std::thread([&] {
            void* set = nullptr;
            void* setting = nullptr;
            sd_allocationsLeft = allowed;
            results[0] = ConfigurationSetFactory_createConfigurationSet(
                reinterpret_cast<const unsigned char*>("XMLConfigurationSet"), &set);
            if (results[0] == 0) {
                results[1] = ConfigurationSet_unserialize(set, form.data(),
                                                          static_cast<uint32_t>(form.size()));
            }
            if (results[1] == 0 && set != nullptr) {
                results[2] = ConfigurationSet_retrieveSetting(
                    set, reinterpret_cast<const unsigned char*>("a/double"), &setting);
            }
            refused = sd_refused;
            sd_allocationsLeft = -1;
            for (size_t call = 0; call < 3; ++call) {
                const uint32_t failure = call == 0 ? ConfigurationResult_badArgument
                                                   : ConfigurationResult_serializationFailure;
                EXPECT_TRUE(results[call] == 0 || results[call] == failure) << results[call];
                if (results[call] != 0) {
                    const std::string message = lastError();
                    EXPECT_NE(std::string::npos, message.find("out of memory")) << message;
                    break;
                }
            }
            if (setting != nullptr) {
                double value = 0;
                EXPECT_EQ(0u, Setting_getDOUBLE(setting, &value));
                EXPECT_EQ(-3.25, value);
                Setting_releaseInstance(setting);
            }
            if (set != nullptr) {
                ConfigurationSet_releaseInstance(set);
            }
        }).join();
        if (!refused) {
            return;
        }
    }
}

}  // namespace
