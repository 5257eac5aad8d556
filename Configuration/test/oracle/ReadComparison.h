// Reads the same bytes with the library's XML reader and with the DOM reader it replaced, and
// tells how the two outcomes differ: the failure, the settings (paths, types, values, which
// earlier objects were kept) and the modified flag.
#ifndef ORVANDEL_CONFIGURATION_TEST_ORACLE_READCOMPARISON_H
#define ORVANDEL_CONFIGURATION_TEST_ORACLE_READCOMPARISON_H

#include <ios>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "DomDocumentReader.h"
#include "FuzzSupport.h"

namespace oracle {

struct ReadOutcome {
    std::string failure;                                   // empty when the read succeeded
    std::vector<orvandel_fuzz::SettingSnapshot> settings;  // object: null for an object kept
    bool modified = false;

    bool operator==(const ReadOutcome& other) const {
        return failure == other.failure && settings == other.settings && modified == other.modified;
    }
};

inline ReadOutcome readOutcome(com::orvandel::configuration::IConfigurationSet& set,
                               const unsigned char* data, size_t size) {
    using com::orvandel::configuration::IConfigurationSet;
    orvandel_fuzz::populate(set);
    const std::vector<orvandel_fuzz::SettingSnapshot> before = orvandel_fuzz::snapshot(set);
    ReadOutcome outcome;
    try {
        set.unserialize(data, size);
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        outcome.failure = "ConfigurationSetException " + std::to_string(exception);
    } catch (const std::ios_base::failure&) {
        outcome.failure = "std::ios_base::failure";
    } catch (const std::bad_alloc&) {
        outcome.failure = "std::bad_alloc";
    }
    outcome.settings = orvandel_fuzz::snapshot(set);
    for (orvandel_fuzz::SettingSnapshot& setting : outcome.settings) {
        for (const orvandel_fuzz::SettingSnapshot& earlier : before) {
            if (earlier.object == setting.object) {
                setting.object = nullptr;
            }
        }
        if (setting.object != nullptr) {
            setting.object = reinterpret_cast<const com::orvandel::configuration::ISetting*>(1);
        }
    }
    outcome.modified = set.checkModified();
    return outcome;
}

inline std::string describe(const ReadOutcome& outcome) {
    std::ostringstream text;
    text << (outcome.failure.empty() ? "read" : outcome.failure)
         << (outcome.modified ? ", modified:" : ", unmodified:");
    for (const orvandel_fuzz::SettingSnapshot& setting : outcome.settings) {
        text << " " << setting.path << (setting.object == nullptr ? " (kept)" : "") << " type "
             << setting.type << " value " << std::string(setting.value.begin(), setting.value.end())
             << ";";
    }
    return text.str();
}

// Empty when both readers agree on the bytes; otherwise both outcomes. *read, when given, tells
// whether the library's reader read the bytes without failure.
inline std::string differenceBetweenReaders(const unsigned char* data, size_t size,
                                            bool* read = nullptr) {
    using com::orvandel::AutoRefCounted;
    using com::orvandel::configuration::IConfigurationSet;
    using com::orvandel::configuration::XMLConfigurationSet;
    AutoRefCounted<IConfigurationSet> library(new XMLConfigurationSet());
    AutoRefCounted<IConfigurationSet> reference(new DomReadingSet());
    const ReadOutcome outcome = readOutcome(*library, data, size);
    const ReadOutcome expected = readOutcome(*reference, data, size);
    if (read != nullptr) {
        *read = outcome.failure.empty();
    }
    if (outcome == expected) {
        return std::string();
    }
    return "SAX2 reader: " + describe(outcome) + "\nDOM reader:  " + describe(expected);
}

}  // namespace oracle

#endif
