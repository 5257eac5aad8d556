// Helpers shared by the tests of the XML configuration set.
#ifndef ORVANDEL_CONFIGURATION_TEST_XMLTESTSUPPORT_H
#define ORVANDEL_CONFIGURATION_TEST_XMLTESTSUPPORT_H

#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <orvandel/configuration/internal/Setting.h>
#include <orvandel/configuration/internal/XMLConfigurationSet.h>

namespace xmltest {

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;
using com::orvandel::configuration::Setting;
using com::orvandel::configuration::XMLConfigurationSet;

inline AutoRefCounted<IConfigurationSet> newXmlSet() {
    return AutoRefCounted<IConfigurationSet>(new XMLConfigurationSet());
}

using testsupport::makeBinarySetting;
using testsupport::makeSetting;
using testsupport::pathsOf;
using testsupport::setsEqual;

template <class T>
void put(IConfigurationSet& set, const std::string& path, ISetting::Type type, const T& value) {
    set.insertSetting(path, makeSetting(type, value));
}

// The whole document, asked for as callers do: a length query, then a buffer of that length.
inline std::string serialized(IConfigurationSet& set) {
    const std::vector<unsigned char> bytes = testsupport::serializedForm(set);
    return std::string(bytes.begin(), bytes.end());
}

inline void unserialize(IConfigurationSet& set, const std::string& document) {
    set.unserialize(reinterpret_cast<const unsigned char*>(document.data()), document.size());
}

// The exception value with which reading document into set fails; a failed test when it is
// read.
inline IConfigurationSet::ConfigurationSetException failureOf(IConfigurationSet& set,
                                                              const std::string& document) {
    const auto failure = testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(
        [&] { unserialize(set, document); });
    EXPECT_TRUE(failure.has_value()) << "the document was read: " << document.substr(0, 200);
    return failure.value_or(IConfigurationSet::unsupportedException);
}

inline std::string settingElement(const std::string& name, const std::string& type,
                                  const std::string& text) {
    return "<setting name=\"" + name + "\" type=\"" + type + "\">" + text + "</setting>";
}

// The declaration the writer puts before every document.
inline const std::string& declaration() {
    static const std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n";
    return text;
}

template <class T>
T valueAt(IConfigurationSet& set, const std::string& path) {
    T value{};
    set.retrieveSetting(path)->getValue(&value);
    return value;
}

inline std::string stringAt(IConfigurationSet& set, const std::string& path) {
    const std::string* value = nullptr;
    set.retrieveSetting(path)->getValue(&value);
    return *value;
}

inline std::wstring wideStringAt(IConfigurationSet& set, const std::string& path) {
    const std::wstring* value = nullptr;
    set.retrieveSetting(path)->getValue(&value);
    return *value;
}

// A file in /tmp holding the given content, removed at the end of the test.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string& content = std::string()) {
        char name[] = "/tmp/orvandel-xml-XXXXXX";
        const int descriptor = mkstemp(name);
        if (descriptor >= 0) {
            close(descriptor);
        }
        d_path = name;
        std::ofstream(d_path, std::ios_base::binary) << content;
    }
    ~TemporaryFile() { std::remove(d_path.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const { return d_path; }
    std::string url() const { return "file://" + d_path; }

  private:
    std::string d_path;
};

// Switches LC_ALL for one test and restores the previous locale afterwards.
class ScopedLocale {
  public:
    explicit ScopedLocale(const char* name)
        : d_previous(std::setlocale(LC_ALL, nullptr)),
          d_available(std::setlocale(LC_ALL, name) != nullptr) {}
    ~ScopedLocale() { std::setlocale(LC_ALL, d_previous.c_str()); }
    ScopedLocale(const ScopedLocale&) = delete;
    ScopedLocale& operator=(const ScopedLocale&) = delete;

    bool available() const { return d_available; }

  private:
    std::string d_previous;
    bool d_available;
};

}  // namespace xmltest

#endif
