#include "terminal/Console.hpp"

#include "terminal/Text.hpp"

#include <algorithm>
#include <cstdio>
#include <system_error>

namespace flowbook::tool {

void Console::report(ExitCode code, const std::string& file, const std::string& message) {
    report(code, file + ": " + message);
}

void Console::report(ExitCode code, const std::string& message) {
    note(code);
    progress_.clear();
    // Some messages of the library end in a blank.
    const std::string text = printable(message.substr(0, message.find_last_not_of(" \n") + 1));
    std::fprintf(stderr, "flowbook: %s\n", text.c_str());
}

void Console::note(ExitCode code) { worst_ = std::max(worst_, code); }

ExitCode Console::finish() {
    progress_.clear();
    if (const int error = out_.finish()) {
        report(ExitCode::InputOutput, "standard output", std::generic_category().message(error));
    }
    return worst_;
}

}  // namespace flowbook::tool
