#pragma once

#include <cstddef>

namespace opc::model::detail {

/// Places in a container's list of entries, in the order of their contents: one for most names, several for what lies
/// in pieces, none for what is new. A view of the order that logicalEntries() makes.
class Entries {
public:
    Entries() = default;
    Entries(const std::size_t* first, std::size_t count) : first_(first), count_(count) {}

    const std::size_t* begin() const noexcept { return first_; }
    const std::size_t* end() const noexcept { return first_ + count_; }
    std::size_t size() const noexcept { return count_; }
    bool empty() const noexcept { return count_ == 0; }
    std::size_t operator[](std::size_t at) const noexcept { return first_[at]; }

    /// Whether they are the same view.
    bool operator==(const Entries& other) const noexcept { return first_ == other.first_ && count_ == other.count_; }
    bool operator!=(const Entries& other) const noexcept { return !(*this == other); }

private:
    const std::size_t* first_ = nullptr;
    std::size_t count_ = 0;
};

}  // namespace opc::model::detail
