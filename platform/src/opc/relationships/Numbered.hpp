#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

namespace opc::model::detail {

/// Pointers in the order of numbers, which only grow. What is taken out leaves a gap, so that nothing behind it moves;
/// gaps are closed once there are more of them than pointers, so that no row of calls takes quadratic time.
template <class Pointer>
class Numbered {
    struct Slot {
        std::size_t number;
        Pointer pointer;  ///< null in a gap
    };

public:
    /// Goes over the pointers and their numbers, in order.
    class Iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Slot;
        using difference_type = std::ptrdiff_t;
        using pointer = const Slot*;
        using reference = const Slot&;

        Iterator(const Slot* at, const Slot* end) : at_(at), end_(end) { passGaps(); }
        const Slot& operator*() const noexcept { return *at_; }
        const Slot* operator->() const noexcept { return at_; }
        Iterator& operator++() noexcept {
            ++at_;
            passGaps();
            return *this;
        }
        bool operator==(const Iterator& other) const noexcept { return at_ == other.at_; }
        bool operator!=(const Iterator& other) const noexcept { return at_ != other.at_; }

    private:
        void passGaps() noexcept {
            while (at_ != end_ && at_->pointer == nullptr) {
                ++at_;
            }
        }

        const Slot* at_;
        const Slot* end_;
    };

    Iterator begin() const noexcept { return {slots_.data(), slots_.data() + slots_.size()}; }
    Iterator end() const noexcept { return {slots_.data() + slots_.size(), slots_.data() + slots_.size()}; }
    std::size_t size() const noexcept { return slots_.size() - gaps_; }
    bool empty() const noexcept { return size() == 0; }

    /// Returns the pointer at a place, gaps counted; null in a gap and beyond the end.
    const Pointer* at(std::size_t place) const noexcept {
        return place < slots_.size() && slots_[place].pointer != nullptr ? &slots_[place].pointer : nullptr;
    }

    /// Makes room for one more, which is all of adding it that may fail.
    void reserveOne() {
        if (slots_.size() == slots_.capacity()) {
            slots_.reserve(std::max<std::size_t>(8, 2 * slots_.size()));
        }
    }

    /// Adds a pointer, for which there is room. @param number  above all others.
    const Pointer& add(std::size_t number, Pointer pointer) noexcept {
        return slots_.emplace_back(Slot{number, std::move(pointer)}).pointer;
    }

    /// Returns null when there is none of that number.
    Pointer* find(std::size_t number) noexcept {
        const auto found = std::lower_bound(slots_.begin(), slots_.end(), number,
                                            [](const Slot& slot, std::size_t n) { return slot.number < n; });
        const bool isThere = found != slots_.end() && found->number == number && found->pointer != nullptr;
        return isThere ? &found->pointer : nullptr;
    }

    /// Takes out the pointer of a number, which must be there.
    void erase(std::size_t number) noexcept {
        *find(number) = nullptr;
        ++gaps_;
        if (gaps_ > size()) {
            slots_.erase(std::remove_if(slots_.begin(), slots_.end(), [](const Slot& slot) { return !slot.pointer; }),
                         slots_.end());
            gaps_ = 0;
        }
    }

private:
    std::vector<Slot> slots_;
    std::size_t gaps_ = 0;
};

}  // namespace opc::model::detail
