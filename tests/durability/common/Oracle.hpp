#pragma once

#include "durability/common/Scenario.hpp"

namespace durability {

/// Tells what a disturbed save has made of its file.
class Oracle {
public:
    /// Runs the scenario undisturbed, to learn what it makes.
    explicit Oracle(const Scenario& scenario);

    bool isOld(const Content& content) const { return content == old_; }

    /// Whether the content opens and tells the same as after an undisturbed save.
    bool isNew(const Content& content) const;

    /// Whether a save that ended so may have left this.
    bool accepts(Outcome outcome, const Content& content) const;

private:
    const Content& old_;
    std::string new_;
};

}  // namespace durability
