#pragma once

#include "foundation/storage/vfs/Descriptor.hpp"
#include "foundation/storage/vfs/FileLock.hpp"
#include "foundation/storage/vfs/LocalFile.hpp"
#include "foundation/storage/vfs/Replacement.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace foundation::storage::vfs {

/// Writes a temporary beside the target and gives it the target's name. docs/reliability.md has the protocol.
class LocalReplacement final : public Replacement {
public:
    /// @param path      the target; a relative one starts from the working directory.
    /// @param replaced  the target, opened, and outliving this object; null when the target must not exist.
    LocalReplacement(const std::string& path, const LocalFile* replaced);
    ~LocalReplacement() override { LocalReplacement::discard(); }

    void write(const void* from, std::size_t count) override;
    void append(const ReadableFile& source, std::uint64_t offset, std::uint64_t count) override;
    const ReadableFile* written() override;
    void askWhenTouched(std::function<bool()> isUnchanged) override { isUnchanged_ = std::move(isUnchanged); }
    void commit() override;
    void discard() noexcept override;

private:
    /// The folder is opened once, and every step works relative to it. So all steps concern the same folder, even when
    /// another program renames folders meanwhile.
    struct Target {
        std::string path;
        std::string name;  ///< the last component
        Descriptor directory;
    };

    LocalReplacement(Target target, const LocalFile* replaced);
    static Target resolve(const std::string& path, bool exists);

    void checkTarget() const;
    void checkReplaced(bool found, const struct stat& present) const;
    void checkUntouched() const;
    void checkAbsent(bool found, const struct stat& present) const;
    void checkWritable() const;
    void createTemporary();
    template <class Work>
    void discardOnFailure(Work work);
    void requireTemporary() const;
    void writeBuffered(const unsigned char* from, std::size_t count);
    void writeThrough(const unsigned char* from, std::size_t count);
    void startWriteBack(std::uint64_t count);
    void flush();
    std::uint64_t copyInKernel(const LocalFile& source, std::uint64_t offset, std::uint64_t count);
    void setFinalAttributes();
    void takeOverAttributes();
    void takeOverLastAttributes() noexcept;
    void syncTemporary();
    void putInPlace();
    void create();
    int renameToAbsent() const;
    void replace();
    void rename(const std::string& to);
    void exchangeOrRename();
    void throwUnlessUnsupported() const;
    void removeTemporary() noexcept;
    std::string giveUpTemporary() noexcept;
    void syncDirectory() const;
    int syncFolder() const noexcept;

    Target target_;
    const LocalFile* replaced_;
    std::string temporaryName_;  ///< empty while there is no temporary
    Descriptor temporary_;
    std::optional<FileLock> temporaryLock_;  ///< held so that no sweep takes the temporary for a leftover
    std::uint64_t waitingForDisk_ = 0;       ///< bytes written since the system was asked to begin with them
    mode_t newFileMode_ = 0;
    std::unique_ptr<const ReadableFile> written_;  ///< what written() handed out last
    std::function<bool()> isUnchanged_;            ///< what askWhenTouched() was given; may be empty
    std::optional<FileIdentity> attributesOf_;     ///< the replaced file when its attributes were copied last
    std::vector<unsigned char> buffer_;            ///< written, but not yet handed to the system
};

}  // namespace foundation::storage::vfs
