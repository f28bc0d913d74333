#pragma once

#include <cstddef>
#include <xercesc/framework/MemoryManager.hpp>

namespace opc::model {

/// The memory of one object of the XML library, which abandons what it was making when memory runs out; here it is
/// freed with the arena. Used by one thread at a time.
class XercesArena final : public xercesc::MemoryManager {
public:
    XercesArena() noexcept;
    XercesArena(const XercesArena&) = delete;
    XercesArena& operator=(const XercesArena&) = delete;
    ~XercesArena() override;

    void* allocate(XMLSize_t size) override;
    void deallocate(void* block) override;

    /// Leaves an arena, which new made, to delete itself with its last block.
    void endWithLastBlock() noexcept { endsWithLastBlock_ = true; }

    /// Exceptions outlive the object that throws them.
    xercesc::MemoryManager* getExceptionMemoryManager() override;

private:
    /// Stands before each block, which it leaves aligned. Not over-aligned itself: the XML library's operator new,
    /// which objects with an arena are made by, aligns to pointers only.
    struct Link {
        Link* previous;
        Link* next;
    };
    static_assert(sizeof(Link) % alignof(std::max_align_t) == 0);

    Link ends_;  ///< of the ring of all blocks
    bool endsWithLastBlock_ = false;
};

/// A first base class, so that the arena is there before the object and goes after it.
class InXercesArena {
protected:
    XercesArena arena_;
};

}  // namespace opc::model
