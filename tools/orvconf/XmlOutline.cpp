#include "XmlOutline.h"

#include <algorithm>
#include <cstdlib>

#include "Utf8.h"

namespace orvconf {
namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// The offset just after the first occurrence of terminator at or after from, or the end.
size_t skipPast(const std::string& text, size_t from, const char* terminator) {
    const size_t at = text.find(terminator, from);
    return at == std::string::npos ? text.size() : at + std::char_traits<char>::length(terminator);
}

// Reads the start tag at document[at] == '<' into element; returns the offset after it.
size_t readStartTag(const std::string& document, size_t at, XmlElement& element,
                    std::string& nameAttribute) {
    size_t i = at + 1;
    while (i < document.size() && !isBlank(document[i]) && document[i] != '/' &&
           document[i] != '>') {
        element.tag += document[i++];
    }
    while (i < document.size()) {
        while (i < document.size() && isBlank(document[i])) {
            ++i;
        }
        if (i >= document.size() || document[i] == '>') {
            return i + 1;
        }
        if (document[i] == '/') {
            element.selfClosing = true;
            return skipPast(document, i, ">");
        }
        std::string attribute;
        while (i < document.size() && document[i] != '=' && !isBlank(document[i])) {
            attribute += document[i++];
        }
        const size_t open = document.find_first_of("\"'", i);
        if (open == std::string::npos) {
            return document.size();
        }
        const size_t close = document.find(document[open], open + 1);
        if (close == std::string::npos) {
            return document.size();
        }
        const std::string value = decodeXmlReferences(document.substr(open + 1, close - open - 1));
        if (attribute == "name") {
            element.hasName = true;
            nameAttribute = value;
        } else if (attribute == "type") {
            element.hasType = true;
            element.type = value;
        }
        i = close + 1;
    }
    return i;
}

}  // namespace

std::vector<XmlElement> outlineXml(const std::string& document) {
    std::vector<XmlElement> elements;
    std::vector<size_t> open;  // indices of the elements whose end tag is still to come
    size_t i = document.find('<');
    while (i < document.size()) {
        if (document.compare(i, 4, "<!--") == 0) {
            i = skipPast(document, i + 4, "-->");
        } else if (document.compare(i, 9, "<![CDATA[") == 0) {
            i = skipPast(document, i + 9, "]]>");
        } else if (document.compare(i, 2, "<?") == 0) {
            i = skipPast(document, i + 2, "?>");
        } else if (document.compare(i, 2, "<!") == 0) {
            // A document type declaration, possibly with an internal subset in brackets.
            int depth = 0;
            for (++i; i < document.size() && (document[i] != '>' || depth > 0); ++i) {
                depth += document[i] == '[' ? 1 : document[i] == ']' ? -1 : 0;
            }
            ++i;
        } else if (document.compare(i, 2, "</") == 0) {
            const size_t end = skipPast(document, i, ">");
            if (!open.empty()) {
                elements[open.back()].endTagBegin = i;
                elements[open.back()].end = end;
                open.pop_back();
            }
            i = end;
        } else {
            XmlElement element;
            element.begin = i;
            element.parent = open.empty() ? XmlElement::npos : open.back();
            const std::string outerPath =
                open.empty() ? std::string() : elements[open.back()].childPath;
            std::string name;
            i = readStartTag(document, i, element, name);
            element.startTagEnd = i;
            element.isSetting = element.tag == "setting";
            if (element.isSetting) {
                element.key = outerPath.empty() ? "/" + name : outerPath + name;
            }
            element.childPath = element.tag == "configuration" || element.isSetting
                                    ? outerPath
                                    : outerPath + element.tag + "/";
            if (element.selfClosing) {
                element.endTagBegin = element.startTagEnd;
                element.end = element.startTagEnd;
            } else {
                open.push_back(elements.size());
            }
            elements.push_back(std::move(element));
        }
        i = document.find('<', i);
    }
    // Elements a truncated document never closes end with it.
    for (const size_t index : open) {
        elements[index].endTagBegin = document.size();
        elements[index].end = document.size();
    }
    return elements;
}

std::string decodeXmlReferences(const std::string& raw) {
    std::string text;
    for (size_t i = 0; i < raw.size(); ++i) {
        const size_t semicolon = raw[i] == '&' ? raw.find(';', i) : std::string::npos;
        if (semicolon == std::string::npos) {
            text += raw[i];
            continue;
        }
        const std::string name = raw.substr(i + 1, semicolon - i - 1);
        if (!name.empty() && name[0] == '#') {
            const bool hex = name.size() > 1 && name[1] == 'x';
            const unsigned long code =
                std::strtoul(name.c_str() + (hex ? 2 : 1), nullptr, hex ? 16 : 10);
            if (isUnicodeScalar(static_cast<char32_t>(code))) {
                appendUtf8(text, static_cast<char32_t>(code));
            }
        } else {
            const char* names[] = {"lt", "gt", "amp", "quot", "apos"};
            const char* characters = "<>&\"'";
            for (size_t k = 0; k < 5; ++k) {
                if (name == names[k]) {
                    text += characters[k];
                }
            }
        }
        i = semicolon;
    }
    return text;
}

LinePositions::LinePositions(const std::string& document) : d_lineStarts{0} {
    for (size_t i = 0; i < document.size(); ++i) {
        if (document[i] == '\n') {
            d_lineStarts.push_back(i + 1);
        }
    }
}

std::pair<size_t, size_t> LinePositions::at(size_t offset) const {
    const size_t line = static_cast<size_t>(
        std::upper_bound(d_lineStarts.begin(), d_lineStarts.end(), offset) - d_lineStarts.begin());
    return {line, offset - d_lineStarts[line - 1] + 1};
}

}  // namespace orvconf
