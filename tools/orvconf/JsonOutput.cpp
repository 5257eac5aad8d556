#include "JsonOutput.h"

#include <cmath>
#include <cstdio>
#include <string>

#include "SetContents.h"
#include "SettingTypes.h"
#include "Utf8.h"
#include "ValueFormat.h"

using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;

namespace orvconf {
namespace {

std::string jsonString(const std::string& bytes) {
    std::string text = "\"";
    decodeUtf8(bytes, [&](char32_t codePoint, bool valid) {
        if (!valid) {
            appendUtf8(text, kReplacementCharacter);
        } else if (codePoint == '"' || codePoint == '\\') {
            text += '\\';
            text += static_cast<char>(codePoint);
        } else if (codePoint < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(codePoint));
            text += escape;
        } else {
            appendUtf8(text, codePoint);
        }
    });
    return text + "\"";
}

bool isFinite(const ISetting& setting) {
    if (setting.getType() == ISetting::floatType) {
        float value = 0;
        setting.getValue(&value);
        return std::isfinite(value);
    }
    double value = 0;
    setting.getValue(&value);
    return std::isfinite(value);
}

std::string jsonValue(const ISetting& setting) {
    const std::string plain = formatValue(setting, TextStyle::plain);
    switch (setting.getType()) {
        case ISetting::stringType:
        case ISetting::unicodeString:
        case ISetting::binaryType:
            return jsonString(plain);
        case ISetting::floatType:
        case ISetting::doubleType:
            return isFinite(setting) ? plain : jsonString(plain);
        default:
            return setting.getType() <= ISetting::int64Type ? plain : "null";
    }
}

}  // namespace

void writeJson(std::ostream& out, const IConfigurationSet& set) {
    const char* separator = "\n";
    out << '[';
    forEachSetting(set, "", [&](const std::string& path, const ISetting& setting) {
        out << separator << "  {\"path\": " << jsonString(path)
            << ", \"type\": " << jsonString(typeKeyword(setting.getType()))
            << ", \"value\": " << jsonValue(setting) << '}';
        separator = ",\n";
    });
    out << (set.getSettingCount() == 0 ? "]\n" : "\n]\n");
}

}  // namespace orvconf
