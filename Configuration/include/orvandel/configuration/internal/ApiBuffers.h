// The output-buffer protocol of the flat C interface: lengths cross as 32-bit counts, and text
// is copied out whole with its terminating NUL, or not at all. Nothing is ever copied beyond the
// caller's capacity, whatever the length of what is copied.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_APIBUFFERS_H
#define ORVANDEL_CONFIGURATION_INTERNAL_APIBUFFERS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace com {
namespace orvandel {
namespace configuration {
namespace api {

// A count of the library (settings, bytes of a buffer) cut to the 32 bits of the C interface.
inline uint32_t cut(size_t length) {
    return static_cast<uint32_t>(length);
}

// The length a caller's buffer needs, as the protocol reports it: a length beyond 32 bits is
// reported as UINT32_MAX, so that it never looks small. Whether something fits is decided on
// the full length, never on this one.
inline uint32_t requiredLength(size_t length) {
    return length > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(length);
}

// Whether length elements fit in a buffer of capacity elements.
inline bool fits(size_t length, uint32_t capacity) {
    return length <= capacity;
}

// Stores the length of text plus its NUL in *reqLength (see requiredLength) and, when that fits
// in capacity elements, copies the text with its NUL into buffer. text holds length elements and
// a NUL after them; text holding a NUL of its own is copied up to it, while the required length
// still counts the whole text. Returns whether it copied.
template <class Char, class Element>
bool copyText(const Char* text, size_t length, Element* buffer, uint32_t capacity,
              uint32_t* reqLength) noexcept {
    static_assert(sizeof(Char) == sizeof(Element), "text is copied element by element");
    const size_t required = length + 1;
    *reqLength = requiredLength(required);
    if (!fits(required, capacity)) {
        return false;
    }
    const size_t copied = std::char_traits<Char>::length(text) + 1;
    std::memcpy(buffer, text, copied * sizeof(Char));
    return true;
}

template <class Char, class Element>
bool copyText(const std::basic_string<Char>& text, Element* buffer, uint32_t capacity,
              uint32_t* reqLength) noexcept {
    return copyText(text.c_str(), text.size(), buffer, capacity, reqLength);
}

}  // namespace api
}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
