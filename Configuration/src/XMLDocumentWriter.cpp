// The XML writer walks the settings once, in path order: it lays out the element tree by the
// format's branch rules, escapes and encodes each element's name (and a setting's value text) as
// the serializer writes them, and prints the document as it goes, with the serializer's
// pretty-printing, straight into the form. Path order is document order for nearly every set;
// a set whose paths lead back into an element after another element has followed it is walked
// again, this time into a whole tree with its bytes in a pool, which is then printed in document
// order. So every setting is read once (twice in that rare case), and the bytes of the document
// are written once.
#include <orvandel/configuration/internal/XMLDocumentWriter.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/framework/XMLFormatter.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLChar.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>

#include <orvandel/configuration/internal/FailureDetail.h>
#include <orvandel/configuration/internal/XMLConfigurationSet.h>
#include <orvandel/configuration/internal/XMLParserMemory.h>
#include <orvandel/configuration/internal/XMLValueText.h>
#include <orvandel/configuration/internal/XercesHolders.h>

namespace com {
namespace orvandel {
namespace configuration {

using namespace xercesc;

namespace {

using Unicode = std::u16string_view;

constexpr uint32_t sd_none = UINT32_MAX;
constexpr Unicode sd_settingTag = u"setting";

// Base64::encode breaks its text into lines of 15 quads (45 bytes, 60 characters), each ending
// in a line feed.
constexpr size_t sd_base64LineBytes = 45;

// The length of the prefix that `a` and `b` share, compared eight bytes at a time: consecutive
// paths share most of their bytes.
size_t commonPrefixLength(std::string_view a, std::string_view b) {
    const size_t length = std::min(a.size(), b.size());
    size_t at = 0;
    for (uint64_t wordA = 0, wordB = 0; length - at >= sizeof wordA; at += sizeof wordA) {
        std::memcpy(&wordA, a.data() + at, sizeof wordA);
        std::memcpy(&wordB, b.data() + at, sizeof wordB);
        if (wordA != wordB) {
            break;
        }
    }
    while (at < length && a[at] == b[at]) {
        ++at;
    }
    return at;
}

// Narrow text (the set's paths, value texts in the locale's encoding) as Xerces-C's UTF-16,
// exactly as XMLString::transcode turns it, up to the first NUL. ASCII is widened directly; it
// is the same in every code page Xerces-C may use.
class UnicodeText {
  public:
    // The text of `length` bytes at `text`; valid until the next call.
    Unicode of(const char* text, size_t length) {
        length = strnlen(text, length);
        const bool ascii = std::all_of(text, text + length,
                                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        if (ascii) {
            d_text.assign(text, text + length);
            return d_text;
        }
        d_narrow.assign(text, length);
        const XercesBuffer<XMLCh> transcoded(
            XMLString::transcode(d_narrow.c_str(), XMLPlatformUtils::fgMemoryManager));
        if (transcoded == nullptr) {
            throw IConfigurationSet::serializationFailureException;
        }
        d_text.assign(transcoded.get());
        return d_text;
    }

  private:
    std::string d_narrow;
    std::u16string d_text;
};

// How Xerces-C's formatter writes each ASCII character in attribute values and in text, learnt
// from the formatter itself once, so that the common ASCII text is escaped without a call per
// text and still exactly as Xerces-C escapes it. Characters XML 1.0 cannot carry are marked.
class AsciiEscapes : public XMLFormatTarget {
  public:
    struct Escaped {
        std::string attribute;
        std::string text;
        bool allowed;
    };
    // Whether each byte is an ASCII character written as itself; false for every other byte.
    using Plain = bool[0x100];

    static const AsciiEscapes& instance() {
        static const AsciiEscapes escapes;
        return escapes;
    }

    const Escaped& of(unsigned char character) const { return d_escaped[character]; }
    const Plain& plainInAttribute() const { return d_plainInAttribute; }
    const Plain& plainInText() const { return d_plainInText; }

    void writeChars(const XMLByte* const toWrite, const XMLSize_t count,
                    XMLFormatter* const) override {
        d_written.append(reinterpret_cast<const char*>(toWrite), count);
    }

