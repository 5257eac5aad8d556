// Strict reading of a value given on the command line.
//
// Numbers are decimal, whole-text, with no blanks and no "+": a leading "-" only for the signed
// and floating-point types. A number outside the type's range is an error, never wrapped or
// clamped; a float or double that overflows, or that underflows to zero from a non-zero text, is
// out of range. "nan", "inf" and "-inf" are accepted for float and double. bool is exactly
// "true" or "false"; binary is canonical Base64 once line breaks and blanks are dropped;
// unicodeString is well-formed UTF-8; string is taken byte for byte.
#ifndef ORVCONF_VALUEPARSE_H
#define ORVCONF_VALUEPARSE_H

#include <string>

#include <orvandel/configuration/ISetting.h>

namespace orvconf {

// Stores the value that text denotes in setting, which already has its type. Throws
// std::invalid_argument with the reason when text is malformed or out of range; setting is then
// unchanged.
void assignValue(com::orvandel::configuration::ISetting& setting, const std::string& text);

}  // namespace orvconf

#endif
