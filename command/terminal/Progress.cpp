#include "terminal/Progress.hpp"

#include <cstdio>
#include <string>
#include <unistd.h>

namespace flowbook::tool {

namespace {

constexpr std::size_t kWidth = 30;
constexpr std::chrono::milliseconds kDelay(500);
constexpr std::chrono::milliseconds kInterval(100);
constexpr char kEraseLine[] = "\r\033[K";

}  // namespace

Progress::Progress() : enabled_(isatty(STDERR_FILENO) != 0 && isatty(STDOUT_FILENO) == 0) {}

void Progress::start(std::size_t total) {
    clear();
    total_ = total;
    done_ = 0;
    nextDrawing_ = Clock::now() + kDelay;
}

void Progress::step() {
    ++done_;
    if (!enabled_ || Clock::now() < nextDrawing_) {
        return;
    }
    nextDrawing_ = Clock::now() + kInterval;
    visible_ = true;
    draw();
}

void Progress::draw() const {
    std::string bar(kWidth * done_ / total_, '#');
    bar.resize(kWidth, ' ');
    std::fprintf(stderr, "%s[%s] %zu/%zu files", kEraseLine, bar.c_str(), done_, total_);
}

void Progress::clear() {
    if (visible_) {
        std::fputs(kEraseLine, stderr);
        visible_ = false;
    }
}

}  // namespace flowbook::tool