  private:
    AsciiEscapes() {
        XMLFormatter formatter("UTF-8", "1.0", this, XMLFormatter::NoEscapes,
                               XMLFormatter::UnRep_CharRef, XMLPlatformUtils::fgMemoryManager);
        for (XMLCh character = 0; character < 0x80; ++character) {
            Escaped& escaped = d_escaped[character];
            escaped.allowed = XMLChar1_0::isXMLChar(character);
            escaped.attribute = formatted(formatter, character, XMLFormatter::AttrEscapes);
            escaped.text = formatted(formatter, character, XMLFormatter::CharEscapes);
            const std::string itself(1, static_cast<char>(character));
            d_plainInAttribute[character] = escaped.allowed && escaped.attribute == itself;
            d_plainInText[character] = escaped.allowed && escaped.text == itself;
        }
    }

    std::string formatted(XMLFormatter& formatter, XMLCh character,
                          XMLFormatter::EscapeFlags escapes) {
        d_written.clear();
        formatter.formatBuf(&character, 1, escapes, XMLFormatter::UnRep_CharRef);
        return d_written;
    }

    Escaped d_escaped[0x80];
    Plain d_plainInAttribute = {};
    Plain d_plainInText = {};
    std::string d_written;
};

// The element children of one parent that share one tag name; the writer reuses a branch
// element only when its parent has exactly one child of that name.
struct SameName {
    uint32_t first = sd_none;
    uint32_t count = 0;

    uint32_t unique() const { return count == 1 ? first : sd_none; }
    void add(uint32_t child) {
        if (count++ == 0) {
            first = child;
        }
    }
};

// Where an element stands in the document's tree, kept for every element while the walk goes on.
struct Node {
    uint32_t firstChild = sd_none;
    uint32_t lastChild = sd_none;
    uint32_t nextSibling = sd_none;
    SameName settingChildren;
};

// What an element prints. Its bytes are a branch element's tag name, or what follows "<" of a
// setting element up to the end of its value text; a binary value's Base64 text is not among
// them: room is left for it, written when the form is handed out.
struct Element {
    bool isSetting = false;
    bool lineFeedInText = false;         // the value text is whitespace with a line break
    size_t whiteSpaceAfterLineFeed = 0;  // from the last line break to the end of that text
    size_t poolStart = 0;
    size_t poolLength = 0;
    ISetting* binary = nullptr;
    size_t binaryLength = 0;
};

// The serializer's layout, written into the form: a line break and two spaces per level before
// each element, an empty line before each child of the root, a line break and indentation
// before an end tag when something was printed on a new line since the start tag, and its
// handling of a value text that is all whitespace and holds a line break (that line break stands
// in for the next one the serializer would print, and the blanks after it for part of the next
// indentation).
class Layout {
  public:
    explicit Layout(KeptForm& form) : d_form(form), d_bytes(form.bytes()) {}

    void beginDocument() {
        markup("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>");
        newLine();
        markup("<configuration");
    }

    void endDocument(bool rootHasChildren) {
        if (rootHasChildren) {
            newLine();
            lineBreakUnlessPrinted();
            markup("</configuration>");
        } else {
            markup("/>");
        }
        newLine();
    }

    // What precedes an element's name, at `level` (the root's children are at 1).
    void openElement(unsigned level) {
        if (d_lineFeedInText) {
            d_lineFeedInText = false;
        } else {
            if (level == 1) {
                newLine();
            }
            newLine();
        }
        indent(level);
        markup("<");
    }

    // After a setting element's start tag and value text. A binary value's Base64 text is not
    // written here: room is left for it, written when the form is handed out (it holds neither
    // markup nor whitespace only, so it is written as it is).
    void settingValue(const Element& element) {
        d_lineFeedInText = element.lineFeedInText;
        d_whiteSpaceAfterLineFeed = element.whiteSpaceAfterLineFeed;
        if (element.binary != nullptr) {
            d_form.noteBinary(d_bytes.size(), *element.binary);
            d_bytes.extend(xmlBase64Length(element.binaryLength));
        }
    }

