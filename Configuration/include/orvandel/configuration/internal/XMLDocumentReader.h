// Reads XML configuration documents (docs/xml-format.md) with Xerces-C's SAX2 parser, building
// each setting as its element ends, without a DOM tree.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_XMLDOCUMENTREADER_H
#define ORVANDEL_CONFIGURATION_INTERNAL_XMLDOCUMENTREADER_H

#include <cstddef>
#include <memory>
#include <string>

#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/TransService.hpp>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/ISetting.h>
#include <orvandel/configuration/internal/Setting.h>
#include <orvandel/configuration/internal/XMLParserMemory.h>
#include <orvandel/configuration/internal/XMLValueText.h>

namespace com {
namespace orvandel {
namespace configuration {

// One reader serves one set for its whole life, so that Xerces-C's parser is built once and
// reused by every read that succeeds. Not reentrant; one thread at a time, like the set.
class XMLDocumentReader {
  public:
    // What a read builds its settings into.
    class Target {
      public:
        // A new setting of the given type that shares the set's modified flag.
        virtual AutoRefCounted<Setting> createSetting(ISetting::Type type) = 0;

        // Keeps setting under key, replacing one read earlier under the same key.
        virtual void storeSetting(std::string&& key, AutoRefCounted<ISetting>&& setting) = 0;

        // Called when a read fails other than at a faulty setting of a well-formed document (it
        // is not well-formed, it is refused as a whole, or memory ran out), which a reader of
        // the finished tree meets before building any setting: puts the modified flag back as
        // it was before the read.
        virtual void forgetCreated() = 0;

      protected:
        ~Target() = default;
    };

    // More attributes than this on any element fail the document at once. A setting element has
    // two, every other element none; the bound stops documents whose elements carry huge numbers
    // of attributes.
    static constexpr size_t sd_maxAttributes = 100;

    // wideTranscoder (UTF-16 to UCS-4LE) is borrowed for the reader's lifetime.
    explicit XMLDocumentReader(xercesc::XMLTranscoder& wideTranscoder);
    ~XMLDocumentReader();
    XMLDocumentReader(const XMLDocumentReader&) = delete;
    XMLDocumentReader& operator=(const XMLDocumentReader&) = delete;

    // Reads the document in length bytes at in, storing every setting it describes into
    // target, in document order. Throws serializationFailureException for a document that is
    // not well-formed or does not fit the format, std::ios_base::failure for a number or boolean
    // text the value stream cannot read, std::bad_alloc (also for Xerces-C running out of
    // memory). Failures are reported as a reader of the finished tree would meet them: first
    // whatever makes the document unreadable as XML, then the first fault of a setting in
    // document order; settings after that fault are not built.
    void read(const unsigned char* in, size_t length, Target& target);

  private:
    class Handler;

    void parse(const unsigned char* in, size_t length, Target& target, XMLValueTextReader& values);
    void createParser();
    void abandonParser();
    void discardParser();

    xercesc::XMLTranscoder& d_wideTranscoder;
    std::unique_ptr<Handler> d_handler;
    xercesc::SecurityManager d_security;
    XMLParserMemory d_memory;
    std::unique_ptr<xercesc::SAX2XMLReader> d_parser;  // refers to the three above
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
