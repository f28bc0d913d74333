#pragma once

#include "kit/compare/LineMerger.hpp"

namespace flowbook::kit {

/// What becomes of a value that two sides may have changed.
enum class Choice { Ours, Theirs, Conflict };

template <class Value>
Choice choose(const Value& base, const Value& ours, const Value& theirs) {
    if (ours == theirs || base == theirs) {
        return Choice::Ours;
    }
    return base == ours ? Choice::Theirs : Choice::Conflict;
}

}  // namespace flowbook::kit
