// Writes the XML configuration document of a set straight into its form, without a DOM.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_XMLDOCUMENTWRITER_H
#define ORVANDEL_CONFIGURATION_INTERNAL_XMLDOCUMENTWRITER_H

#include <cstddef>

#include <orvandel/configuration/internal/KeptForm.h>
#include <orvandel/configuration/internal/SettingOrder.h>

namespace com {
namespace orvandel {
namespace configuration {

// Appends the document of the settings `entries` (in path order) to form.bytes(), byte for byte
// what Xerces-C's DOM serializer writes, with pretty-printing, for the document the format
// describes (docs/xml-format.md), and tells `form` of every setting. Each binary value's Base64
// text is left unwritten, its room noted in `form`, for writeXMLBase64 to fill when the form is
// handed out. Names and texts are escaped and encoded by Xerces-C's XMLFormatter, as
// the serializer does. Throws xercesc::DOMException (INVALID_CHARACTER_ERR) for a branch segment
// that is not an XML name, serializationFailureException for a path deeper than
// XMLConfigurationSet::sd_maxElementDepth allows or a name or value holding a character XML 1.0
// cannot carry, std::bad_alloc when memory runs out (also for Xerces-C's OutOfMemoryException).
// Whatever it throws, it leaves nothing of its own allocated; the bytes already appended are
// the caller's to drop.
void writeXMLDocument(const SettingOrder::Entries& entries, KeptForm& form);

// The length of the Base64 text of `length` bytes, as Xerces-C's Base64::encode writes it:
// lines of 60 characters, each ending in a line feed.
size_t xmlBase64Length(size_t length);

// Writes the Base64 text of `length` bytes at `to`, exactly xmlBase64Length(length) bytes, as
// Xerces-C's Base64::encode writes it.
void writeXMLBase64(const unsigned char* binary, size_t length, unsigned char* to) noexcept;

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
