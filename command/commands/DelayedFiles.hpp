#pragma once

#include "fl/Bytes.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace flowbook::tool {

/// The files of a checkout that git leaves with its filter and fetches after all others ("delay" in gitattributes(5)).
/// Other threads bring them into the form of the working tree meanwhile. What is held is bounded. Used by one thread.
class DelayedFiles {
public:
    DelayedFiles();
    DelayedFiles(const DelayedFiles&) = delete;
    DelayedFiles& operator=(const DelayedFiles&) = delete;

    /// Drops what was not begun, and waits for what was.
    ~DelayedFiles();

    /// Takes over a file that is to be deflated. @returns false, and leaves the content, when the caller has to do it:
    /// on a machine with one processor, when the system starts no thread, or when as much is held as may be.
    bool take(const std::string& path, fl::Bytes& content);

    /// The paths of files that have become ready since the last call. Waits for one if there is none; no path when all
    /// have been named.
    std::vector<std::string> awaitReady();

    struct Result {
        std::optional<fl::Bytes> content;  ///< none when there was no memory for the work
    };

    /// Gives a file back that was named as ready; nothing for a path that was not taken, or was given back before.
    std::optional<Result> give(const std::string& path);

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace flowbook::tool
