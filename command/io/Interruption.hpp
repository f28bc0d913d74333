#pragma once

#include <exception>

namespace flowbook::tool {

/// A signal has come that asks the command to end. Not to be swallowed.
class Interrupted : public std::exception {};

/// While one of these lives, something temporary is on the disk, and INT, TERM and HUP do not end the
/// process at once: check() throws, the owner's destructor discards the temporary, and with the last of
/// these objects the process ends by the signal. May be used from several threads.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    /// @throws Interrupted.
    static void check();

    static bool hasCome() noexcept;

    /// The signal that has come.
    static int signal() noexcept;
};

}  // namespace flowbook::tool
