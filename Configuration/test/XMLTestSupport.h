// Helpers shared by the tests of the XML configuration set.
#ifndef ORVANDEL_CONFIGURATION_TEST_XMLTESTSUPPORT_H
#define ORVANDEL_CONFIGURATION_TEST_XMLTESTSUPPORT_H

#include <clocale>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <orvandel/configuration/internal/XMLConfigurationSet.h>

namespace xmltest {

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;
using com::orvandel::configuration::XMLConfigurationSet;
using testsupport::makeBinarySetting;
using testsupport::makeSetting;
using testsupport::pathsOf;
using testsupport::setsEqual;

inline AutoRefCounted<IConfigurationSet> newXmlSet() {
    return AutoRefCounted<IConfigurationSet>(new XMLConfigurationSet());
}

inline void putInt(IConfigurationSet& set, const std::string& path, int32_t value) {
    set.insertSetting(path, makeSetting(ISetting::int32Type, value));
}

// The whole document, asked for as callers do: a length query, then a buffer of that length.
inline std::string serialized(IConfigurationSet& set) {
    const std::vector<unsigned char> bytes = testsupport::serializedForm(set);
    return std::string(bytes.begin(), bytes.end());
}

inline void unserialize(IConfigurationSet& set, const std::string& document) {
    set.unserialize(reinterpret_cast<const unsigned char*>(document.data()), document.size());
}

inline std::string settingElement(const std::string& name, const std::string& type,
                                  const std::string& text) {
    return "<setting name=\"" + name + "\" type=\"" + type + "\">" + text + "</setting>";
}

template <class T>
T valueAt(IConfigurationSet& set, const std::string& path) {
    T value{};
    set.retrieveSetting(path)->getValue(&value);
    return value;
}

// Switches LC_ALL for one scope and restores the previous locale afterwards.
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
