#include "XmlEdit.h"

#include <vector>

#include "XmlOutline.h"

namespace orvconf {
namespace {

bool isLineBlank(char c) {
    return c == ' ' || c == '\t';
}

bool onlyBlanks(const std::string& text, size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) {
        if (!isLineBlank(text[i]) && text[i] != '\n' && text[i] != '\r') {
            return false;
        }
    }
    return true;
}

// The blanks that begin the line holding offset, when only blanks precede offset on it.
std::string indentationAt(const std::string& document, size_t offset) {
    size_t start = offset;
    while (start > 0 && isLineBlank(document[start - 1])) {
        --start;
    }
    return start == 0 || document[start - 1] == '\n' ? document.substr(start, offset - start)
                                                     : std::string();
}

// The range [begin, end) widened to whole lines when it is alone on its lines.
std::pair<size_t, size_t> wholeLines(const std::string& document, size_t begin, size_t end) {
    size_t lineStart = begin;
    while (lineStart > 0 && isLineBlank(document[lineStart - 1])) {
        --lineStart;
    }
    size_t lineEnd = end;
    while (lineEnd < document.size() &&
           (isLineBlank(document[lineEnd]) || document[lineEnd] == '\r')) {
        ++lineEnd;
    }
    if ((lineStart == 0 || document[lineStart - 1] == '\n') && lineEnd < document.size() &&
        document[lineEnd] == '\n') {
        return {lineStart, lineEnd + 1};
    }
    return {begin, end};
}

// The branch segments of path that the reader nests elements for ("a/b/" for "a/b/c"); none for
// a path at the top ("x" or "/x").
std::string branchOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos || slash == 0 ? std::string() : path.substr(0, slash + 1);
}

}  // namespace

std::string setXmlSetting(const std::string& document, const std::string& path,
                          const std::string& element) {
    const std::vector<XmlElement> elements = outlineXml(document);
    for (size_t k = elements.size(); k-- > 0;) {
        if (elements[k].isSetting && elements[k].key == path) {
            return document.substr(0, elements[k].begin) + element +
                   document.substr(elements[k].end);
        }
    }
    if (elements.empty()) {
        return document;
    }
    // The deepest non-setting element whose inside is a branch of the path.
    const std::string branch = branchOf(path);
    size_t host = 0;
    for (size_t k = 0; k < elements.size(); ++k) {
        const XmlElement& candidate = elements[k];
        if (!candidate.isSetting &&
            branch.compare(0, candidate.childPath.size(), candidate.childPath) == 0 &&
            candidate.childPath.size() > elements[host].childPath.size()) {
            host = k;
        }
    }
    const XmlElement& parent = elements[host];
    const std::string indentation = indentationAt(document, parent.begin);
    // One step of indentation: what the first child adds to its parent's, or two spaces.
    std::string step = "  ";
    for (size_t k = host + 1; k < elements.size(); ++k) {
        if (elements[k].parent == host) {
            const std::string child = indentationAt(document, elements[k].begin);
            if (child.size() > indentation.size() &&
                child.compare(0, indentation.size(), indentation) == 0) {
                step = child.substr(indentation.size());
            }
            break;
        }
    }
    // The new lines: the missing branch elements around the setting element.
    std::vector<std::string> segments;
    for (size_t at = parent.childPath.size(); at < branch.size();) {
        const size_t slash = branch.find('/', at);
        segments.push_back(branch.substr(at, slash - at));
        at = slash + 1;
    }
    std::string lines;
    std::string inner = indentation + step;
    for (const std::string& segment : segments) {
        lines += inner + "<" + segment + ">\n";
        inner += step;
    }
    lines += inner + element + "\n";
    for (size_t k = segments.size(); k-- > 0;) {
        inner.resize(inner.size() - step.size());
        lines += inner + "</" + segments[k] + ">\n";
    }
    if (parent.selfClosing) {
        size_t slash = parent.startTagEnd - 1;
        while (slash > parent.begin && document[slash] != '/') {
            --slash;
        }
        return document.substr(0, slash) + ">\n" + lines + indentation + "</" + parent.tag + ">" +
               document.substr(parent.startTagEnd);
    }
    const std::string closing = indentationAt(document, parent.endTagBegin);
    if (parent.endTagBegin > 0 && closing.size() < parent.endTagBegin &&
        document[parent.endTagBegin - closing.size() - 1] == '\n') {
        const size_t lineStart = parent.endTagBegin - closing.size();
        return document.substr(0, lineStart) + lines + document.substr(lineStart);
    }
    return document.substr(0, parent.endTagBegin) + "\n" + lines + indentation +
           document.substr(parent.endTagBegin);
}

std::string removeXmlSetting(const std::string& document, const std::string& path) {
    std::string edited = document;
    for (;;) {
        const std::vector<XmlElement> elements = outlineXml(edited);
        size_t found = XmlElement::npos;
        for (size_t k = 0; k < elements.size() && found == XmlElement::npos; ++k) {
            if (elements[k].isSetting && elements[k].key == path) {
                found = k;
            }
        }
        if (found == XmlElement::npos) {
            return edited;
        }
        // Widen the removal to each enclosing branch element it would leave empty; the root
        // element stays.
        size_t removed = found;
        for (size_t up = elements[found].parent;
             up != XmlElement::npos && elements[up].parent != XmlElement::npos;
             up = elements[up].parent) {
            const XmlElement& branch = elements[up];
            if (!onlyBlanks(edited, branch.startTagEnd, elements[removed].begin) ||
                !onlyBlanks(edited, elements[removed].end, branch.endTagBegin)) {
                break;
            }
            removed = up;
        }
        const std::pair<size_t, size_t> range =
            wholeLines(edited, elements[removed].begin, elements[removed].end);
        edited.erase(range.first, range.second - range.first);
    }
}

}  // namespace orvconf
