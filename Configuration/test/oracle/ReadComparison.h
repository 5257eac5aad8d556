// The library's earlier XML reader, kept as the reference for its SAX2 reader (Xerces-C's DOM
// parser builds the whole tree, which is then walked into settings), and the comparison of the
// two on the same bytes.
#ifndef ORVANDEL_CONFIGURATION_TEST_ORACLE_READCOMPARISON_H
#define ORVANDEL_CONFIGURATION_TEST_ORACLE_READCOMPARISON_H

#include <ios>
#include <memory>
#include <new>
#include <string>

#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/util/TransService.hpp>

#include <orvandel/configuration/internal/XMLConfigurationSet.h>

#include "FuzzSupport.h"

namespace oracle {

// An XML set whose unserialize is the DOM reader; serialize is the library's. Like the library's
// reader it refuses elements with more than XMLDocumentReader::sd_maxAttributes attributes.
class DomReadingSet : public com::orvandel::configuration::XMLConfigurationSet {
  public:
    DomReadingSet();

    void unserialize(const unsigned char* in, size_t inLength) override;

  private:
    ~DomReadingSet() override = default;

    // Adds the settings at or below element, whose branch path is path, to read.
    void readElement(const xercesc::DOMElement& element, std::string& path, SettingMap& read,
                     size_t depth);

    std::unique_ptr<xercesc::XMLTranscoder> d_transcoder;  // UTF-16 to UCS-4LE (wchar_t)
};

// How reading the bytes into a set holding a few settings ends: the failure (or "read"), the
// modified flag, and every setting: path, whether it is an earlier object kept, type and value.
inline std::string readOutcome(com::orvandel::configuration::IConfigurationSet& set,
                               const unsigned char* data, size_t size) {
    using com::orvandel::configuration::IConfigurationSet;
    orvandel_fuzz::populate(set);
    const std::vector<orvandel_fuzz::SettingSnapshot> before = orvandel_fuzz::snapshot(set);
    std::string outcome = "read";
    try {
        set.unserialize(data, size);
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        outcome = "ConfigurationSetException " + std::to_string(exception);
    } catch (const std::ios_base::failure&) {
        outcome = "std::ios_base::failure";
    } catch (const std::bad_alloc&) {
        outcome = "std::bad_alloc";
    }
    outcome += set.checkModified() ? ", modified:" : ", unmodified:";
    for (const orvandel_fuzz::SettingSnapshot& setting : orvandel_fuzz::snapshot(set)) {
        bool kept = false;
        for (const orvandel_fuzz::SettingSnapshot& earlier : before) {
            kept = kept || earlier.object == setting.object;
        }
        outcome += " " + setting.path + (kept ? " (kept)" : "") + " type " +
                   std::to_string(setting.type) + " value " +
                   std::string(setting.value.begin(), setting.value.end()) + ";";
    }
    return outcome;
}

// Empty when both readers agree on the bytes; otherwise both outcomes.
inline std::string differenceBetweenReaders(const unsigned char* data, size_t size) {
    using com::orvandel::AutoRefCounted;
    using com::orvandel::configuration::IConfigurationSet;
    AutoRefCounted<IConfigurationSet> library(
        new com::orvandel::configuration::XMLConfigurationSet());
    AutoRefCounted<IConfigurationSet> reference(new DomReadingSet());
    const std::string outcome = readOutcome(*library, data, size);
    const std::string expected = readOutcome(*reference, data, size);
    return outcome == expected ? std::string()
                               : "SAX2 reader: " + outcome + "\nDOM reader:  " + expected;
}

}  // namespace oracle

#endif
