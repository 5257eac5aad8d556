// The text of a setting's value, as print, get, diff and the JSON output show it.
//
// Numbers are decimal; floats and doubles use the fewest digits that read back to the identical
// value ("0.1", "1e+20", "nan", "inf"). Binary values are Base64. Strings are shown either as
// quoted, escaped UTF-8 text or as their plain text.
#ifndef ORVCONF_VALUEFORMAT_H
#define ORVCONF_VALUEFORMAT_H

#include <string>

#include <orvandel/configuration/ISetting.h>

namespace orvconf {

enum class TextStyle {
    // Strings in double quotes; backslash, quote and control characters escaped (\n, \t, \r,
    // \xHH), bytes that are not UTF-8 as \xHH, wide characters that are not Unicode as \UHHHHHHHH.
    quoted,
    // Strings as their bytes; wide strings as UTF-8, characters that are not Unicode as U+FFFD.
    plain
};

// The value of setting in the given style. A type the library does not know gives "?".
std::string formatValue(const com::orvandel::configuration::ISetting& setting, TextStyle style);

// A path as every listing shows it: the quoted style's escapes, without the quotes.
std::string formatPath(const std::string& path);

// A value as a message quotes it: escaped as a path, in quotes, and cut to its first 40 bytes
// (with its full size) when it is longer.
std::string quotedValue(const std::string& value);

// A setting's type and value as print and diff show them: "(type) = value", the value in the
// quoted style.
std::string formatTypedValue(const com::orvandel::configuration::ISetting& setting);

// One setting as print shows it: "path (type) = value".
std::string formatSettingLine(const std::string& path,
                              const com::orvandel::configuration::ISetting& setting);

}  // namespace orvconf

#endif
