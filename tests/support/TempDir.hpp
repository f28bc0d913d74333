#pragma once

#include <filesystem>
#include <string>

namespace support {

std::string readFile(const std::filesystem::path& path);

/// A folder of its own for a test. When it goes, it fails the test if a temporary of a replacement was left in it.
class TempDir {
public:
    /// @param parent  where to make it; empty means the system's folder for temporary files.
    explicit TempDir(const std::filesystem::path& parent = {});
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir();

    const std::filesystem::path& path() const noexcept { return path_; }
    std::filesystem::path path(const std::string& file) const { return path_ / file; }

    /// The full path of a file in here, as storage names are.
    std::u16string name(const std::string& file) const { return path(file).u16string(); }

    void put(const std::string& file, const std::string& content) const;
    std::string get(const std::string& file) const { return readFile(path(file)); }

    /// Whether there is a temporary of a replacement in the folder or in one below it.
    bool holdsTemporary() const;

private:
    std::filesystem::path path_;
};

}  // namespace support
