#pragma once

namespace flowbook::kit {

/// Which side a conflict goes to.
enum class Favour {
    None,  ///< markers around both in the code; ours elsewhere
    Ours,
    Theirs
};

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
