#include "terminal/Output.hpp"

#include <cerrno>
#include <cstdio>

namespace flowbook::tool {

void Output::write(const void* from, std::size_t count) {
    if (!hasFailed() && std::fwrite(from, 1, count, stdout) != count) {
        error_ = errno;
    }
}

void Output::line(std::string_view text) {
    write(text);
    write("\n");
}

int Output::finish() {
    if (!hasFailed() && std::fflush(stdout) != 0) {
        error_ = errno;
    }
    return error_;
}

}  // namespace flowbook::tool
