// Standard Base64 (RFC 4648 alphabet, "=" padding, no line breaks), the text form of binary
// values on the command line and in every output.
#ifndef ORVCONF_BASE64_H
#define ORVCONF_BASE64_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace orvconf {

// The Base64 text of length bytes at data (data may be null when length is 0).
std::string encodeBase64(const unsigned char* data, size_t length);

// The bytes that text encodes, or nothing when text is not canonical Base64: a length that is
// not a multiple of 4, a character outside the alphabet (whitespace included), misplaced
// padding, or padding bits that are not zero. The empty text is the empty buffer.
std::optional<std::vector<unsigned char>> decodeBase64(const std::string& text);

}  // namespace orvconf

#endif
