// The set type "XMLConfigurationSet", whose form is the XML configuration document described in
// docs/xml-format.md.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_XMLCONFIGURATIONSET_H
#define ORVANDEL_CONFIGURATION_INTERNAL_XMLCONFIGURATIONSET_H

#include <cstddef>
#include <memory>
#include <string>

#include <xercesc/util/TransService.hpp>

#include <orvandel/configuration/internal/ConfigurationSet.h>

namespace com {
namespace orvandel {
namespace configuration {

class XMLDocumentReader;

// Sets Xerces-C up for the process. Runs once, while the library is loaded, from a static
// initialiser; Xerces-C is never terminated. Returns false when Xerces-C could not be set up,
// in which case every XML set refuses to serialise.
bool xmlInitialize();

class XMLConfigurationSet : public ConfigurationSet {
  public:
    // The deepest element nesting the set writes or reads, the root element counting as depth 1,
    // so a path may have at most sd_maxElementDepth - 2 branch segments. Xerces-C's serializer
    // recurses once per level; the bound keeps its stack use to a few hundred kilobytes (small
    // enough for a host thread's stack) and turns absurdly deep paths into
    // serializationFailureException instead of a stack overflow. The reader, which does not
    // recurse, refuses deeper documents alike. Every document the set writes is within the bound,
    // so it never refuses its own documents.
    static constexpr size_t sd_maxElementDepth = 1000;

    XMLConfigurationSet();

    // Reads one XML configuration document and merges its settings once the whole document has
    // been read. Throws serializationFailureException for a document that is not well-formed or
    // does not fit the format, std::ios_base::failure for a number or boolean text that cannot
    // be read, std::bad_alloc; after any failure the set's settings are unchanged.
    void unserialize(const unsigned char* in, size_t inLength) override;

    // Writes the whole set as one XML configuration document (UTF-8), following the length
    // protocol of IConfigurationSet::serialize; nothing is copied into a buffer that is too
    // small, and a length query keeps the document for the call that follows (see KeptForm.h).
    // A branch segment that is not an XML name fails with Xerces-C's DOMException.
    void serialize(unsigned char* out, size_t outLength, size_t* reqLength) override;

  protected:
    ~XMLConfigurationSet() override;

    void buildForm(KeptForm& form) override;
    void rewriteBinary(unsigned char* at, const unsigned char* binary,
                       size_t length) noexcept override;

  private:
    class ReadTarget;

    bool d_xmlPlatformInitialized;  // false when the transcoder could not be made
    std::unique_ptr<xercesc::XMLTranscoder> d_wcharTranscoder;  // UTF-16 to UCS-4LE (wchar_t)
    std::unique_ptr<XMLDocumentReader> d_reader;  // built by the first read, kept for the next
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
