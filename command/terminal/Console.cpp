#include "terminal/Console.hpp"

#include "kit/document/Characters.hpp"
#include "terminal/Text.hpp"

#include <algorithm>
#include <cstdio>
#include <system_error>

namespace flowbook::tool {

void Console::report(const std::string& file, const Diagnosis& diagnosis) {
    note(diagnosis.code);
    const std::string& about = diagnosis.file.empty() ? file : diagnosis.file;
    // Some messages of the library end in a blank.
    const std::string& message = diagnosis.message;
    const std::string start = about.empty() ? "" : about + ": ";
    say((kit::startsWith(message, start) ? "" : start) + message.substr(0, message.find_last_not_of(" \n") + 1));
}

void Console::say(const std::string& message) {
    progress_.clear();
    std::fprintf(stderr, "flowbook: %s\n", printable(message).c_str());
}

void Console::note(ExitCode code) { worst_ = std::max(worst_, code); }

ExitCode Console::finish() {
    progress_.clear();
    if (const int error = out_.finish()) {
        report("standard output",
               {ExitCode::InputOutput, FlowbookErrorKind::InputOutput, "", std::generic_category().message(error)});
    }
    return worst_;
}

}  // namespace flowbook::tool