    // Line breaks printed so far.
    uint64_t lines() const { return d_lines; }

    // The end tag of an element at `level`, whose start tag ended when lines() was linesAtStart.
    void closeElement(unsigned level, uint64_t linesAtStart, std::string_view name) {
        if (d_lines != linesAtStart) {
            lineBreakUnlessPrinted();
            indent(level);
        }
        markup("</");
        d_bytes.putBytes(name.data(), name.size());
        markup(">");
    }

    void markup(std::string_view text) { d_bytes.putBytes(text.data(), text.size()); }

  private:
    void newLine() {
        d_bytes.put('\n');
        ++d_lines;
    }

    // Before an end tag: a line break, unless a text has just printed one.
    void lineBreakUnlessPrinted() {
        if (d_lineFeedInText) {
            d_lineFeedInText = false;
        } else {
            newLine();
        }
    }

    void indent(unsigned level) {
        if (d_whiteSpaceAfterLineFeed != 0) {
            const size_t printed = d_whiteSpaceAfterLineFeed / 2;
            d_whiteSpaceAfterLineFeed = 0;
            level = printed < level ? level - static_cast<unsigned>(printed) : 0;
        }
        std::memset(d_bytes.extend(2 * size_t(level)), ' ', 2 * size_t(level));
    }

    KeptForm& d_form;
    FormBuffer& d_bytes;
    uint64_t d_lines = 0;
    bool d_lineFeedInText = false;
    size_t d_whiteSpaceAfterLineFeed = 0;
};

// Thrown by DocumentStream when the walk gives a child to an element that is already closed.
struct OutOfDocumentOrder {};

// Prints the document while the walk lays it out, straight into the form. The walk creates the
// elements in document order unless a path goes back into an element after another element has
// followed it: a "setting" segment that reuses a setting element after other children of its
// parent, or two branch segments that are written alike but lie apart in path order (non-ASCII
// bytes transcoded to the same characters, or text after a NUL, which is cut). The stream keeps
// the chain of open elements, from the root to the last one opened; a new element whose parent
// is not in it is out of order, and the document is then printed from its whole tree instead.
class DocumentStream {
  public:
    explicit DocumentStream(KeptForm& form) : d_bytes(form.bytes()), d_layout(form) {
        d_layout.beginDocument();
        d_open.push_back({0, 0, false, {}});
    }

    FormBuffer& bytes() { return d_bytes; }

    // Before a child of `parent` is written: closes the elements opened since parent, and writes
    // what precedes the child's name. Throws OutOfDocumentOrder when parent is closed.
    void open(uint32_t parent) {
        while (d_open.size() > 1 && d_open.back().element != parent) {
            closeLast();
        }
        if (d_open.back().element != parent) {
            throw OutOfDocumentOrder();
        }
        if (!d_rootHasChildren) {
            d_layout.markup(">");
            d_rootHasChildren = true;
        }
        d_layout.openElement(static_cast<unsigned>(d_open.size()));
    }

    // After the element's bytes: a setting's up to the end of its value text, a branch's name.
    void opened(uint32_t index, const Element& element) {
        Open open{index, 0, element.isSetting, {}};
        if (element.isSetting) {
            d_layout.settingValue(element);
        } else {
            open.name.assign(reinterpret_cast<const char*>(d_bytes.data()) + element.poolStart,
                             element.poolLength);
            d_layout.markup(">");
        }
        open.linesAtStart = d_layout.lines();
        d_open.push_back(std::move(open));
    }

    void finish() {
        while (d_open.size() > 1) {
            closeLast();
        }
        d_layout.endDocument(d_rootHasChildren);
    }

  private:
    struct Open {
        uint32_t element;
        uint64_t linesAtStart;
        bool isSetting;
        std::string name;  // a branch's, as written
    };

    void closeLast() {
        const Open& last = d_open.back();
        d_layout.closeElement(static_cast<unsigned>(d_open.size() - 1), last.linesAtStart,
                              last.isSetting ? std::string_view("setting") : last.name);
        d_open.pop_back();
    }

