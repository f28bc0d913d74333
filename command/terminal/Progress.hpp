#pragma once

#include <chrono>
#include <cstddef>

namespace flowbook::tool {

/// A bar "[####    ] 12/30 files" on standard error, for work that takes longer than a moment. Nothing
/// is shown unless standard error is a terminal that standard output does not share.
class Progress {
public:
    Progress();

    /// Begins to count towards `total`.
    void start(std::size_t total);
    void step();

    /// Takes the bar off the screen, to make room for other text.
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    void draw() const;

    bool enabled_;
    bool visible_ = false;
    std::size_t total_ = 0;
    std::size_t done_ = 0;
    Clock::time_point nextDrawing_;
};

}  // namespace flowbook::tool
