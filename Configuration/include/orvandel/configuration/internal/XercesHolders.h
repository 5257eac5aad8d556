// Owners for Xerces-C objects and buffers that must be handed back to Xerces-C, so that every way
// out of a call (an exception included) returns them.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_XERCESHOLDERS_H
#define ORVANDEL_CONFIGURATION_INTERNAL_XERCESHOLDERS_H

#include <memory>

#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>

namespace com {
namespace orvandel {
namespace configuration {

// Objects that Xerces-C hands out to be given back with their own release(): documents,
// serializers and their outputs.
template <class T>
struct XercesReleaser {
    void operator()(T* object) const { object->release(); }
};

template <class T>
using XercesReleased = std::unique_ptr<T, XercesReleaser<T>>;

// Buffers allocated through Xerces-C's default memory manager (Base64 results).
struct XercesMemoryReleaser {
    void operator()(void* memory) const {
        xercesc::XMLPlatformUtils::fgMemoryManager->deallocate(memory);
    }
};

template <class T>
using XercesBuffer = std::unique_ptr<T, XercesMemoryReleaser>;

// Narrow text that XMLString::transcode made from Xerces-C's UTF-16 text, in Xerces-C's local
// code page; released with XMLString::release.
class TranscodedText {
  public:
    explicit TranscodedText(const XMLCh* text) : d_text(xercesc::XMLString::transcode(text)) {}
    ~TranscodedText() { xercesc::XMLString::release(&d_text); }
    TranscodedText(const TranscodedText&) = delete;
    TranscodedText& operator=(const TranscodedText&) = delete;

    // The text, never null (empty when Xerces-C returned nothing).
    const char* get() const { return d_text != nullptr ? d_text : ""; }

  private:
    char* d_text;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