    FormBuffer& d_bytes;
    Layout d_layout;
    std::vector<Open> d_open;
    bool d_rootHasChildren = false;
};

// The walk: the element tree of the document and the bytes of its elements, from the settings
// in the set's order. The bytes go to a pool of the tree's own, or, while a stream prints the
// document as it goes, straight into the form.
class DocumentTree : public XMLFormatTarget {
  public:
    explicit DocumentTree(DocumentStream* stream)
        : d_bytes(stream != nullptr ? stream->bytes() : d_pool),
          d_formatter("UTF-8", "1.0", this, XMLFormatter::NoEscapes, XMLFormatter::UnRep_CharRef,
                      &d_formatterMemory),
          d_escapes(AsciiEscapes::instance()),
          d_stream(stream) {
        d_nodes.emplace_back();
        if (d_stream == nullptr) {
            d_elements.emplace_back();
        }
    }

    // A name or text that XML 1.0 cannot carry was met. The serializer meets it only once the
    // whole tree is built, so the failure is reported after every branch has been checked.
    bool holdsUnwritableCharacter() const { return d_unwritable; }

    void add(std::string_view path, ISetting& setting) {
        const bool wasWritable = !d_unwritable;
        addSetting(path, setting);
        if (wasWritable && d_unwritable) {
            d_firstUnwritable = path;
        }
    }

    // The path of the first setting whose name or value holds a character XML cannot carry.
    std::string_view firstUnwritable() const { return d_firstUnwritable; }

    void addSetting(std::string_view path, ISetting& setting) {
        const size_t lastSlash = path.rfind('/');
        const size_t nameStart = lastSlash == std::string::npos ? 0 : lastSlash + 1;
        const uint32_t parent = branchOf(path, lastSlash == std::string::npos ? 0 : lastSlash);
        if (d_stream != nullptr) {
            d_stream->open(parent);
        }
        Element element;
        element.isSetting = true;
        element.poolStart = d_bytes.size();
        pool("setting name=\"");
        escaped(path.data() + nameStart, path.size() - nameStart, &AsciiEscapes::Escaped::attribute,
                d_escapes.plainInAttribute(), XMLFormatter::AttrEscapes);
        pool("\" type=\"");
        pool(xmlTypeKeyword(setting.getType()));
        pool("\">");
        if (setting.getType() == ISetting::binaryType) {
            // Read as the walk over the settings reads it, raising the modified flag.
            unsigned char* binary = nullptr;
            size_t length = 0;
            setting.getBinaryBuffer(&binary, &length);
            element.binary = &setting;
            element.binaryLength = length;
        } else {
            const std::string_view text = d_values.valueText(setting);
            noteWhiteSpace(text, element);
            escaped(text.data(), text.size(), &AsciiEscapes::Escaped::text, d_escapes.plainInText(),
                    XMLFormatter::CharEscapes);
        }
        element.poolLength = d_bytes.size() - element.poolStart;
        d_nodes[parent].settingChildren.add(append(parent, element));
    }

    const Node& node(uint32_t index) const { return d_nodes[index]; }
    const Element& element(uint32_t index) const { return d_elements[index]; }
    const unsigned char* poolBytes(const Element& element) const {
        return d_bytes.data() + element.poolStart;
    }

    void writeChars(const XMLByte* const toWrite, const XMLSize_t count,
                    XMLFormatter* const) override {
        d_bytes.putBytes(toWrite, count);
    }

  private:
    // One branch level of the last path walked: the element its segment led to, where the
    // segment's "/" ends in the path, and whether that element is still the only child of its
    // name (then a path with the same bytes up to there reaches it again without looking).
    struct Level {
        size_t end;
        uint32_t element;
        bool unique;
    };

