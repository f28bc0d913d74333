// A package's container as a zip file: opened once, read entry by entry, and committed as a whole new file. The open
// file is kept until the end, because unchanged entries are carried over from it, and because it is the version that
// the storage compares with when the new one is to take its place.
#include "opc/zippackage/ZipPhysicalPackage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/MessageText.hpp"
#include "opc/StorageErrors.hpp"
#include "opc/zippackage/ZipIndexReader.hpp"
#include "opc/zippackage/ZipNames.hpp"
#include "opc/zippackage/ZipWriter.hpp"

#include <algorithm>
#include <map>
#include <optional>

namespace opc::zippackage {

using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::Replacement;
using interfaces::CompressionType;
using interfaces::OpenMode;
using interfaces::PhysicalEntry;
using interfaces::PlannedEntry;

namespace {

/// A container that was opened for reading, with all that refers to it.
class OpenContainer {
public:
    OpenContainer(std::unique_ptr<ReadableFile> file, const std::string& fileName, const Limits& limits)
        : file_(std::move(file)),
          input_(*file_, fileName),
          index_(ZipIndexReader(input_, limits).read()),
          reader_(input_) {}

    const ZipInput& input() const noexcept { return input_; }
    const ZipIndex& index() const noexcept { return index_; }
    const ZipEntryReader& reader() const noexcept { return reader_; }

    /// Whether the end of the file, with all its index, is still what was read when it was opened.
    bool hasIndexStill(const std::string& fileName) const {
        ZipInput now(*file_, fileName);
        now.hold(input_.heldFrom());
        const std::uint64_t count = input_.size() - input_.heldFrom();
        return now.held(input_.heldFrom(), count) == input_.held(input_.heldFrom(), count);
    }

    /// Whether an entry has the content that its checksum promises. An entry compressed by another method cannot be
    /// read, and counts as whole: it is carried over as it is.
    bool isWhole(const ZipEntry& entry) const {
        try {
            return (entry.method != kStored && entry.method != kDeflated) || reader_.read(entry).size() == entry.size;
        } catch (const Exception&) {
            return false;
        }
    }

private:
    std::unique_ptr<ReadableFile> file_;
    ZipInput input_;
    ZipIndex index_;
    ZipEntryReader reader_;
};

/// Knows the entries of an open container that are stored, not deflated. New content of an entry that a user chose to
/// store is stored too: a version control system finds what stayed the same only in a container of stored entries.
class StoredEntries {
public:
    /// @param container  null for one that is made anew.
    explicit StoredEntries(const OpenContainer* container) : container_(container) {
        if (container == nullptr) {
            return;
        }
        for (const ZipEntry& entry : container->index().entries) {
            if (entry.method == kStored) {
                stored_.emplace(entry.name, &entry);
            }
        }
        isAll_ = stored_.size() == container->index().entries.size();
    }

    /// Whether an entry was stored as all entries were, or although deflating would have made it smaller. One that was
    /// merely too short to gain says nothing about how longer content should be kept.
    bool hasByChoice(std::string_view name, DeflateCodec& codec) const {
        const auto found = stored_.find(name);
        return found != stored_.end() && (isAll_ || gainsByDeflating(*found->second, codec));
    }

private:
    bool gainsByDeflating(const ZipEntry& entry, DeflateCodec& codec) const {
        try {
            return !codec.deflate(asText(container_->reader().read(entry))).empty();
        } catch (const Exception&) {
            return false;  // The old content is damaged, and is being replaced.
        }
    }

    const OpenContainer* container_;
    std::map<std::string_view, const ZipEntry*> stored_;
    bool isAll_ = false;
};

std::vector<PhysicalEntry> entriesOf(const ZipIndex& index) {
    std::vector<PhysicalEntry> entries;
    entries.reserve(index.entries.size());
    for (const ZipEntry& entry : index.entries) {
        entries.push_back({entry.name, entry.size, entry.storedSize});
    }
    return entries;
}

}  // namespace

class PXPLATFORM_LOCAL ZipPhysicalPackage::Impl {
public:
    Impl(const std::u16string& fileName, const FileSystemOpsSelector& selector, const Limits& limits)
        : fileName_(fileName),
          displayName_(fl::i18n::to_string(fileName)),
          ops_(selector.getForPath(fileName)),
          limits_(limits) {}

