#include "opc/xml/dom/XercesArena.hpp"

#include <new>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace opc::model {

XercesArena::XercesArena() noexcept : ends_{&ends_, &ends_} {}

XercesArena::~XercesArena() {
    endsWithLastBlock_ = false;
    while (ends_.next != &ends_) {
        XercesArena::deallocate(ends_.next + 1);
    }
}

void* XercesArena::allocate(XMLSize_t size) {
    void* const memory = ::operator new(sizeof(Link) + size, std::nothrow);
    if (memory == nullptr) {
        throw xercesc::OutOfMemoryException();
    }
    Link* const link = new (memory) Link{&ends_, ends_.next};
    link->next->previous = link;
    ends_.next = link;
    return link + 1;
}

void XercesArena::deallocate(void* block) {
    if (block == nullptr) {
        return;
    }
    Link* const link = static_cast<Link*>(block) - 1;
    // The analyzer does not see that the loop of the destructor never meets a block again that was unlinked here.
    link->previous->next = link->next;  // NOLINT(clang-analyzer-cplusplus.NewDelete)
    link->next->previous = link->previous;
    ::operator delete(link);
    if (endsWithLastBlock_ && ends_.next == &ends_) {
        delete this;
    }
}

xercesc::MemoryManager* XercesArena::getExceptionMemoryManager() {
    return xercesc::XMLPlatformUtils::fgMemoryManager->getExceptionMemoryManager();
}

}  // namespace opc::model
