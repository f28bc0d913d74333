#pragma once

#include <string>
#include <vector>

namespace support {

/// Watches the system calls that a replacement consists of (write, copy_file_range, fchmod, fsync, renameat, renameat2)
/// while it lives, and makes one of them fail. One at a time, for one thread.
class SystemCallScript {
public:
    SystemCallScript();
    SystemCallScript(const SystemCallScript&) = delete;
    SystemCallScript& operator=(const SystemCallScript&) = delete;
    ~SystemCallScript();

    /// Makes calls of that name fail, but for the first `passing` ones.
    void fail(const std::string& call, int error, int passing = 0);

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
};

}  // namespace support
