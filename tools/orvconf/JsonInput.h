// Reading the JSON form of settings (see JsonOutput.h) back, for import. Every value is read as
// strictly as on the command line; the JSON text itself must be UTF-8 and nest at most 64
// levels deep.
#ifndef ORVCONF_JSONINPUT_H
#define ORVCONF_JSONINPUT_H

#include <string>
#include <utility>
#include <vector>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/ISetting.h>

namespace orvconf {

using JsonSetting =
    std::pair<std::string, com::orvandel::AutoRefCounted<com::orvandel::configuration::ISetting>>;

// The settings a JSON document holds, in its order. Throws Failure naming source and, for a
// malformed setting, its position in the array and the reason.
std::vector<JsonSetting> readJsonSettings(const std::string& source, const std::string& json);

}  // namespace orvconf

#endif
