#include "kit/package/ZipIndex.hpp"

#include "kit/package/ZipFields.hpp"

#include <algorithm>
#include <optional>

namespace flowbook::kit {

namespace {

constexpr std::size_t kZip64EndSize = 56;
constexpr std::size_t kLocatorSize = 20;
/// End records that are tried: a comment, or what somebody appended, may hold any number of their signature.
constexpr std::size_t kMostEndRecords = 64;

/// Of a record of the index, whose name, extra fields and comment have sizes of two bytes.
constexpr std::size_t kLongestRecord = kIndexSize + std::size_t{3} * 65535;

/// Of a local header, likewise, and how many that may be one are tried.
constexpr std::size_t kLongestHeader = kLocalSize + std::size_t{2} * 65535;
constexpr std::size_t kMostHeaders = 64;

struct End {
    std::uint64_t count;
    std::uint64_t size;
    std::uint64_t offset;
    std::size_t recordsEnd;  ///< where the records must have ended
};

/// A record and where the next one begins.
struct Parsed {
    ZipRecord record;
    std::size_t end;
};

class Reading {
public:
    explicit Reading(std::string_view bytes) : bytes_(bytes) {}

    ZipIndex run() {
        std::size_t at = bytes_.rfind(kEndRecord);
        for (std::size_t tried = 0; at != std::string_view::npos && tried < kMostEndRecords; ++tried) {
            const std::optional<End> end = endAt(at);
            std::optional<ZipIndex> index = end ? indexOf(*end) : std::nullopt;
            if (index) {
                return std::move(*index);
            }
            at = at == 0 ? std::string_view::npos : bytes_.rfind(kEndRecord, at - 1);
        }
        return found();
    }

private:
    std::uint64_t number(std::size_t at, std::size_t width) const { return zipNumber(bytes_, at, width); }
    bool standsAt(std::size_t at, std::string_view signature) const { return zipStandsAt(bytes_, at, signature); }

    std::optional<End> endAt(std::size_t at) const {
        if (bytes_.size() - at < kEndSize) {
            return std::nullopt;
        }
        const End end{number(at + 10, 2), number(at + 12, 4), number(at + 16, 4), at};
        const std::size_t zip64 = at - kLocatorSize - kZip64EndSize;
        if (at >= kLocatorSize + kZip64EndSize && standsAt(zip64, kZip64EndRecord)) {
            return End{number(zip64 + 32, 8), number(zip64 + 40, 8), number(zip64 + 48, 8), zip64};
        }
        return end;
    }

    /// The size of the name in a record. One that seems to reach into the next record is damaged; the name then ends
    /// where its extra fields and comment leave off.
    std::size_t nameSizeAt(std::size_t at, bool isDamaged) const {
        const std::size_t recorded = number(at + 28, 2);
        // No further than the name: a look to the end of the file for each record would take quadratic time.
        const std::string_view name =
            isDamaged ? bytes_.substr(at + kIndexSize, recorded + kIndexRecord.size() - 1) : std::string_view();
        const std::size_t next = std::min(name.find(kIndexRecord), name.find(kEndRecord));
        const std::size_t behind = number(at + 30, 2) + number(at + 32, 2);
        return next == std::string_view::npos || behind >= next ? recorded : next - behind;
    }

    /// The record at a place, whose signature is not looked at, as it may be what is damaged.
    /// @param isDamaged  whether the index is known not to be whole.
    std::optional<Parsed> recordAt(std::size_t at, bool isDamaged = false) const {
        if (at > bytes_.size() || bytes_.size() - at < kIndexSize) {
            return std::nullopt;
        }
        const std::size_t nameSize = nameSizeAt(at, isDamaged);
        const std::size_t extraSize = number(at + 30, 2);
        const std::size_t end = at + kIndexSize + nameSize + extraSize + number(at + 32, 2);
        // What follows the name may be cut off; the name is what tells that the entry was there.
        if (nameSize == 0 || at + kIndexSize + nameSize > bytes_.size()) {
            return std::nullopt;
        }
        ZipRecord record;
        record.name = bytes_.substr(at + kIndexSize, nameSize);
        record.version = static_cast<unsigned>(number(at + 6, 2));
        record.flags = static_cast<unsigned>(number(at + 8, 2));
        record.method = static_cast<unsigned>(number(at + 10, 2));
        record.crc = number(at + 16, 4);
        record.storedSize = number(at + 20, 4);
        record.size = number(at + 24, 4);
        record.offset = number(at + 42, 4);
        record.at = at;
        takeZip64(record, bytes_.substr(at + kIndexSize + nameSize, extraSize));
        return Parsed{std::move(record), end};
    }

