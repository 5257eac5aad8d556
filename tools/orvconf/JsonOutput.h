// The JSON form of a set, for print --json: an array of {"path", "type", "value"} objects in
// path order. bool values are JSON booleans, integers and finite floats JSON numbers (integers
// exactly as stored, floats in their shortest exact form); non-finite floats are the strings
// "nan", "inf" or "-inf"; strings and wide strings are JSON strings (bytes that are not UTF-8
// and wide characters that are not Unicode become U+FFFD); binary values are Base64 strings.
// Paths are JSON strings likewise.
#ifndef ORVCONF_JSONOUTPUT_H
#define ORVCONF_JSONOUTPUT_H

#include <ostream>

#include <orvandel/configuration/IConfigurationSet.h>

namespace orvconf {

void writeJson(std::ostream& out, const com::orvandel::configuration::IConfigurationSet& set);

}  // namespace orvconf

#endif
