// Strict UTF-8: the text encoding of the command line and of every output, and the bridge
// between narrow text and wide strings (whose wchar_t units are Unicode code points).
#ifndef ORVCONF_UTF8_H
#define ORVCONF_UTF8_H

#include <cstddef>
#include <optional>
#include <string>

namespace orvconf {

// True for a Unicode scalar value: at most 0x10FFFF and not a surrogate.
bool isUnicodeScalar(char32_t codePoint);

// The length of the well-formed UTF-8 sequence that starts at text[position] (no overlong forms,
// no surrogates, nothing above 0x10FFFF), storing its code point; 0 when there is none.
size_t utf8SequenceAt(const std::string& text, size_t position, char32_t* codePoint);

// Appends the UTF-8 encoding of a Unicode scalar value.
void appendUtf8(std::string& text, char32_t codePoint);

// The code points of well-formed UTF-8 text, or nothing when it is not well formed.
std::optional<std::wstring> wideFromUtf8(const std::string& text);

}  // namespace orvconf

#endif
