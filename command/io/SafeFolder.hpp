#pragma once

#include "terminal/Bytes.hpp"

#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace flowbook::tool {

/// A folder that files are unpacked into. Nothing is ever written outside of it: names may not climb,
/// and no symbolic link below the folder is followed. May be used from several threads.
class SafeFolder {
public:
    /// Makes the folder if there is none. @throws Failure.
    /// @param replace  whether files that are there may be replaced.
    SafeFolder(const std::string& path, bool replace);

    /// A folder that is there, for reading. @throws Failure.
    explicit SafeFolder(const std::string& path);
    SafeFolder(const SafeFolder&) = delete;
    SafeFolder& operator=(const SafeFolder&) = delete;
    ~SafeFolder();

    /// Waits until no other process holds the folder by this call, and holds it until the end of this object. Where the
    /// file system has no locks, it does not wait. Removes what write() left in the folder an hour ago or earlier, when
    /// its process was killed.
    void lock() const noexcept;

    /// Writes a new file, with the folders on its way.
    /// @param name  relative, separated by slashes; one leading slash is ignored.
    /// @throws Failure also when the name was written before, or has more than 64 folders.
    void write(const std::string& name, const Bytes& content);

    /// Makes all that was written durable. It is one call for all files, as one for each would take most of the time.
    /// @throws Failure.
    void sync() const;

    /// What a file holds, up to `most` bytes; nothing when there is no such file.
    /// @param name  relative, separated by slashes. @throws Failure when it cannot be read, or is no plain file.
    std::optional<Bytes> read(const std::string& name, std::size_t most) const;

    /// Removes a file. @param name  relative, separated by slashes. @throws Failure.
    void remove(const std::string& name) const;

private:
    std::string path_;
    int folder_;
    bool replace_;
    std::mutex mutex_;
    std::set<std::string> written_;
};

}  // namespace flowbook::tool
