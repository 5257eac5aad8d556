// The output-buffer protocol of the flat C interface: lengths cross as 32-bit counts, and text
// is copied out whole with its terminating NUL, or not at all.
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

// A length of the library cut to the 32 bits of the C interface.
inline uint32_t cut(size_t length) {
    return static_cast<uint32_t>(length);
}

// Stores the length of text plus its NUL in *reqLength and, when that fits in capacity elements,
// copies the text with its NUL into buffer. Text holding a NUL of its own is copied up to it,
// while the required length still counts the whole text. Returns whether it copied.
template <class Char, class Element>
bool copyText(const std::basic_string<Char>& text, Element* buffer, uint32_t capacity,
              uint32_t* reqLength) noexcept {
    static_assert(sizeof(Char) == sizeof(Element), "text is copied element by element");
    const uint32_t required = cut(text.size() + 1);
    *reqLength = required;
    if (capacity < required) {
        return false;
    }
    const size_t copied = std::char_traits<Char>::length(text.c_str()) + 1;
    std::memcpy(buffer, text.c_str(), copied * sizeof(Char));
    return true;
}

}  // namespace api
}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
