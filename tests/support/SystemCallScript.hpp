#pragma once

#include <string>
#include <vector>

namespace support {

/// Watches the system calls that a replacement consists of (write, copy_file_range, fchmod, fsync, renameat, renameat2)
/// while it lives, and makes one of them fail, or ends the process before one. One at a time, for one thread.
class SystemCallScript {
public:
    SystemCallScript();
    SystemCallScript(const SystemCallScript&) = delete;
    SystemCallScript& operator=(const SystemCallScript&) = delete;
    ~SystemCallScript();

    /// Makes calls of that name fail, but for the first `passing` ones.
    void fail(const std::string& call, int error, int passing = 0);

    /// Ends the process, as if killed, before the call of that number, counted from 0.
    void exitBefore(std::size_t call) { exitBefore_ = call; }

    /// The calls so far. Writes in a row count as one.
    const std::vector<std::string>& trace() const noexcept { return trace_; }

    /// The error that the call is to fail with, or 0.
    static int intercept(const char* call);

private:
    int enter(const std::string& call);

    std::vector<std::string> trace_;
    std::string failing_;
    int error_ = 0;
    int passing_ = 0;
    std::size_t calls_ = 0;
    std::size_t exitBefore_ = static_cast<std::size_t>(-1);
};

}  // namespace support
