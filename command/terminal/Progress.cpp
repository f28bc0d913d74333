// A bar on standard error for work that takes long. It appears after half a second, as most work is done by then, and
// only on a terminal whose standard output goes elsewhere, where it cannot get between the lines.
#include "terminal/Progress.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

namespace flowbook::tool {

namespace {

constexpr std::size_t kWidth = 30;
constexpr std::chrono::milliseconds kDelay(500);
constexpr std::chrono::milliseconds kInterval(100);
constexpr char kEraseLine[] = "\r\033[K";

/// Whether the terminal knows how to erase a line.
bool canErase() {
    const char* const terminal = std::getenv("TERM");
    return terminal != nullptr && *terminal != '\0' && std::strcmp(terminal, "dumb") != 0;
}

/// How many characters fit into a line of the terminal; 80 where the terminal does not say.
std::size_t columns() {
    struct winsize size {};
    const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return isKnown ? size.ws_col : 80;
}

}  // namespace

Progress::Progress() : enabled_(isatty(STDERR_FILENO) != 0 && isatty(STDOUT_FILENO) == 0 && canErase()) {}

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
    const std::string count = std::to_string(done_) + "/" + std::to_string(total_) + " files";
    // In the last column the cursor would go on to the next line.
    const std::size_t room = columns() - 1;
    const std::size_t taken = count.size() + 3;
    const std::size_t width = room > taken ? std::min(kWidth, room - taken) : 0;
    std::string bar(width * done_ / total_, '#');
    bar.resize(width, ' ');
    const std::string line = (width == 0 ? "" : "[" + bar + "] ") + count;
    std::fprintf(stderr, "%s%s", kEraseLine, line.substr(0, room).c_str());
}

void Progress::clear() {
    if (visible_) {
        std::fputs(kEraseLine, stderr);
        visible_ = false;
    }
}

}  // namespace flowbook::tool
