// Where the elements of an XML configuration document stand in its bytes: a small scanner that
// finds element boundaries, tag names and the name and type attributes of setting elements,
// and gives every setting element the key the library's reader gives it. It expects a document
// the library has read (so well-formed) and never reads beyond the bytes it is given.
#ifndef ORVCONF_XMLOUTLINE_H
#define ORVCONF_XMLOUTLINE_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace orvconf {

struct XmlElement {
    std::string tag;
    size_t begin = 0;        // the '<' of the start tag
    size_t startTagEnd = 0;  // just after the start tag's '>'
    size_t endTagBegin = 0;  // the '<' of the end tag; startTagEnd for an empty-element tag
    size_t end = 0;          // just after the element
    bool selfClosing = false;
    size_t parent = npos;    // index of the enclosing element, npos for the root
    std::string childPath;   // the path the reader gives what stands inside ("a/b/", or "")
    bool isSetting = false;  // a setting element: the key and type below apply
    std::string key;         // the setting's path as the reader builds it
    std::string type;        // its type attribute
    bool hasName = false;    // whether it has a name attribute
    bool hasType = false;    // whether it has a type attribute

    static constexpr size_t npos = static_cast<size_t>(-1);
};

// The elements of document in the order their start tags appear.
std::vector<XmlElement> outlineXml(const std::string& document);

// raw with its character references and predefined entity references replaced (others are
// dropped).
std::string decodeXmlReferences(const std::string& raw);

// The 1-based line and column (in bytes) of offsets into a document.
class LinePositions {
  public:
    explicit LinePositions(const std::string& document);

    std::pair<size_t, size_t> at(size_t offset) const;

  private:
    std::vector<size_t> d_lineStarts;
};

}  // namespace orvconf

#endif
