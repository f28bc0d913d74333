// Reads the index of a container from its end: the end record, the zip64 records if there are any, then the directory.
// APPNOTE leaves room for files that two readers understand differently: several end records, gaps, overlaps,
// equivalent names, fields that contradict each other. Every such file is refused here, as a check that one program
// makes is worth nothing if another program reads something else from the same bytes. Each number of the file is
// compared with what is there before it is used.
#include "opc/zippackage/ZipIndexReader.hpp"

#include "opc/MessageText.hpp"
#include "opc/zippackage/ZipExtra.hpp"
#include "opc/zippackage/ZipNames.hpp"

#include <algorithm>
#include <functional>
#include <iterator>

namespace opc::zippackage {
namespace {

constexpr std::string_view kEndMark("PK\5\6", 4);

bool isFolder(const ZipEntry& entry) { return entry.name.back() == '/'; }

/// A field of the end record is all ones or equals the one of the zip64 end record.
bool agree(std::uint64_t plain, std::uint64_t ones, std::uint64_t wide) { return plain == ones || plain == wide; }

}  // namespace

ZipIndexReader::ZipIndexReader(ZipInput& input, const Limits& limits)
    : input_(input), limitCheck_(input.doing(), limits) {}

/// The limits are checked as early as the numbers are known, so that no claim of the file makes this take memory for
/// it.
ZipIndex ZipIndexReader::read() {
    const EndRecord end = readEndRecord();
    limitCheck_.checkCount(end.entries);
    checkDirectoryPlace(end);
    limitCheck_.checkDirectory(end.directorySize);
    input_.hold(end.directoryOffset);
    ZipIndex index;
    readDirectory(end, index.entries);
    checkNames(index.entries);
    checkPlaces(index.entries, end.directoryOffset);
    const auto folders = std::stable_partition(index.entries.begin(), index.entries.end(), std::not_fn(isFolder));
    index.folders.assign(folders, index.entries.end());
    index.entries.erase(folders, index.entries.end());
    index.comment = input_.held(end.position + kEndSize, commentSize(end.position));
    return index;
}

std::uint64_t ZipIndexReader::commentSize(std::uint64_t position) const {
    return FieldReader(input_.held(position + kEndSize - 2, 2)).u16();
}

/// Whether a record and its comment reach to the end of the file. A line break may follow, which some programs append
/// and all readers accept.
bool ZipIndexReader::reachesEnd(std::uint64_t position) const {
    if (input_.size() - position < kEndSize) {
        return false;
    }
    const std::uint64_t end = position + kEndSize + commentSize(position);
    const std::string_view rest = end > input_.size() ? "cut off" : input_.held(end, input_.size() - end);
    return rest.empty() || rest == "\n" || rest == "\r" || rest == "\r\n";
}

/// Finds the end record, which must be the last mark in the file and the only one that fits. Readers search for the
/// mark backwards from the end, and differ in what they accept: a mark behind the real record, or a second record that
/// fits, would let them see different containers.
std::uint64_t ZipIndexReader::findEndRecord() const {
    const std::string_view tail = input_.held(input_.heldFrom(), input_.size() - input_.heldFrom());
    std::size_t marks = 0;
    std::size_t fitting = 0;
    std::uint64_t last = 0;
    for (std::size_t at = tail.find(kEndMark); at != tail.npos; at = tail.find(kEndMark, at + 1)) {
        last = input_.heldFrom() + at;
        ++marks;
        fitting += reachesEnd(last) ? 1 : 0;
    }
    if (marks == 0) {
        input_.damaged(text("not a zip container, or cut off: no end record in ", input_.size(), " bytes"));
    }
    if (fitting == 0) {
        input_.damaged(
            text("cut off, or data appended: the end record at offset ", last, " does not end with the file"));
    }
    if (fitting > 1 || !reachesEnd(last)) {
        input_.damaged("several end records");
    }
    return last;
}

ZipIndexReader::EndRecord ZipIndexReader::readEndRecord() const {
    const std::uint64_t position = findEndRecord();
    FieldReader fields(input_.held(position + sizeof(kEndSignature), kEndSize - sizeof(kEndSignature)));
    const std::uint16_t disk = fields.u16();
    const std::uint16_t directoryDisk = fields.u16();
    const std::uint16_t entriesHere = fields.u16();
    EndRecord end{position, position, fields.u16(), fields.u32(), fields.u32()};
    const bool zip64 = hasZip64(end);
    // A container in one file has no other disks. With zip64 the fields may be all ones, as those of sizes may.
    const auto isFirstDisk = [zip64](std::uint16_t number) { return number == 0 || (zip64 && number == kOnes16); };
    if (!isFirstDisk(disk) || !isFirstDisk(directoryDisk) || entriesHere != end.entries) {
        input_.damaged("part of a container of several files");
    }
    if (zip64) {
        readZip64(end);
    }
    return end;
}

bool ZipIndexReader::hasZip64(const EndRecord& end) const {
    return end.position >= kZip64LocatorSize &&
           FieldReader(input_.held(end.position - kZip64LocatorSize, 4)).u32() == kZip64LocatorSignature;
}

/// The zip64 record must lie directly before its locator, and be of the size without extensions. The format permits
/// more, but then there would be bytes that belong to no record. Where a field of the end record is not all ones, both
/// must agree, as not every reader looks at the zip64 record.
void ZipIndexReader::readZip64(EndRecord& end) const {
    const std::uint64_t locatorPosition = end.position - kZip64LocatorSize;
    FieldReader locator(input_.held(locatorPosition + 4, kZip64LocatorSize - 4));
    const std::uint32_t recordDisk = locator.u32();
    end.start = locator.u64();
    if (recordDisk != 0 || locator.u32() != 1 || locatorPosition < kZip64EndSize ||
        end.start != locatorPosition - kZip64EndSize) {
        input_.damaged(text("the zip64 locator names a record at offset ", end.start, ", not directly before it"));
    }
    FieldReader record(input_.held(end.start, kZip64EndSize));
    const bool isRecord = record.u32() == kZip64EndSignature && record.u64() == kZip64EndSize - 12;
    record.bytes(4);  // the versions
    const bool isFirstDisk = record.u64() == 0;
    const std::uint64_t entriesHere = record.u64();
    const EndRecord wide{end.position, end.start, record.u64(), record.u64(), record.u64()};
    if (!isRecord || !isFirstDisk || entriesHere != wide.entries || !agree(end.entries, kOnes16, wide.entries) ||
        !agree(end.directorySize, kOnes32, wide.directorySize) ||
        !agree(end.directoryOffset, kOnes32, wide.directoryOffset)) {
        input_.damaged(
            text("the zip64 end record at offset ", end.start, " is malformed or contradicts the end record"));
    }
    end = wide;
}

/// The directory must end exactly where the end records begin, so that its offset leaves no choice. The number of
/// entries is compared with the size before memory is taken for so many.
void ZipIndexReader::checkDirectoryPlace(const EndRecord& end) const {
    if (end.directorySize > end.start || end.directoryOffset != end.start - end.directorySize) {
        input_.damaged(text("the index of ", end.directorySize, " bytes at offset ", end.directoryOffset,
                            " does not end where the end record begins, at ", end.start));
    }
    if (end.entries > end.directorySize / kCentralSize) {
        input_.damaged(text("an index of ", end.directorySize, " bytes cannot have ", end.entries, " entries"));
    }
    if (end.entries == 0 && end.directoryOffset != 0) {
        input_.damaged(text("no entries, but ", end.directoryOffset, " bytes before the index"));
    }
}

void ZipIndexReader::readDirectory(const EndRecord& end, std::vector<ZipEntry>& entries) {
    FieldReader directory(input_.held(end.directoryOffset, end.directorySize));
    entries.reserve(end.entries);
    for (std::size_t number = 1; number <= end.entries; ++number) {
        entries.push_back(readEntry(directory, number));
        checkEntry(entries.back());
        limitCheck_.addEntry(entries.back().name, entries.back().size, entries.back().storedSize);
    }
    if (directory.remaining() != 0) {
        input_.damaged(text(directory.remaining(), " bytes are left in the index after its ", end.entries, " entries"));
    }
}

ZipEntry ZipIndexReader::readEntry(FieldReader& directory, std::size_t number) const {
    if (directory.remaining() < kCentralSize || directory.u32() != kCentralSignature) {
        input_.damaged(text("record ", number, " of the index is missing or malformed"));
    }
    ZipEntry entry;
    entry.versionMadeBy = directory.u16();
    entry.versionNeeded = directory.u16();
    entry.flags = directory.u16();
    entry.method = directory.u16();
    entry.time = directory.u16();
    entry.date = directory.u16();
    entry.crc = directory.u32();
    entry.storedSize = directory.u32();
    entry.size = directory.u32();
    const std::size_t nameSize = directory.u16();
    const std::size_t extraSize = directory.u16();
    const std::size_t commentSize = directory.u16();
    const std::uint16_t disk = directory.u16();
    entry.internalAttributes = directory.u16();
    entry.externalAttributes = directory.u32();
    entry.offset = directory.u32();
    if (directory.remaining() < nameSize + extraSize + commentSize) {
        input_.damaged(text("record ", number, " of the index is longer than the index"));
    }
    entry.name = directory.bytes(nameSize);
    entry.extra = directory.bytes(extraSize);
    entry.comment = directory.bytes(commentSize);
    resolveZip64(entry, disk);
    return entry;
}

/// Puts the values of the zip64 field in the place of those that are all ones. The field must hold exactly the values
/// that are needed: what is left over would be read by some programs and passed over by others.
void ZipIndexReader::resolveZip64(ZipEntry& entry, std::uint16_t disk) const {
    const auto extra = parseExtra(entry.extra);
    if (!extra) {
        input_.damaged(text("entry ", quoted(entry.name), " has malformed extra fields in the index"), entry.name);
    }
    if (extra->renames(entry.name)) {
        input_.damaged(text("entry ", quoted(entry.name), " has a field that gives it another name"), entry.name);
    }
    bool isFirstDisk = disk == 0;
    if (extra->zip64) {
        std::string_view wide = *extra->zip64;
        bool complete =
            takeZip64(wide, entry.size) && takeZip64(wide, entry.storedSize) && takeZip64(wide, entry.offset);
        if (complete && disk == kOnes16 && wide.size() == 4) {
            isFirstDisk = FieldReader(wide).u32() == 0;
            wide = {};
        }
        if (!complete || !wide.empty()) {
            input_.damaged(text("entry ", quoted(entry.name), " has a zip64 field that does not fit its record"),
                           entry.name);
        }
    }
    if (!isFirstDisk) {
        input_.damaged(text("entry ", quoted(entry.name), " is in another file of several"), entry.name);
    }
}

void ZipIndexReader::checkEntry(const ZipEntry& entry) const {
    if (const char* fault = faultOfName(entry.name)) {
        input_.damaged(text("the entry name ", quoted(entry.name), " ", fault), entry.name);
    }
    if ((entry.flags & kEncryptionFlags) != 0) {
        input_.damaged(text("entry ", quoted(entry.name), " is encrypted, which packages do not permit"), entry.name);
    }
    if (isFolder(entry) && entry.size != 0) {
        input_.damaged(text("the folder ", quoted(entry.name), " has a content of ", entry.size, " bytes"), entry.name);
    }
}

/// Names that differ in letter case only are one name for a package (ECMA-376-2, M1.12) and for some file systems.
void ZipIndexReader::checkNames(const std::vector<ZipEntry>& entries) const {
    std::vector<std::string_view> names;
    names.reserve(entries.size());
    for (const ZipEntry& entry : entries) {
        names.push_back(entry.name);
    }
    if (const auto found = findEquivalent(names)) {
        input_.damaged(
            text("two entries have equivalent names, ", quoted(found->first), " and ", quoted(found->second)),
            found->second);
    }
}

/// Sets where each entry ends, which is where the next one or the directory begins. Overlapping entries are refused:
/// they make bombs possible and let one file hide in another. So are bytes in front of the first entry. Gaps between
/// entries are permitted, as data descriptors lie there.
void ZipIndexReader::checkPlaces(std::vector<ZipEntry>& entries, std::uint64_t directoryOffset) const {
    std::vector<ZipEntry*> order;
    order.reserve(entries.size());
    std::transform(entries.rbegin(), entries.rend(), std::back_inserter(order), [](ZipEntry& entry) { return &entry; });
    const auto isBehind = [](const auto* a, const auto* b) { return a->offset > b->offset; };
    if (!std::is_sorted(order.begin(), order.end(), isBehind)) {  // which is rare
        std::sort(order.begin(), order.end(), isBehind);
    }
    if (!order.empty() && order.back()->offset != 0) {
        input_.damaged(text("the first entry begins at offset ", order.back()->offset, ", data was put before it"));
    }
    std::uint64_t end = directoryOffset;
    for (ZipEntry* entry : order) {
        const std::uint64_t headerSize = kLocalSize + entry->name.size();
        if (entry->offset > end || end - entry->offset < headerSize ||
            end - entry->offset - headerSize < entry->storedSize) {
            input_.damaged(text("entry ", quoted(entry->name), " of ", entry->storedSize, " bytes at offset ",
                                entry->offset, " reaches beyond offset ", end,
                                ", where the next entry or the index begins"),
                           entry->name);
        }
        entry->end = end;
        end = entry->offset;
    }
}

}  // namespace opc::zippackage
