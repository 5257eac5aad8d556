// The memory of one Xerces-C parser, which can be handed back whole.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_XMLPARSERMEMORY_H
#define ORVANDEL_CONFIGURATION_INTERNAL_XMLPARSERMEMORY_H

#include <xercesc/framework/MemoryManager.hpp>

namespace com {
namespace orvandel {
namespace configuration {

// A Xerces-C memory manager that links every block it hands out into a list. When memory runs
// out inside Xerces-C, the parser is left half reset (Xerces-C skips its clean-up then, and its
// constructors leak what they had built), so the parser is abandoned instead of destroyed:
// releaseAll() frees every block that it and its input still hold. The manager must outlive
// everything allocated through it that is not released that way.
class XMLParserMemory : public xercesc::MemoryManager {
  public:
    XMLParserMemory();
    ~XMLParserMemory() override;
    XMLParserMemory(const XMLParserMemory&) = delete;
    XMLParserMemory& operator=(const XMLParserMemory&) = delete;

    // Exceptions outlive the parser, so their texts come from Xerces-C's default manager.
    xercesc::MemoryManager* getExceptionMemoryManager() override;

    // Throws Xerces-C's OutOfMemoryException when no memory is left, as Xerces-C expects.
    void* allocate(XMLSize_t size) override;
    void deallocate(void* block) override;

    // Frees every block still allocated, without running the destructor of anything in them.
    void releaseAll();

  private:
    struct alignas(16) Link {
        Link* previous;
        Link* next;
    };

    Link d_blocks;  // the list's head; an empty list links to itself
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
