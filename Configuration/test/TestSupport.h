// Small helpers shared by the unit tests: building settings and sets, reading reference counts,
// taking a set's binary form, and scratch directories for file tests.
#ifndef ORVANDEL_CONFIGURATION_TEST_TESTSUPPORT_H
#define ORVANDEL_CONFIGURATION_TEST_TESTSUPPORT_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>

#include <orvandel/configuration/Convenience.h>
#include <orvandel/configuration/internal/BinaryConfigurationSet.h>
#include <orvandel/configuration/internal/Setting.h>

namespace testsupport {

using com::orvandel::AutoRefCounted;
using com::orvandel::IRefCounted;
using com::orvandel::configuration::BinaryConfigurationSet;
using com::orvandel::configuration::ConfigurationSet;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;
using com::orvandel::configuration::Setting;

// The value of type Exception that operation throws, or nothing when it throws none.
template <class Exception>
std::optional<Exception> thrownValue(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const Exception& exception) {
        return exception;
    }
    return std::nullopt;
}

// The object's current reference count, read without changing it.
inline uint32_t referenceCount(const IRefCounted& object) {
    object.addRef();
    return object.release();
}

// A new setting of the given type holding value.
template <class T>
AutoRefCounted<ISetting> makeSetting(ISetting::Type type, const T& value) {
    AutoRefCounted<ISetting> setting(new Setting());
    setting->initialize(type);
    setting->setValue(value);
    return setting;
}

// A new binary setting holding the given bytes.
inline AutoRefCounted<ISetting> makeBinarySetting(const std::vector<unsigned char>& bytes) {
    AutoRefCounted<ISetting> setting(new Setting());
    setting->initialize(ISetting::binaryType);
    com::orvandel::configuration::detail::writeValue(*setting, bytes);
    return setting;
}

// New empty sets, plain and binary.
inline AutoRefCounted<IConfigurationSet> newPlainSet() {
    return AutoRefCounted<IConfigurationSet>(new ConfigurationSet());
}
inline AutoRefCounted<IConfigurationSet> newBinarySet() {
    return AutoRefCounted<IConfigurationSet>(new BinaryConfigurationSet());
}

// True when left equals right, asked of left.
inline bool setsEqual(const AutoRefCounted<IConfigurationSet>& left,
                      const AutoRefCounted<IConfigurationSet>& right) {
    return left->equals(com::orvandel::const_pointer_cast<const IConfigurationSet>(right));
}

// The set's whole serialised form.
inline std::vector<unsigned char> serializedForm(IConfigurationSet& set) {
    return com::orvandel::configuration::serialize(set);
}

// The paths of the set in its own order.
inline std::vector<std::string> pathsOf(IConfigurationSet& set) {
    std::vector<std::string> paths;
    for (const auto& [path, setting] : com::orvandel::configuration::entries(set, "")) {
        paths.push_back(path);
    }
    return paths;
}

// A fresh directory under the test temporary directory, removed with everything in it at the end.
class ScratchDirectory {
  public:
    ScratchDirectory() : d_path(testing::TempDir() + "orvandel-XXXXXX") {
        if (mkdtemp(d_path.data()) == nullptr) {
            throw std::runtime_error("mkdtemp failed");
        }
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(d_path, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    std::string file(const std::string& name) const { return d_path + "/" + name; }

  private:
    std::string d_path;
};

}  // namespace testsupport

#endif
