// What a person reading an XML configuration document would take differently from the library:
// values whose text reads as something other than it shows, settings given twice, markup the
// reader ignores, and keys that would not come back the same once the library writes them.
#ifndef ORVCONF_XMLCHECK_H
#define ORVCONF_XMLCHECK_H

#include <cstddef>
#include <string>
#include <vector>

namespace orvconf {

struct XmlFinding {
    size_t offset;  // where in the document it stands
    std::string path;
    std::string message;
};

// The findings in document, in document order. file names it in reasons.
std::vector<XmlFinding> checkXmlDocument(const std::string& file, const std::string& document);

}  // namespace orvconf

#endif
