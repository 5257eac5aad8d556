#include "XmlCheck.h"

#include <algorithm>
#include <map>
#include <stdexcept>

#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/ISetting.h>

#include "ConfigurationFile.h"
#include "SettingTypes.h"
#include "ValueFormat.h"
#include "ValueParse.h"
#include "XmlOutline.h"

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;

namespace orvconf {
namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// What follows the value text inside a setting element and that the reader ignores: a child
// element, or text after a comment or processing instruction. Empty when nothing is ignored.
std::string ignoredContent(const std::string& content) {
    size_t i = content.find('<');
    while (i != std::string::npos && i < content.size()) {
        const char* terminator = content.compare(i, 4, "<!--") == 0        ? "-->"
                                 : content.compare(i, 9, "<![CDATA[") == 0 ? "]]>"
                                 : content.compare(i, 2, "<?") == 0        ? "?>"
                                                                           : nullptr;
        if (terminator == nullptr) {
            return "an element inside a setting element is ignored";
        }
        const size_t end = content.find(terminator, i);
        if (end == std::string::npos) {
            return "";
        }
        i = end + std::char_traits<char>::length(terminator);
        const size_t next = std::min(content.find('<', i), content.size());
        if (!std::all_of(content.begin() + static_cast<std::ptrdiff_t>(i),
                         content.begin() + static_cast<std::ptrdiff_t>(next), isBlank)) {
            return "the value ends at the markup inside it; the text after it is ignored";
        }
        i = next;
    }
    return "";
}

// The setting the library reads from the element alone, or an empty handle.
AutoRefCounted<const ISetting> libraryReading(const std::string& file, const std::string& element,
                                              AutoRefCounted<IConfigurationSet>& holder) {
    const std::string document = "<configuration>" + element + "</configuration>";
    std::string reason;
    holder = readForm(file, std::vector<unsigned char>(document.begin(), document.end()),
                      Format::xml, reason);
    if (!holder || holder->getSettingCount() != 1) {
        return AutoRefCounted<const ISetting>();
    }
    std::string path;
    return holder->retrieveLockedSettingByIndex("", 0, path);
}

// The finding about the value of one setting element, or an empty message.
std::string valueFinding(const std::string& file, const std::string& document,
                         const XmlElement& element, AutoRefCounted<IConfigurationSet>& holder,
                         AutoRefCounted<const ISetting>& reading) {
    const std::optional<ISetting::Type> type = typeFromKeyword(element.type);
    if (!type) {
        return "unknown type " + quotedValue(element.type);
    }
    const std::string content =
        document.substr(element.startTagEnd, element.endTagBegin - element.startTagEnd);
    std::string text = decodeXmlReferences(content.substr(0, content.find('<')));
    reading =
        libraryReading(file, document.substr(element.begin, element.end - element.begin), holder);
    if (!reading) {
        return "the library cannot read " + quotedValue(text) + " as " + element.type;
    }
    if (*type != ISetting::stringType && *type != ISetting::unicodeString) {
        // The reader skips the blanks around a number; they change nothing.
        const size_t first = text.find_first_not_of(" \t\r\n");
        text = first == std::string::npos
                   ? std::string()
                   : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
    }
    AutoRefCounted<ISetting> strict = getConfigurationSetFactory()->createSetting();
    strict->initialize(*type);
    const std::string read = formatValue(*reading, TextStyle::quoted);
    try {
        assignValue(*strict, text);
    } catch (const std::invalid_argument& error) {
        return quotedValue(text) + " reads as " + read + " (as " + element.type + ": " +
               error.what() + ")";
    }
    if (formatValue(*strict, TextStyle::quoted) != read) {
        return quotedValue(text) + " reads as " + read;
    }
    return ignoredContent(content);
}

}  // namespace

std::vector<XmlFinding> checkXmlDocument(const std::string& file, const std::string& document) {
    const std::vector<XmlElement> elements = outlineXml(document);
    const LinePositions positions(document);
    std::vector<XmlFinding> findings;
    std::map<std::string, size_t> lastOfKey;
    for (size_t k = 0; k < elements.size(); ++k) {
        const XmlElement& element = elements[k];
        if (element.parent != XmlElement::npos && elements[element.parent].isSetting) {
            continue;  // reported with the setting that holds it
        }
        if (!element.isSetting) {
            if (element.parent == XmlElement::npos && element.tag != "configuration") {
                findings.push_back({element.begin, "", "the root element is not 'configuration'"});
            }
            continue;
        }
        const auto previous = lastOfKey.find(element.key);
        if (previous != lastOfKey.end()) {
            findings.push_back({elements[previous->second].begin, element.key,
                                "set again at line " +
                                    std::to_string(positions.at(element.begin).first) +
                                    "; the later setting wins"});
        }
        lastOfKey[element.key] = k;
        AutoRefCounted<IConfigurationSet> holder;
        AutoRefCounted<const ISetting> reading;
        const std::string message = valueFinding(file, document, element, holder, reading);
        if (!message.empty()) {
            findings.push_back({element.startTagEnd, element.key, message});
        }
        if (!!reading) {
            // Would the key and value come back the same from a file the library writes?
            AutoRefCounted<IConfigurationSet> alone =
                getConfigurationSetFactory()->createConfigurationSet("XMLConfigurationSet");
            alone->insertSetting(element.key, com::orvandel::const_pointer_cast<ISetting>(reading));
            if (const std::optional<std::string> problem =
                    faithfulnessProblem(file, *alone, element.key, Format::xml)) {
                findings.push_back({element.begin, element.key,
                                    "would not come back the same once written: " + *problem});
            }
        }
    }
    std::stable_sort(findings.begin(), findings.end(),
                     [](const XmlFinding& a, const XmlFinding& b) { return a.offset < b.offset; });
    return findings;
}

}  // namespace orvconf