    // Walks the branch segments of path before branchEnd (each ends at a "/"). A segment goes
    // into the existing child element of its tag name when the parent has exactly one;
    // otherwise (none, or several) it gets a new element, and so does every deeper segment of
    // the path, without looking. An empty segment just before branchEnd is never visited.
    uint32_t branchOf(std::string_view path, size_t branchEnd) {
        size_t shared = sharedLevels(path, branchEnd);
        d_walk.resize(shared);
        d_previousPath = path;
        uint32_t parent = shared == 0 ? 0 : d_walk.back().element;
        size_t position = shared == 0 ? 0 : d_walk.back().end;
        size_t depth = 1 + shared;
        bool upperParentMissing = false;
        while (position < branchEnd) {
            const size_t segmentEnd = path.find('/', position);
            const std::string_view segment(path.data() + position, segmentEnd - position);
            const Unicode tag = d_unicode.of(segment.data(), segment.size());
            position = segmentEnd + 1;
            if (++depth > XMLConfigurationSet::sd_maxElementDepth - 1) {
                recordFailure("path '", Excerpt(path), "': more than ",
                              uint64_t{XMLConfigurationSet::sd_maxElementDepth - 2},
                              " branch levels");
                throw IConfigurationSet::serializationFailureException;
            }
            SameName& sameName = childrenNamed(parent, tag);
            const uint32_t existing = upperParentMissing ? sd_none : sameName.unique();
            if (existing != sd_none) {
                parent = existing;
            } else {
                upperParentMissing = true;
                if (!XMLChar1_0::isValidName(tag.data(), tag.size())) {
                    recordFailure("path '", Excerpt(path), "': the branch segment '",
                                  Excerpt(segment), "' is not an XML name");
                }
                parent = appendBranch(parent, tag, sameName);
            }
            d_walk.push_back({position, parent, sameName.count == 1});
        }
        return parent;
    }

    // The levels of the last walk that path goes through in the same way.
    size_t sharedLevels(std::string_view path, size_t branchEnd) const {
        const size_t common = commonPrefixLength(path, d_previousPath);
        size_t shared = 0;
        while (shared < d_walk.size() && d_walk[shared].unique && d_walk[shared].end <= common &&
               d_walk[shared].end - 1 <= branchEnd) {
            ++shared;
        }
        return shared;
    }

    // A new branch element named tag, as the DOM's createElement would make it: a tag that is
    // not an XML name fails with the DOM's own exception.
    uint32_t appendBranch(uint32_t parent, Unicode tag, SameName& sameName) {
        if (!XMLChar1_0::isValidName(tag.data(), tag.size())) {
            throw DOMException(DOMException::INVALID_CHARACTER_ERR, 0,
                               XMLPlatformUtils::fgMemoryManager);
        }
        if (d_stream != nullptr) {
            d_stream->open(parent);
        }
        Element branch;
        branch.poolStart = d_bytes.size();
        d_formatter.formatBuf(tag.data(), tag.size(), XMLFormatter::NoEscapes,
                              XMLFormatter::UnRep_CharRef);
        branch.poolLength = d_bytes.size() - branch.poolStart;
        const uint32_t index = append(parent, branch);
        sameName.add(index);
        return index;
    }

    SameName& childrenNamed(uint32_t parent, Unicode tag) {
        if (tag == sd_settingTag) {
            return d_nodes[parent].settingChildren;
        }
        d_key.assign(reinterpret_cast<const char16_t*>(&parent), sizeof parent / sizeof(char16_t));
        d_key.append(tag);
        return d_branches[d_key];
    }

    // Makes `child` the last child of `parent`: printed by the stream now, or kept for the
    // printer.
    uint32_t append(uint32_t parent, const Element& child) {
        if (d_nodes.size() >= sd_none) {
            throw std::bad_alloc();
        }
        const uint32_t index = static_cast<uint32_t>(d_nodes.size());
        d_nodes.emplace_back();
        Node& parentNode = d_nodes[parent];
        if (parentNode.lastChild == sd_none) {
            parentNode.firstChild = index;
        } else {
            d_nodes[parentNode.lastChild].nextSibling = index;
        }
        parentNode.lastChild = index;
        if (d_stream != nullptr) {
            d_stream->opened(index, child);
        } else {
            d_elements.push_back(child);
        }
        return index;
    }

