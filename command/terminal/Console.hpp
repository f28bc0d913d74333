#pragma once

#include "terminal/Diagnosis.hpp"
#include "terminal/Output.hpp"
#include "terminal/Progress.hpp"

#include <string>
#include <string_view>

namespace flowbook::tool {

/// Where the command prints: data on standard output, all else on standard error. Used by
/// one thread at a time.
class Console {
public:
    Output& out() noexcept { return out_; }
    Progress& progress() noexcept { return progress_; }

    /// Prints "flowbook: FILE: message" and keeps the code in mind.
    /// @param file  what the diagnosis is about when it names no other; may be empty.
    void report(const std::string& file, const Diagnosis& diagnosis);

    /// Prints "flowbook: message".
    void say(const std::string& message);

    /// Keeps a code in mind without a message.
    void note(ExitCode code);

    /// Says which command this is, for the records of --json.
    /// @param record  the lists and objects of its records, as CommandText has them.
    void begin(std::string_view command, std::string_view record) noexcept {
        command_ = command;
        record_ = record;
    }
    std::string_view command() const noexcept { return command_; }
    std::string_view record() const noexcept { return record_; }

    /// Flushes standard output and returns the worst code.
    ExitCode finish();

private:
    Output out_;
    Progress progress_;
    std::string_view command_;
    std::string_view record_;
    ExitCode worst_ = ExitCode::Fine;
};

}  // namespace flowbook::tool
