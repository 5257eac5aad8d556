#include "JsonOutput.h"

#include <cmath>
#include <cstdint>
#include <cstdio>

#include "Base64.h"
#include "SettingTypes.h"
#include "Utf8.h"
#include "ValueFormat.h"

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;

namespace orvconf {
namespace {

// The largest magnitude up to which every integer is exactly a double.
constexpr uint64_t kExactInDouble = uint64_t(1) << 53;

bool isUtf8(const std::string& bytes) {
    bool valid = true;
    decodeUtf8(bytes, [&](char32_t, bool ok) { valid = valid && ok; });
    return valid;
}

std::string quoted(const std::string& utf8) {
    std::string text = "\"";
    for (const char c : utf8) {
        if (c == '"' || c == '\\') {
            text += '\\';
            text += c;
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(c));
            text += escape;
        } else {
            text += c;
        }
    }
    return text + "\"";
}

std::string wideJson(const std::wstring& wide) {
    std::string utf8;
    std::string codePoints;
    bool unicode = true;
    for (const wchar_t unit : wide) {
        const char32_t codePoint = static_cast<char32_t>(unit);
        unicode = unicode && isUnicodeScalar(codePoint);
        if (unicode) {
            appendUtf8(utf8, codePoint);
        }
        codePoints += (codePoints.empty() ? "" : ", ") + std::to_string(codePoint);
    }
    return unicode ? quoted(utf8) : "{\"codePoints\": [" + codePoints + "]}";
}

std::string jsonValue(const ISetting& setting) {
    const std::string plain = formatValue(setting, TextStyle::plain);
    switch (setting.getType()) {
        case ISetting::stringType:
            return jsonText(plain);
        case ISetting::unicodeString: {
            const std::wstring* wide = nullptr;
            setting.getValue(&wide);
            return wideJson(*wide);
        }
        case ISetting::binaryType:
            return quoted(plain);
        case ISetting::floatType:
        case ISetting::doubleType:
            return plain.find_first_of("ni") == std::string::npos ? plain : quoted(plain);
        case ISetting::uint64Type: {
            uint64_t value = 0;
            setting.getValue(&value);
            return value <= kExactInDouble ? plain : quoted(plain);
        }
        case ISetting::int64Type: {
            int64_t value = 0;
            setting.getValue(&value);
            const uint64_t magnitude =
                value < 0 ? uint64_t(0) - static_cast<uint64_t>(value) : uint64_t(value);
            return magnitude <= kExactInDouble ? plain : quoted(plain);
        }
        default:
            return setting.getType() < ISetting::int64Type ? plain : "null";
    }
}

std::string typedValue(const ISetting& setting) {
    return "\"type\": " + quoted(typeKeyword(setting.getType())) +
           ", \"value\": " + jsonValue(setting);
}

// Writes the items as a JSON array, one item a line.
void writeArray(std::ostream& out, const std::vector<std::string>& items) {
    out << '[';
    const char* separator = "\n  ";
    for (const std::string& item : items) {
        out << separator << item;
        separator = ",\n  ";
    }
    out << (items.empty() ? "]\n" : "\n]\n");
}

}  // namespace

std::string jsonText(const std::string& bytes) {
    if (isUtf8(bytes)) {
        return quoted(bytes);
    }
    return "{\"base64\": \"" +
           encodeBase64(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()) + "\"}";
}

std::string jsonSetting(const std::string& path, const ISetting& setting) {
    return "{\"path\": " + jsonText(path) + ", " + typedValue(setting) + "}";
}

void writeJson(std::ostream& out, const IConfigurationSet& set) {
    std::vector<std::string> items;
    forEachSetting(set, "", [&](const std::string& path, const ISetting& setting) {
        items.push_back(jsonSetting(path, setting));
    });
    writeArray(out, items);
}

void writeJsonPaths(std::ostream& out, const std::vector<std::string>& paths) {
    std::vector<std::string> items;
    for (const std::string& path : paths) {
        items.push_back(jsonText(path));
    }
    writeArray(out, items);
}

void writeJsonDifferences(std::ostream& out, const IConfigurationSet& before,
                          const IConfigurationSet& after,
                          const std::vector<Difference>& differences) {
    const char* kinds[] = {"added", "removed", "changed"};
    std::vector<std::string> items;
    for (const Difference& difference : differences) {
        std::string item = "{\"change\": \"" + std::string(kinds[difference.kind]) +
                           "\", \"path\": " + jsonText(difference.path);
        if (difference.kind != Difference::added) {
            item += ", \"before\": {" + typedValue(*before.retrieveLockedSetting(difference.path)) +
                    "}";
        }
        if (difference.kind != Difference::removed) {
            item +=
                ", \"after\": {" + typedValue(*after.retrieveLockedSetting(difference.path)) + "}";
        }
        items.push_back(item + "}");
    }
    writeArray(out, items);
}

}  // namespace orvconf