    /// The index that an end record leads to, if as many records as it counts end where it begins.
    std::optional<ZipIndex> indexOf(const End& end) const {
        if (end.size == 0 || end.size > end.recordsEnd) {
            return std::nullopt;
        }
        ZipIndex index;
        index.begin = end.recordsEnd - static_cast<std::size_t>(end.size);
        index.shift = index.begin - end.offset;
        std::size_t at = index.begin;
        while (at < end.recordsEnd && index.records.size() < end.count) {
            std::optional<Parsed> parsed = recordAt(at);
            if (!parsed) {
                return std::nullopt;
            }
            at = parsed->end;
            index.records.push_back(std::move(parsed->record));
        }
        const bool fits = at == end.recordsEnd && index.records.size() == end.count;
        index.isWhole = fits && isOfTheFile(index) && !hasRecordBefore(index.begin);
        return index.isWhole ? std::make_optional(std::move(index)) : std::nullopt;
    }

    /// Whether another record ends at a place: an end record that was forged or is damaged covers some only.
    bool hasRecordBefore(std::size_t at) const {
        const std::size_t first = at - std::min(at, kLongestRecord);
        const std::size_t before = bytes_.substr(first, at - first).rfind(kIndexRecord);
        const std::optional<Parsed> record = before == std::string_view::npos ? std::nullopt : recordAt(first + before);
        return record && record->end == at;
    }

    /// False for the index of a zip file that an entry of this one holds: its first entry is not where it says.
    bool isOfTheFile(const ZipIndex& index) const {
        if (index.shift == 0) {
            return true;
        }
        const auto& first = *std::min_element(index.records.begin(), index.records.end(),
                                              [](const auto& a, const auto& b) { return a.offset < b.offset; });
        if (isHeldByEntry(first.offset + index.shift)) {
            return false;
        }
        if (!beginsWithEntry()) {
            return true;
        }
        return leadsToItsHeader(first, first.offset) &&
               (number(first.offset + 14, 4) == first.crc || (number(first.offset + 6, 2) & 8) != 0);
    }

    /// Whether a place is where the data of an entry begin.
    bool isHeldByEntry(std::uint64_t place) const {
        const std::size_t end = static_cast<std::size_t>(std::min<std::uint64_t>(place, bytes_.size()));
        const std::size_t first = end - std::min(end, kLongestHeader);
        const std::string_view before = bytes_.substr(first, end - first);
        std::size_t at = before.rfind(kLocalHeader);
        for (std::size_t tried = 0; at != std::string_view::npos && tried < kMostHeaders; ++tried) {
            const bool isHeader = before.size() - at > kLocalSize;
            const std::size_t header = first + at;
            if (isHeader && header + kLocalSize + number(header + 26, 2) + number(header + 28, 2) == end) {
                return true;
            }
            at = at == 0 ? std::string_view::npos : before.rfind(kLocalHeader, at - 1);
        }
        return false;
    }

    /// Whether the file begins with a local header, and not just with its signature.
    bool beginsWithEntry() const {
        const std::uint64_t method = bytes_.size() < kLocalSize ? 1 : number(8, 2);
        return standsAt(0, kLocalHeader) && (method == 0 || method == kDeflated);
    }

    bool leadsToItsHeader(const ZipRecord& record, std::uint64_t at) const {
        return at < bytes_.size() && bytes_.size() - at > kLocalSize && standsAt(at, kLocalHeader) &&
               standsAt(at + kLocalSize, record.name);
    }

