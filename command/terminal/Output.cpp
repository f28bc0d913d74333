// Standard output. The first failure is remembered and reported once, at the end: a pipe that was closed, or a full
// device, would otherwise be reported for every line.
#include "terminal/Output.hpp"

#include "terminal/Failure.hpp"

#include <cerrno>
#include <cstdio>
#include <unistd.h>

namespace flowbook::tool {

void Sink::line(std::string_view text) {
    write(text);
    write("\n");
}

void Output::write(const void* from, std::size_t count) {
    if (count != 0 && !hasFailed() && std::fwrite(from, 1, count, stdout) != count) {
        error_ = errno;
    }
}

bool Output::isTerminal() noexcept {
    static const bool is = isatty(STDOUT_FILENO) != 0;
    return is;
}

void Output::requireFitForBytes(bool force) {
    if (!force && isTerminal()) {
        throw Failure(ExitCode::Usage, "bytes are not written to a terminal; --binary does it");
    }
}

int Output::finish() {
    if (!hasFailed() && std::fflush(stdout) != 0) {
        error_ = errno;
    }
    return error_;
}

}  // namespace flowbook::tool
