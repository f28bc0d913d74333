#include "durability/memory/Allocations.hpp"

#include <cerrno>
#include <cstdlib>
#include <limits>

namespace durability {
namespace {

constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

thread_local std::size_t failAt = kNever;
thread_local bool failSticky = false;
thread_local std::size_t allocations = 0;
thread_local bool hasStruck = false;
thread_local long live = 0;

bool strikes() {
    if (failAt == kNever) {
        return false;
    }
    const std::size_t allocation = allocations++;
    const bool now = failSticky ? allocation >= failAt : allocation == failAt;
    hasStruck = hasStruck || now;
    return now;
}

template <class Allocate>
void* allocate(Allocate really) {
    void* const result = strikes() ? nullptr : really();
    if (result != nullptr) {
        ++live;
    } else {
        errno = ENOMEM;
    }
    return result;
}

}  // namespace

FailingAllocations::FailingAllocations(std::size_t at, bool sticky) {
    allocations = 0;
    hasStruck = false;
    failSticky = sticky;
    failAt = at;
}

FailingAllocations::~FailingAllocations() { failAt = kNever; }

bool FailingAllocations::struck() { return hasStruck; }

long liveAllocations() { return live; }

}  // namespace durability

// Definitions in the executable come before those of the C library, for operator new and all libraries too.
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* memory);

void* malloc(size_t size) noexcept {
    return durability::allocate([=] { return __libc_malloc(size); });
}

void* calloc(size_t count, size_t size) noexcept {
    return durability::allocate([=] { return __libc_calloc(count, size); });
}

void* memalign(size_t alignment, size_t size) noexcept {
    return durability::allocate([=] { return __libc_memalign(alignment, size); });
}

void* aligned_alloc(size_t alignment, size_t size) noexcept { return memalign(alignment, size); }

int posix_memalign(void** memory, size_t alignment, size_t size) noexcept {
    void* const result = memalign(alignment, size);
    if (result == nullptr) {
        return ENOMEM;
    }
    *memory = result;
    return 0;
}

void free(void* memory) noexcept {
    durability::live -= memory != nullptr ? 1 : 0;
    __libc_free(memory);
}

void* realloc(void* old, size_t size) noexcept {
    if (old == nullptr) {
        return malloc(size);
    }
    if (size == 0) {
        free(old);
        return nullptr;
    }
    if (durability::strikes()) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_realloc(old, size);
}

}  // extern "C"
