// The element children of the document being written, indexed by parent and tag name.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_XMLBRANCHINDEX_H
#define ORVANDEL_CONFIGURATION_INTERNAL_XMLBRANCHINDEX_H

#include <cstddef>
#include <string_view>
#include <unordered_map>

#include <xercesc/dom/DOMElement.hpp>

namespace com {
namespace orvandel {
namespace configuration {

// The writer reuses a branch element only when its parent has exactly one child element with the
// segment's tag name. Counting a parent's children on every lookup would make a branch with
// thousands of children quadratic to write; instead the writer records here every element it
// appends, and a lookup costs one hash probe. The index lives for one document, and the tag names
// it keeps are views into strings that must outlive it (the set's paths, or literals).
class XMLBranchIndex {
  public:
    // The element children of one parent that share one tag name.
    struct Children {
        xercesc::DOMElement* first = nullptr;
        size_t count = 0;

        // The one child of that name, or null when there is none or more than one.
        xercesc::DOMElement* unique() const { return count == 1 ? first : nullptr; }

        // Records a further child of that name.
        void add(xercesc::DOMElement* child) {
            if (count++ == 0) {
                first = child;
            }
        }
    };

    // The children named tag of parent; an empty record when there are none yet, which the
    // caller fills with Children::add once it has appended one.
    Children& childrenNamed(const xercesc::DOMElement* parent, std::string_view tag) {
        return d_children[Key{parent, tag}];
    }

  private:
    struct Key {
        const xercesc::DOMElement* parent;
        std::string_view tag;

        bool operator==(const Key& other) const {
            return parent == other.parent && tag == other.tag;
        }
    };

    struct KeyHash {
        size_t operator()(const Key& key) const {
            const size_t tagHash = std::hash<std::string_view>()(key.tag);
            return tagHash ^ (std::hash<const void*>()(key.parent) + 0x9e3779b97f4a7c15ULL +
                              (tagHash << 6) + (tagHash >> 2));
        }
    };

    std::unordered_map<Key, Children, KeyHash> d_children;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