    // A text that is all whitespace and holds a line break: the serializer remembers that it
    // printed one, and how much follows it.
    static void noteWhiteSpace(std::string_view text, Element& element) {
        const bool allSpaces = std::all_of(text.begin(), text.end(), [](char c) {
            return c == ' ' || c == '\t' || c == '\n' || c == '\r';
        });
        if (!allSpaces) {
            return;
        }
        size_t lineFeed = text.rfind('\n');
        if (lineFeed == std::string_view::npos) {
            lineFeed = text.rfind('\r');
        }
        if (lineFeed != std::string_view::npos) {
            element.lineFeedInText = true;
            element.whiteSpaceAfterLineFeed = text.size() - lineFeed;
        }
    }

    // Narrow text (up to its first NUL) as the formatter writes it with `escapes`: ASCII through
    // the formatter's own table (runs of characters written as themselves at once), anything
    // else through the formatter.
    void escaped(const char* text, size_t length, std::string AsciiEscapes::Escaped::*ascii,
                 const AsciiEscapes::Plain& plain, XMLFormatter::EscapeFlags escapes) {
        const size_t start = d_bytes.size();
        for (size_t at = 0; at < length;) {
            size_t run = at;
            while (run < length && plain[static_cast<unsigned char>(text[run])]) {
                ++run;
            }
            d_bytes.putBytes(text + at, run - at);
            if (run == length || text[run] == '\0') {
                return;
            }
            const unsigned char character = static_cast<unsigned char>(text[run]);
            if (character >= 0x80) {
                d_bytes.truncate(start);
                return escapedUnicode(d_unicode.of(text, length), escapes);
            }
            const AsciiEscapes::Escaped& escapedCharacter = d_escapes.of(character);
            d_unwritable = d_unwritable || !escapedCharacter.allowed;
            d_bytes.putBytes((escapedCharacter.*ascii).data(), (escapedCharacter.*ascii).size());
            at = run + 1;
        }
    }

    void escapedUnicode(Unicode text, XMLFormatter::EscapeFlags escapes) {
        for (size_t unit = 0; unit < text.size(); ++unit) {
            if (XMLChar1_0::isXMLChar(text[unit])) {
                continue;
            }
            if (unit + 1 < text.size() && XMLChar1_0::isXMLChar(text[unit], text[unit + 1])) {
                ++unit;  // a surrogate pair
                continue;
            }
            d_unwritable = true;
            return;
        }
        d_formatter.formatBuf(text.data(), text.size(), escapes, XMLFormatter::UnRep_CharRef);
    }

    void pool(std::string_view text) { d_bytes.putBytes(text.data(), text.size()); }

    // Deques, so that references survive appending. The elements are kept only for the printer,
    // when no stream prints them as they come.
    std::deque<Node> d_nodes;
    std::deque<Element> d_elements;
    FormBuffer d_pool;    // the tree's own, when no stream prints as it goes
    FormBuffer& d_bytes;  // where the elements' bytes go
    // The formatter's own memory: Xerces-C's formatter leaks what it had built when memory runs
    // out inside its constructor, and this hands all of it back when the tree is abandoned.
    XMLParserMemory d_formatterMemory;
    XMLFormatter d_formatter;  // writes through writeChars into d_bytes
    const AsciiEscapes& d_escapes;
    std::unordered_map<std::u16string, SameName> d_branches;  // by parent index and tag name
    std::u16string d_key;
    std::vector<Level> d_walk;
    std::string_view d_previousPath;  // the map's own key
    UnicodeText d_unicode;
    XMLValueTextWriter d_values;
    bool d_unwritable = false;
    std::string_view d_firstUnwritable;  // the map's own key
    DocumentStream* d_stream;            // prints the document as it goes, if any
};

// Prints a whole tree into the form, in document order.
class DocumentPrinter {
  public:
    DocumentPrinter(const DocumentTree& tree, KeptForm& form)
        : d_tree(tree), d_bytes(form.bytes()), d_layout(form) {}

    void print() {
        d_layout.beginDocument();
        const Node& root = d_tree.node(0);
        if (root.firstChild != sd_none) {
            d_layout.markup(">");
            printChildren(root, 1);
        }
        d_layout.endDocument(root.firstChild != sd_none);
    }