    /// The records that are there, where no end record leads to them. Those before an end record that others follow
    /// are a zip file's that an entry holds.
    ZipIndex found() const {
        ZipIndex index;
        index.begin = bytes_.size();
        bool isOneRow = true;
        std::size_t end = 0;
        const std::size_t lastHeader = bytes_.rfind(kLocalHeader);
        std::size_t at = bytes_.find(kIndexRecord, lastHeader == std::string_view::npos ? 0 : lastHeader);
        while (at != std::string_view::npos) {
            if (!index.records.empty() && hasEndRecord(end, at)) {
                index.records.clear();
                isOneRow = true;
            }
            isOneRow = isOneRow && (index.records.empty() || at == end);
            index.begin = index.records.empty() ? at : index.begin;
            std::optional<Parsed> parsed = recordAt(at, true);
            // One whose sizes are damaged seems to end somewhere else, and would hide those that follow.
            const bool ends = parsed && (standsAt(parsed->end, kIndexRecord) || standsAt(parsed->end, kEndRecord) ||
                                         standsAt(parsed->end, kZip64EndRecord));
            end = ends ? parsed->end : at + kIndexRecord.size();
            if (parsed) {
                index.records.push_back(std::move(parsed->record));
            }
            at = bytes_.find(kIndexRecord, end);
        }
        index.isWhole = isOneRow && standsAt(end, kEndRecord) && endsWhereRecordsBegin(index) && agrees(index, end);
        return index;
    }

    /// Whether an end record has the number or the size of the records that are there. The other may be damaged.
    bool agrees(const ZipIndex& index, std::size_t at) const {
        const std::optional<End> end = endAt(at);
        return end && (end->count == index.records.size() || end->size == end->recordsEnd - index.begin);
    }

    bool hasEndRecord(std::size_t from, std::size_t to) const {
        return from < to && bytes_.substr(from, to - from).find(kEndRecord) != std::string_view::npos;
    }

    /// Whether the last entry ends where the records begin, so that none of them is missing.
    bool endsWhereRecordsBegin(const ZipIndex& index) const {
        if (index.records.empty()) {
            return false;
        }
        const auto& last = *std::max_element(index.records.begin(), index.records.end(),
                                             [](const auto& a, const auto& b) { return a.offset < b.offset; });
        const std::uint64_t at = last.offset;
        if (!leadsToItsHeader(last, at)) {
            return false;
        }
        const std::uint64_t end = at + kLocalSize + number(at + 26, 2) + number(at + 28, 2) + last.storedSize;
        const std::uint64_t gap = index.begin - end;  // a data descriptor, which has several forms
        return gap == 0 || gap == 12 || gap == 16 || gap == 20 || gap == 24;
    }

    std::string_view bytes_;
};

/// Holds values of eight bytes for those numbers of a record that have no room there, in this order (APPNOTE, 4.5.3).
/// One that holds all of them does so also where the record was damaged and leaves only some to it.
void takeZip64Field(ZipRecord& record, std::string_view field) {
    const bool hasAll = field.size() >= 24;
    for (std::uint64_t* value : {&record.size, &record.storedSize, &record.offset}) {
        const bool isLeftToIt = *value == kInZip64 && field.size() >= 8;
        if (isLeftToIt) {
            *value = zipNumber(field, 0, 8);
        }
        if (isLeftToIt || hasAll) {
            field.remove_prefix(8);
        }
    }
}

}  // namespace

void takeZip64(ZipRecord& record, std::string_view extra) {
    while (extra.size() >= 4) {
        const std::size_t size = std::min<std::size_t>(zipNumber(extra, 2, 2), extra.size() - 4);
        if (zipNumber(extra, 0, 2) == 1) {
            takeZip64Field(record, extra.substr(4, size));
        }
        extra.remove_prefix(4 + size);
    }
}

ZipIndex readZipIndex(std::string_view bytes) { return Reading(bytes).run(); }

}  // namespace flowbook::kit