    void open(OpenMode mode);
    const std::vector<PhysicalEntry>& entries() const noexcept { return entries_; }
    fl::Bytes read(std::size_t position) const;
    void commit(const std::vector<PlannedEntry>& plan);
    void close() noexcept;
    const std::string& displayName() const noexcept { return displayName_; }
    const Limits& limits() const noexcept { return limits_; }

private:
    const OpenContainer& container(std::string_view doing) const;
    const ZipEntry& entryAt(std::size_t position, std::string_view doing) const;
    void checkPlan(const std::vector<PlannedEntry>& plan, const std::string& doing) const;
    enum class Layout { AsItIs, AllDeflated };
    std::unique_ptr<Replacement> begin();
    void write(const std::vector<PlannedEntry>& plan, Layout layout, Replacement& out, const std::string& doing);
    void requireReadable(Replacement& out) const;
    bool isUnchanged(const std::vector<PlannedEntry>& plan) const;
    [[noreturn]] void misused(std::string_view doing, const std::string& found) const;

    std::u16string fileName_;
    std::string displayName_;
    FileSystemOps ops_;
    Limits limits_;
    std::optional<OpenMode> mode_;
    std::unique_ptr<const OpenContainer> container_;
    std::vector<PhysicalEntry> entries_;
};

void ZipPhysicalPackage::Impl::open(OpenMode mode) {
    if (mode_) {
        misused("Opening", "it is open already");
    }
    // The working directory may change before the commit, and the name must mean the same file then.
    if (mode != OpenMode::ReadOnly) {
        fileName_ = ops_.anchored(fileName_);
    }
    if (mode != OpenMode::Create) {
        auto opened = std::make_unique<const OpenContainer>(ops_.openForReading(fileName_), displayName_, limits_);
        entries_ = entriesOf(opened->index());
        container_ = std::move(opened);
    }
    mode_ = mode;
}

fl::Bytes ZipPhysicalPackage::Impl::read(std::size_t position) const {
    const ZipEntry& entry = entryAt(position, "Reading");
    try {
        return container_->reader().read(entry);
    } catch (Exception& failure) {
        failure.setPart(partOf(entry.name));
        throw;
    }
}

/// Writes the new container and has it take the old one's place. The plan is checked before anything is written, and
/// the result is read back before it replaces anything. That second check finds what the first cannot know: stored
/// content that looks like the end of a container. Deflated content does not, so the container is written once more
/// with all deflated.
void ZipPhysicalPackage::Impl::commit(const std::vector<PlannedEntry>& plan) {
    if (!mode_ || *mode_ == OpenMode::ReadOnly) {
        misused("Writing", "it is not open for writing");
    }
    const std::string doing = text("Writing package '", displayName_, "': ");
    checkPlan(plan, doing);
    std::unique_ptr<Replacement> replacement = begin();
    write(plan, Layout::AsItIs, *replacement, doing);
    try {
        requireReadable(*replacement);
    } catch (const Exception& failure) {
        if (failure.kind() != ErrorKind::Damaged) {
            throw;
        }
        replacement.reset();
        replacement = begin();
        write(plan, Layout::AllDeflated, *replacement, doing);
        requireReadable(*replacement);
    }
    replacement->askWhenTouched([&] { return isUnchanged(plan); });
    translatingStorageErrors(doing, [&] { replacement->commit(); });
}

std::unique_ptr<Replacement> ZipPhysicalPackage::Impl::begin() {
    return ops_.beginReplacement(fileName_, container_ ? &container_->input().file() : nullptr);
}

/// Reads the index of what was written, with the reader that will open it later.
void ZipPhysicalPackage::Impl::requireReadable(Replacement& out) const {
    if (const ReadableFile* const written = translatingStorageErrors("", [&] { return out.written(); })) {
        ZipInput input(*written, displayName_);
        ZipIndexReader(input, limits_).read();
    }
}

/// Whether the file that was opened still holds its index, and all entries that were carried over have their checksums.
/// The storage asks this when something was done to the file that may or may not have changed its content.
bool ZipPhysicalPackage::Impl::isUnchanged(const std::vector<PlannedEntry>& plan) const {
    if (!container_) {
        return true;
    }
    return container_->hasIndexStill(displayName_) &&
           std::all_of(plan.begin(), plan.end(), [this](const PlannedEntry& planned) {
               return planned.content != nullptr || container_->isWhole(container_->index().entries[planned.carried]);
           });
}

/// Refuses a plan whose result could not be opened again: names and limits must be as the reader demands them.
void ZipPhysicalPackage::Impl::checkPlan(const std::vector<PlannedEntry>& plan, const std::string& doing) const {
    ZipLimitCheck limitCheck(doing, limits_);
    limitCheck.checkCount(plan.size());
    std::vector<std::string_view> names;
    names.reserve(plan.size());
    for (const PlannedEntry& entry : plan) {
        if (entry.content == nullptr) {
            const ZipEntry& carried = entryAt(entry.carried, "Writing");
            names.push_back(carried.name);
            limitCheck.addEntry(carried.name, carried.size, carried.storedSize);
            continue;
        }
        if (faultOfName(entry.name) != nullptr || entry.name.back() == '/') {
            misused("Writing", quoted(entry.name) + " is no name for an entry");
        }
        names.push_back(entry.name);
        limitCheck.addEntry(entry.name, entry.content->size(), entry.content->size());
    }
    if (const auto found = findEquivalent(names)) {
        misused("Writing",
                text("two entries have equivalent names, ", quoted(found->first), " and ", quoted(found->second)));
    }
}

/// Writes the entries of the plan in their order, then the folders of the old container, which hold nothing and which
/// some programs expect to find again.
void ZipPhysicalPackage::Impl::write(const std::vector<PlannedEntry>& plan, Layout layout, Replacement& out,
                                     const std::string& doing) {
    DeflateCodec codec;
    ZipWriter writer(doing, out, codec, limits_);
    const bool isDeflating = layout == Layout::AllDeflated;
    const auto carry = [&](const ZipEntry& entry) {
        ZipInput::Buffer buffer;
        if (isDeflating && entry.method == kStored && entry.size != 0) {
            writer.addContent(entry.name, container_->reader().read(entry), CompressionType::Normal);
            return;
        }
        writer.addCarried(container_->input(), entry, container_->reader().locate(entry, buffer));
    };
    const StoredEntries stored(container_.get());
    for (const PlannedEntry& entry : plan) {
        if (entry.content != nullptr) {
            const bool staysStored = !isDeflating && stored.hasByChoice(entry.name, codec);
            const CompressionType usual = isDeflating ? CompressionType::Normal : entry.compression;
            writer.addContent(entry.name, *entry.content, staysStored ? CompressionType::None : usual);
        } else {
            carry(container_->index().entries[entry.carried]);
        }
    }
    if (!container_) {
        writer.finish({});
    } else {
        std::for_each(container_->index().folders.begin(), container_->index().folders.end(), carry);
        writer.finish(container_->index().comment);
    }
}

void ZipPhysicalPackage::Impl::close() noexcept {
    entries_.clear();
    container_.reset();
    mode_.reset();
}

const OpenContainer& ZipPhysicalPackage::Impl::container(std::string_view doing) const {
    if (!container_) {
        misused(doing, "it is not open for reading");
    }
    return *container_;
}

const ZipEntry& ZipPhysicalPackage::Impl::entryAt(std::size_t position, std::string_view doing) const {
    const std::vector<ZipEntry>& entries = container(doing).index().entries;
    if (position >= entries.size()) {
        misused(doing, text("entry ", position, " of ", entries.size(), " was asked for"));
    }
    return entries[position];
}

void ZipPhysicalPackage::Impl::misused(std::string_view doing, const std::string& found) const {
    throw Exception(ErrorKind::Misuse, text(doing, " package '", displayName_, "': ", found));
}

ZipPhysicalPackage::ZipPhysicalPackage(const std::u16string& fileName, const FileSystemOpsSelector& selector, bool,
                                       const Limits& limits)
    : impl_(std::make_unique<Impl>(fileName, selector, limits)) {}

ZipPhysicalPackage::~ZipPhysicalPackage() = default;

void ZipPhysicalPackage::open(OpenMode mode) { impl_->open(mode); }

const std::vector<PhysicalEntry>& ZipPhysicalPackage::entries() const { return impl_->entries(); }

fl::Bytes ZipPhysicalPackage::read(std::size_t position) const { return impl_->read(position); }

void ZipPhysicalPackage::commit(const std::vector<PlannedEntry>& plan) { impl_->commit(plan); }

void ZipPhysicalPackage::close() noexcept { impl_->close(); }

const std::string& ZipPhysicalPackage::displayName() const noexcept { return impl_->displayName(); }

const Limits& ZipPhysicalPackage::limits() const noexcept { return impl_->limits(); }

}  // namespace opc::zippackage