  private:
    void printChildren(const Node& parent, unsigned level) {
        for (uint32_t child = parent.firstChild; child != sd_none;
             child = d_tree.node(child).nextSibling) {
            printElement(child, level);
        }
    }

    void printElement(uint32_t index, unsigned level) {
        const Element& element = d_tree.element(index);
        d_layout.openElement(level);
        d_bytes.putBytes(d_tree.poolBytes(element), element.poolLength);
        if (element.isSetting) {
            d_layout.settingValue(element);
        } else {
            d_layout.markup(">");
        }
        const uint64_t linesAtStart = d_layout.lines();
        printChildren(d_tree.node(index), level + 1);
        d_layout.closeElement(
            level, linesAtStart,
            element.isSetting
                ? std::string_view("setting")
                : std::string_view(reinterpret_cast<const char*>(d_tree.poolBytes(element)),
                                   element.poolLength));
    }

    const DocumentTree& d_tree;
    FormBuffer& d_bytes;
    Layout d_layout;
};

// Walks the settings into `tree`; throws when a name or value holds a character XML 1.0 cannot
// carry, which the serializer met only once the whole tree was built.
void walk(const SettingOrder::Entries& entries, KeptForm& form, DocumentTree& tree) {
    forEachInOrder(entries, [&](std::string_view path, ISetting& setting) {
        form.noteSetting(setting);
        tree.add(path, setting);
    });
    if (tree.holdsUnwritableCharacter()) {
        recordFailure("path '", Excerpt(tree.firstUnwritable()),
                      "': the name or value holds a character XML 1.0 cannot carry");
        throw IConfigurationSet::serializationFailureException;
    }
}

}  // namespace

// Nearly every set is printed as the walk goes; a set whose paths lead back into a closed element
// is walked again into a whole tree, which is then printed.
void writeXMLDocument(const SettingOrder::Entries& entries, KeptForm& form) {
    try {
        try {
            DocumentStream stream(form);
            DocumentTree tree(&stream);
            walk(entries, form, tree);
            stream.finish();
            return;
        } catch (const OutOfDocumentOrder&) {
            form.restartBuild();
        }
        DocumentTree tree(nullptr);
        walk(entries, form, tree);
        DocumentPrinter(tree, form).print();
    } catch (const OutOfMemoryException&) {
        throw std::bad_alloc();
    } catch (const XMLException&) {
        throw IConfigurationSet::serializationFailureException;
    }
}

size_t xmlBase64Length(size_t length) {
    const size_t quads = (length + 2) / 3;
    const size_t lines = (length + sd_base64LineBytes - 1) / sd_base64LineBytes;
    return quads * 4 + lines;
}

// The text Xerces-C's Base64::encode gives, written in place: Base64 encodes each group of three
// bytes as four characters of one alphabet, pads a last group of one or two bytes with "=", and
// breaks the text into lines of 15 groups, each ending in a line feed. Writing it here saves
// Xerces-C's allocation and a copy for every value, and cannot fail.
void writeXMLBase64(const unsigned char* binary, size_t length, unsigned char* to) noexcept {
    static constexpr char sd_alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto put = [&to](uint32_t group, int characters) {
        for (int shift = 18; shift > 18 - 6 * characters; shift -= 6) {
            *to++ = static_cast<unsigned char>(sd_alphabet[group >> shift & 0x3f]);
        }
    };
    for (size_t line = 0; line < length; line += sd_base64LineBytes) {
        const size_t end = std::min(length, line + sd_base64LineBytes);
        size_t at = line;
        for (; end - at >= 3; at += 3) {
            put(uint32_t{binary[at]} << 16 | uint32_t{binary[at + 1]} << 8 | binary[at + 2], 4);
        }
        if (at < end) {
            const bool two = end - at == 2;
            put(uint32_t{binary[at]} << 16 | (two ? uint32_t{binary[at + 1]} << 8 : 0),
                two ? 3 : 2);
            *to++ = '=';
            if (!two) {
                *to++ = '=';
            }
        }
        *to++ = '\n';
    }
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
