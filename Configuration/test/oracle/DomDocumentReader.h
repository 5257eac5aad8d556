// The library's earlier XML reader, kept as the reference for its SAX2 reader: Xerces-C's DOM
// parser builds the whole tree, which is then walked into settings.
#ifndef ORVANDEL_CONFIGURATION_TEST_ORACLE_DOMDOCUMENTREADER_H
#define ORVANDEL_CONFIGURATION_TEST_ORACLE_DOMDOCUMENTREADER_H

#include <memory>
#include <string>

#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/util/TransService.hpp>

#include <orvandel/configuration/internal/XMLConfigurationSet.h>

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

}  // namespace oracle

#endif
