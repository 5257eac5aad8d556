#include <orvandel/configuration/internal/XMLParserMemory.h>

#include <limits>
#include <new>

#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace com {
namespace orvandel {
namespace configuration {

XMLParserMemory::XMLParserMemory() : d_blocks{&d_blocks, &d_blocks} {}

XMLParserMemory::~XMLParserMemory() {
    releaseAll();
}

xercesc::MemoryManager* XMLParserMemory::getExceptionMemoryManager() {
    return xercesc::XMLPlatformUtils::fgMemoryManager->getExceptionMemoryManager();
}

// Each block is preceded by its link, which keeps the alignment that operator new gives.
void* XMLParserMemory::allocate(XMLSize_t size) {
    if (size > std::numeric_limits<XMLSize_t>::max() - sizeof(Link)) {
        throw xercesc::OutOfMemoryException();
    }
    Link* link = nullptr;
    try {
        link = static_cast<Link*>(::operator new(sizeof(Link) + size));
    } catch (const std::bad_alloc&) {
        throw xercesc::OutOfMemoryException();
    }
    link->previous = &d_blocks;
    link->next = d_blocks.next;
    d_blocks.next->previous = link;
    d_blocks.next = link;
    return link + 1;
}

void XMLParserMemory::deallocate(void* block) {
    if (block == nullptr) {
        return;
    }
    Link* link = static_cast<Link*>(block) - 1;
    link->previous->next = link->next;
    link->next->previous = link->previous;
    ::operator delete(link);
}

void XMLParserMemory::releaseAll() {
    while (d_blocks.next != &d_blocks) {
        deallocate(d_blocks.next + 1);
    }
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
