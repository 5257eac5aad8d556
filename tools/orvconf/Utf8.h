// Strict UTF-8: the text encoding of the command line and of every output, and the bridge
// between narrow text and wide strings (whose wchar_t units are Unicode code points).
#ifndef ORVCONF_UTF8_H
#define ORVCONF_UTF8_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace orvconf {

// True for a Unicode scalar value: at most 0x10FFFF and not a surrogate.
bool isUnicodeScalar(char32_t codePoint);

// U+FFFD, which stands in for what is not Unicode where no escape can be written.
inline constexpr char32_t kReplacementCharacter = 0xFFFD;

// Walks text: calls visit(codePoint, true) for each well-formed UTF-8 sequence (no overlong
// forms, no surrogates, nothing above 0x10FFFF), and visit(byte, false) for each byte that does
// not begin one.
void decodeUtf8(const std::string& text, const std::function<void(char32_t, bool)>& visit);

// Appends the UTF-8 encoding of a Unicode scalar value.
void appendUtf8(std::string& text, char32_t codePoint);

// The code points of well-formed UTF-8 text, or nothing when it is not well formed.
std::optional<std::wstring> wideFromUtf8(const std::string& text);

}  // namespace orvconf

#endif
