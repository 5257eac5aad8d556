// The type keywords of the command line and of every output: the same words the XML form uses
// ("bool", "uchar", ..., "binary", "unicodeString").
#ifndef ORVCONF_SETTINGTYPES_H
#define ORVCONF_SETTINGTYPES_H

#include <optional>
#include <string>

#include <orvandel/configuration/ISetting.h>

namespace orvconf {

// The keyword of type; a type number the library does not know gives "type N".
std::string typeKeyword(com::orvandel::configuration::ISetting::Type type);

// The type a keyword names (exact, case-sensitive), or nothing.
std::optional<com::orvandel::configuration::ISetting::Type> typeFromKeyword(
    const std::string& keyword);

// All keywords, separated by ", " in type order, for messages and the usage text.
std::string allTypeKeywords();

}  // namespace orvconf

#endif
