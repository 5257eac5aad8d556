// The JSON form of settings, shared by print --json, export, get --json and diff --json, and
// read back by import (JsonInput.h). It loses nothing:
//
// - A set is an array of {"path": P, "type": T, "value": V} objects in path order; T is the type
//   keyword.
// - bool values are JSON booleans. Integers are JSON numbers, except 64-bit values beyond
//   +-2^53 (where a JSON number read as a double would change), which are decimal strings.
// - Finite floats and doubles are JSON numbers in their shortest exact form ("-0" for negative
//   zero); NaN and the infinities are the strings "nan", "-nan", "inf" and "-inf".
// - Narrow texts (paths and string values) that are UTF-8 are JSON strings; any other bytes are
//   carried as {"base64": B}. Wide strings of Unicode scalar values are JSON strings; others
//   are {"codePoints": [N, ...]}. Binary values are Base64 strings.
#ifndef ORVCONF_JSONOUTPUT_H
#define ORVCONF_JSONOUTPUT_H

#include <ostream>
#include <string>
#include <vector>

#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/ISetting.h>

#include "SetContents.h"

namespace orvconf {

// A narrow text as a JSON string, or {"base64": ...} when it is not UTF-8.
std::string jsonText(const std::string& bytes);

// One setting as {"path": ..., "type": ..., "value": ...}.
std::string jsonSetting(const std::string& path,
                        const com::orvandel::configuration::ISetting& setting);

// Every setting of set as a JSON array, one object a line.
void writeJson(std::ostream& out, const com::orvandel::configuration::IConfigurationSet& set);

// Paths as a JSON array of texts.
void writeJsonPaths(std::ostream& out, const std::vector<std::string>& paths);

// Differences between before and after as a JSON array of {"change": "added" | "removed" |
// "changed", "path", "before": {"type", "value"}, "after": {"type", "value"}} objects, each
// holding the sides it has.
void writeJsonDifferences(std::ostream& out,
                          const com::orvandel::configuration::IConfigurationSet& before,
                          const com::orvandel::configuration::IConfigurationSet& after,
                          const std::vector<Difference>& differences);

}  // namespace orvconf

#endif
