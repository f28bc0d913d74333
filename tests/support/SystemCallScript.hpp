#pragma once

#include <string_view>

namespace support {

/// Makes one of the system calls that a replacement consists of (write, copy_file_range, fchmod, fsync, renameat,
/// renameat2) fail while it lives. One at a time, for one thread.
struct SystemCallScript {
    SystemCallScript() = default;
    SystemCallScript(std::string_view call, int error, int passing = 0) { fail(call, error, passing); }
    SystemCallScript(const SystemCallScript&) = delete;
    SystemCallScript& operator=(const SystemCallScript&) = delete;
    ~SystemCallScript() { fail("", 0); }

    /// Makes calls of that name fail, but for the first `passing` ones.
    static void fail(std::string_view call, int error, int passing = 0);
};

}  // namespace support
