#include "SettingTypes.h"

#include <array>
#include <utility>

using com::orvandel::configuration::ISetting;

namespace orvconf {
namespace {

const std::array<std::pair<ISetting::Type, const char*>, 14> kKeywords = {{
    {ISetting::boolType, "bool"},
    {ISetting::ucharType, "uchar"},
    {ISetting::uint16Type, "uint16"},
    {ISetting::uint32Type, "uint32"},
    {ISetting::uint64Type, "uint64"},
    {ISetting::charType, "char"},
    {ISetting::int16Type, "int16"},
    {ISetting::int32Type, "int32"},
    {ISetting::int64Type, "int64"},
    {ISetting::floatType, "float"},
    {ISetting::doubleType, "double"},
    {ISetting::stringType, "string"},
    {ISetting::binaryType, "binary"},
    {ISetting::unicodeString, "unicodeString"},
}};

}  // namespace

std::string typeKeyword(ISetting::Type type) {
    for (const auto& entry : kKeywords) {
        if (entry.first == type) {
            return entry.second;
        }
    }
    return "type " + std::to_string(static_cast<unsigned int>(type));
}

std::optional<ISetting::Type> typeFromKeyword(const std::string& keyword) {
    for (const auto& entry : kKeywords) {
        if (keyword == entry.second) {
            return entry.first;
        }
    }
    return std::nullopt;
}

std::string allTypeKeywords() {
    std::string all;
    for (const auto& entry : kKeywords) {
        if (!all.empty()) {
            all += ", ";
        }
        all += entry.second;
    }
    return all;
}

}  // namespace orvconf
