#include "kit/package/ZipRemains.hpp"

#include "kit/package/Inflater.hpp"
#include "kit/package/ZipFields.hpp"
#include "kit/package/ZipIndex.hpp"
#include "opc/Limits.hpp"

#include <algorithm>
#include <functional>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

namespace flowbook::kit {

namespace {

constexpr unsigned kHasDescriptor = 8;
constexpr unsigned kVersionOfZip64 = 45;
constexpr std::uint64_t kHeldOfSmallFile = std::uint64_t{1} << 30;
constexpr std::uint64_t kMostHeldRatio = 64;
constexpr std::size_t kLongestUnsure = 1024;  ///< of names of which it is not known whether they are names
/// How well it is deflated, that there is a descriptor, and that the name is UTF-8.
constexpr unsigned kUsualFlags = 1U << 1 | 1U << 2 | kHasDescriptor | 1U << 11;

/// What describes an entry: records of the index and local headers have the same fields.
using Witnesses = std::vector<const ZipRecord*>;

struct LocalHeader : ZipRecord {
    std::size_t dataAt = 0;
};

/// An entry that is whole, and where its data lie.
struct Found {
    fl::Bytes content;
    std::size_t begin;
    std::size_t end;
};

enum class Standing { Outside, Older, Unlisted, Listed };

/// A piece, and where it was found.
struct Placed {
    ZipPiece piece;
    std::uint64_t at;
    Standing standing;
    bool isTaken = false;
    bool isBeside = false;
};

/// Whether a record or header has a checksum and sizes, and does not leave them to a data descriptor.
bool statesChecksum(const ZipRecord& witness) {
    return (witness.flags & kHasDescriptor) == 0 || witness.size != 0 || witness.crc != 0;
}

bool statesSizes(const ZipRecord& witness) {
    return statesChecksum(witness) && witness.size != kInZip64 && witness.storedSize != kInZip64;
}

class Search {
public:
    explicit Search(std::string_view bytes)
        : bytes_(bytes), index_(readZipIndex(bytes)), unsearched_(64 * (bytes.size() + 65536)) {}

    ZipRemains run() {
        takeRecords();
        firstEntry_ = beginOfEntries();
        const bool isSound = index_.isWhole && std::all_of(index_.records.begin(), index_.records.end(),
                                                           [this](const auto& record) { return isUsual(record); });
        for (const auto& [name, place] : left_) {
            leftByPlace_.emplace(place.at, name);
            if (place.record->size != 0) {
                leftByChecksum_.emplace(place.record->crc, name);
            }
        }
        if (!index_.isWhole || !left_.empty() || isParted_ || hasSignatureIn(0, beginOfEntries()) ||
            hasSignatureIn(index_.begin, bytes_.size())) {
            scan();
        }
        addRecordsLeft();
        ZipRemains remains{{}, {}, index_.isWhole, isSound};
        takePieces(remains);
        return remains;
    }

private:
    std::uint64_t number(std::size_t at, std::size_t width) const { return zipNumber(bytes_, at, width); }
    bool standsAt(std::uint64_t at, std::string_view signature) const {
        return at < bytes_.size() && zipStandsAt(bytes_, static_cast<std::size_t>(at), signature);
    }

    /// Where the first entry lies that was found by a record.
    std::size_t beginOfEntries() const {
        return claimed_.empty() ? index_.begin : static_cast<std::size_t>(claimed_.begin()->first);
    }

    /// Whether a place lies before or behind all that the index lists, as another file does that was joined to it. It
    /// may lie between them, too, where some entries are where the index says and others are further on.
    bool isOutside(std::uint64_t at) const { return at < firstEntry_ || at > index_.begin || isParted_; }

    /// Nothing when there is no local header; its signature is not looked at.
    std::optional<LocalHeader> headerAt(std::uint64_t place) const {
        if (place >= bytes_.size() || bytes_.size() - place < kLocalSize) {
            return std::nullopt;
        }
        const auto at = static_cast<std::size_t>(place);
        const std::size_t nameSize = number(at + 26, 2);
        LocalHeader header;
        header.dataAt = at + kLocalSize + nameSize + number(at + 28, 2);
        if (nameSize == 0 || header.dataAt > bytes_.size()) {
            return std::nullopt;
        }
        header.version = static_cast<unsigned>(number(at + 4, 2));
        header.flags = static_cast<unsigned>(number(at + 6, 2));
        header.method = static_cast<unsigned>(number(at + 8, 2));
        header.crc = number(at + 14, 4);
        header.storedSize = number(at + 18, 4);
        header.size = number(at + 22, 4);
        header.offset = at;
        header.at = at;
        header.name = bytes_.substr(at + kLocalSize, nameSize);
        takeZip64(header, bytes_.substr(at + kLocalSize + nameSize, number(at + 28, 2)));
        return header;
    }

    bool hasHeaderAt(std::uint64_t at, const ZipRecord& record) const {
        return standsAt(at, kLocalHeader) && standsAt(at + kLocalSize, record.name);
    }

    bool isUsual(const ZipRecord& record) const {
        const std::optional<LocalHeader> header = headerAt(record.offset);
        const bool isFolder = record.name.back() == '/';
        return header && standsAt(record.offset, kLocalHeader) && header->name == record.name &&
               header->version == record.version && header->flags == record.flags && header->method == record.method &&
               record.version <= kVersionOfZip64 && (record.flags & ~kUsualFlags) == 0 &&
               (!isFolder || (record.size == 0 && record.crc == 0)) && agreesOnContent(*header, record);
    }

    /// Whether the local header, or the data descriptor in its place, has the size and checksum of a record.
    bool agreesOnContent(const LocalHeader& header, const ZipRecord& record) const {
        const bool isStreamed = (record.flags & kHasDescriptor) != 0 && !statesChecksum(header);
        if (isStreamed && header.storedSize == 0 && record.storedSize <= bytes_.size() - header.dataAt) {
            return crcBehind(header.dataAt + static_cast<std::size_t>(record.storedSize)) == record.crc;
        }
        return header.crc == record.crc && header.size == record.size && header.storedSize == record.storedSize;
    }

    /// A record, where its local header lies or should, and where the next one does.
    struct Place {
        const ZipRecord* record;
        std::uint64_t at;
        std::uint64_t bound;
    };

    /// All records in the order of their entries. What lies behind a place where bytes are missing, or too many, is as
    /// much further as the index is.
    std::vector<Place> places() {
        std::vector<Place> all;
        for (const ZipRecord& record : index_.records) {
            all.push_back({&record, record.offset, 0});
        }
        std::stable_sort(all.begin(), all.end(), [](const Place& a, const Place& b) { return a.at < b.at; });
        bool isMoved = true;
        std::uint64_t bound = index_.begin;
        for (auto each = all.rbegin(); each != all.rend(); ++each) {
            const std::uint64_t moved = each->at + index_.shift;
            const bool isHere = hasHeaderAt(each->at, *each->record);
            isMoved = hasHeaderAt(moved, *each->record) || (isMoved && !isHere);
            isParted_ = isParted_ || (isHere && !isMoved && index_.shift != 0);
            each->at = isMoved ? moved : each->at;
            each->bound = std::min<std::uint64_t>(bound, bytes_.size());
            bound = each->at;
        }
        return all;
    }

    /// Takes the entries that are where the index says; the others are left.
    void takeRecords() {
        for (const Place& place : places()) {
            const ZipRecord& record = *place.record;
            const std::optional<LocalHeader> header = headerAt(place.at);
            const bool agrees = header && header->name == record.name;
            const Witnesses witnesses = agrees ? Witnesses{&record, &*header} : Witnesses{&record};
            std::optional<Found> found;
            if (index_.isWhole || isCredible(place, header)) {
                found = readAny(place, header, witnesses);
            }
            if (found) {
                // The data may be further on than the record says; what lies between is of others.
                const bool isThere = found->begin > place.at && !hasSignatureIn(place.at + 1, found->begin);
                claimed_[isThere ? place.at : found->begin] = found->end;
                const bool hasHeader = header && standsAt(place.at, kLocalHeader);
                add({record.name, hasHeader && !agrees ? header->name : "", std::move(found->content), true}, place.at,
                    Standing::Listed);
            } else {
                left_[record.name] = place;
            }
        }
    }

    /// Whether a record leads to something like a local header of its name. Where the index is not whole, the record
    /// may be of a zip file that an entry holds.
    bool isCredible(const Place& place, const std::optional<LocalHeader>& header) const {
        const std::string& name = place.record->name;
        if (standsAt(place.at + kLocalSize, name)) {
            return true;
        }
        const bool hasSize = header && standsAt(place.at, kLocalHeader) && header->name.size() == name.size();
        const auto differ = [&] {
            return std::inner_product(name.begin(), name.end(), header->name.begin(), 0, std::plus<>(),
                                      std::not_equal_to<>());
        };
        return hasSize && differ() <= 1;
    }

    std::optional<Found> readAny(const Place& place, const std::optional<LocalHeader>& header,
                                 const Witnesses& witnesses) {
        const ZipRecord& record = *place.record;
        for (const std::size_t dataAt : dataPlaces(place, header)) {
            std::optional<Found> found = read(dataAt, witnesses, place.bound, !hasHeaderAt(place.at, record));
            // The checksum in the record may be what is damaged. An older entry of the name has another size, too.
            const bool hasSize = found && header && dataAt == header->dataAt && found->content.size() == record.size;
            if (hasSize || (found && crcOf(found->content) == record.crc)) {
                return found;
            }
        }
        return std::nullopt;
    }

    /// Looks for local headers outside of the entries that were found.
    void scan() {
        for (std::size_t at = bytes_.find(kLocalHeader); at != std::string_view::npos;) {
            const std::uint64_t claimed = endOfClaimed(at);
            const std::uint64_t next = claimed > at ? claimed : takeHeader(at);
            at = bytes_.find(kLocalHeader, std::max(static_cast<std::size_t>(next), at + kLocalHeader.size()));
        }
        for (std::size_t size = 1; size < kLocalHeader.size(); ++size) {
            const bool isCutOff =
                bytes_.size() >= size && bytes_.substr(bytes_.size() - size) == kLocalHeader.substr(0, size);
            if (isCutOff && index_.records.empty()) {
                addCutOff(bytes_.size() - size);
            }
        }
    }

    /// The end of the entry that a place lies in; 0 when it lies in none.
    std::uint64_t endOfClaimed(std::uint64_t at) const {
        const auto after = claimed_.upper_bound(at);
        return after == claimed_.begin() ? 0 : std::prev(after)->second;
    }

    /// Takes the entry at a local header. @returns where to look on.
    std::uint64_t takeHeader(std::size_t at) {
        const std::optional<LocalHeader> header = headerAt(at);
        if (!header) {
            addCutOff(at);
            return at;
        }
        const auto left = left_.find(header->name);
        const ZipRecord* const record = left == left_.end() ? nullptr : left->second.record;
        const Witnesses witnesses = record != nullptr ? Witnesses{&*header, record} : Witnesses{&*header};
        std::optional<Found> found = read(header->dataAt, witnesses, bytes_.size());
        if (!found) {
            return takeUnread(*header, record, witnesses);
        }
        claimed_[at] = found->end;
        const std::uint64_t end = found->end;
        takeFound(*header, std::move(found->content));
        return end;
    }

    /// What cannot be read may be no entry at all, but bytes that look like the signature of one: then the next one is
    /// looked for from here.
    std::uint64_t takeUnread(const LocalHeader& header, const ZipRecord* record, const Witnesses& witnesses) {
        const auto at = static_cast<std::size_t>(header.offset);
        const bool holdsSignature = hasSignatureIn(at + kLocalHeader.size(), header.dataAt);
        if (holdsSignature || (index_.isWhole && record == nullptr && !isOutside(at))) {
            return at;
        }
        const bool holdsRecord = header.name.find(kIndexRecord) != std::string::npos;
        if (record == nullptr && (holdsRecord || !isPlausible(header))) {
            addCutOff(at);
            return at;
        }
        return takeDamaged(header, record, witnesses);
    }

    /// Whether a header holds what programs write: methods and versions have small numbers.
    static bool isPlausible(const LocalHeader& header) { return header.method < 100 && (header.version & 255U) < 64; }

    bool hasSignatureIn(std::size_t begin, std::size_t end) const {
        return bytes_.substr(0, end).find(kLocalHeader, begin) != std::string_view::npos;
    }

    /// Adds an entry that is whole, which a record of its name may describe, or one with another name.
    void takeFound(const LocalHeader& header, fl::Bytes content) {
        const std::uint32_t crc = crcOf(content);
        const auto left = leftFor(header, crc, content.size());
        if (left == left_.end()) {
            addUnlisted(header, std::move(content));
            return;
        }
        const ZipRecord& record = *left->second.record;
        ZipPiece piece{left->first, otherNameOf(header, left->first), std::move(content), true};
        if (record.crc == crc) {
            left_.erase(left);
            add(std::move(piece), header.at, Standing::Listed);
        } else if (isPlaceLost(left->second)) {
            settled_.insert(left->first);
            add(std::move(piece), header.at, Standing::Listed);
        } else {
            add(std::move(piece), header.at, index_.isWhole ? Standing::Older : Standing::Unlisted);
        }
    }

    /// Whether the place of its entry that a record gives is damaged.
    bool isPlaceLost(const Place& place) const {
        return place.record->offset == kInZip64 || place.at >= index_.begin || endOfClaimed(place.at) > place.at;
    }

    /// Adds a whole entry that no record describes. Where the index is whole, it may be one whose record is damaged.
    void addUnlisted(const LocalHeader& header, fl::Bytes content) {
        const bool isOfOtherFile = index_.isWhole && isOutside(header.at);
        ZipPiece piece{header.name, "", std::move(content), true};
        piece.isUnlisted = index_.isWhole && !isOfOtherFile;
        add(std::move(piece), header.at, isOfOtherFile ? Standing::Outside : Standing::Unlisted);
    }

    static std::string otherNameOf(const LocalHeader& header, const std::string& name) {
        return header.name == name ? "" : header.name;
    }

    /// The record that may describe an entry: by its name, else by its place, and in a whole index by its content.
    std::map<std::string, Place>::iterator leftFor(const LocalHeader& header, std::uint64_t crc, std::uint64_t size) {
        const auto named = left_.find(header.name);
        if (named != left_.end()) {
            return named;
        }
        const auto there = leftByPlace_.find(header.at);
        const auto byPlace = there == leftByPlace_.end() ? left_.end() : left_.find(there->second);
        if (!index_.isWhole) {
            return byPlace != left_.end() && byPlace->second.record->crc == crc ? byPlace : left_.end();
        }
        const auto alike = leftByChecksum_.find(crc);
        const auto byContent = alike == leftByChecksum_.end() ? left_.end() : left_.find(alike->second);
        if (byContent != left_.end()) {
            const std::uint64_t stated = byContent->second.record->size;
            return stated == size || stated == kInZip64 ? byContent : left_.end();
        }
        return byPlace;
    }

    /// A local header that is not there as a whole, with as much of its name as there is.
    void addCutOff(std::size_t at) {
        if (!index_.isWhole && leftByPlace_.count(at) == 0) {
            const std::size_t nameAt = std::min(at + kLocalSize, bytes_.size());
            const std::string name(bytes_.substr(nameAt, nameAt == bytes_.size() ? 0 : number(at + 26, 2)));
            const bool isName = !name.empty() && name.size() < kLongestUnsure &&
                                std::all_of(name.begin(), name.end(), [](unsigned char c) { return c >= ' '; });
            add({isName ? name : "entry at byte " + std::to_string(at), "", {}, false}, at, Standing::Unlisted);
        }
    }

    std::uint64_t takeDamaged(const LocalHeader& header, const ZipRecord* record, const Witnesses& witnesses) {
        const std::size_t end = endOfDamaged(header, witnesses);
        const bool isListed = record != nullptr && left_.at(header.name).at == header.offset;
        const bool isOfOtherFile = index_.isWhole && isOutside(header.offset) && leftByPlace_.count(header.at) == 0;
        if (isListed || isOfOtherFile || (record == nullptr && !index_.isWhole)) {
            add({header.name, "", remainsAt(header.dataAt, end, witnesses), false}, header.offset,
                isListed        ? Standing::Listed
                : isOfOtherFile ? Standing::Outside
                                : Standing::Unlisted);
            claimed_[header.offset] = end;
        }
        if (isListed) {
            settled_.insert(header.name);  // It stays among those left: a whole copy may follow.
        }
        return end;
    }

    /// Where the data end by their recorded size, when something begins there; else the next signature.
    std::size_t endOfDamaged(const LocalHeader& header, const Witnesses& witnesses) const {
        for (const ZipRecord* witness : witnesses) {
            const std::uint64_t end = header.dataAt + witness->storedSize;
            const bool isCutOff = end > bytes_.size() && witness->method == 0 && witness->storedSize == witness->size &&
                                  index_.records.empty();
            if (statesSizes(*witness) && (end == bytes_.size() || isCutOff || isBoundary(end))) {
                return static_cast<std::size_t>(std::min<std::uint64_t>(end, bytes_.size()));
            }
        }
        const bool holdsZip = header.method != kDeflated && standsAt(header.dataAt, kLocalHeader);
        if (holdsZip) {
            const std::size_t end = bytes_.find(kEndRecord, header.dataAt);
            return end == std::string_view::npos ? bytes_.size() : end;
        }
        return nextBoundary(header.dataAt);
    }

    bool isBoundary(std::uint64_t at) const {
        return standsAt(at, kLocalHeader) || standsAt(at, kIndexRecord) || standsAt(at, kDescriptor) ||
               standsAt(at, kEndRecord);
    }

    std::size_t nextBoundary(std::size_t from) const {
        const std::size_t header = std::min(bytes_.find(kLocalHeader, from), bytes_.size());
        const std::string_view before = bytes_.substr(0, header);
        return std::min(before.find(kIndexRecord, from), header);
    }

    /// The entries that the index lists and that were not found.
    void addRecordsLeft() {
        std::map<std::uint64_t, std::size_t> older;
        for (std::size_t i = 0; i < placed_.size(); ++i) {
            older[placed_[i].at] = i;
        }
        for (const auto& [name, place] : left_) {
            const auto there = older.find(place.at);
            if (there != older.end() && placed_[there->second].piece.name == name) {
                placed_[there->second].standing = Standing::Listed;  // The record's checksum is what is damaged.
                continue;
            }
            if (endOfClaimed(place.record->at) > place.record->at || settled_.count(name) != 0) {
                continue;  // The record may be of a zip file that an entry holds.
            }
            const auto dataAt =
                static_cast<std::size_t>(std::min<std::uint64_t>(place.at + kLocalSize + name.size(), bytes_.size()));
            const bool hasData = index_.shift == 0 && endOfClaimed(place.at) <= place.at;
            const auto bound = static_cast<std::size_t>(std::max<std::uint64_t>(place.bound, dataAt));
            add({name, "", hasData ? remainsAt(dataAt, bound, {place.record}) : fl::Bytes(), false}, place.at,
                Standing::Listed);
        }
    }

    /// Where the data of an entry may begin whose local header may be damaged. The checksum decides.
    std::vector<std::size_t> dataPlaces(const Place& entry, const std::optional<LocalHeader>& header) const {
        const std::size_t nameSize = entry.record->name.size();
        std::vector<std::uint64_t> places;
        if (header) {
            places = {header->dataAt, header->dataAt - header->name.size() + nameSize};
        }
        places.push_back(entry.at + kLocalSize + nameSize);
        for (const std::uint64_t descriptor : {0, 12, 16, 20, 24}) {
            if (entry.record->storedSize != 0) {  // Nothing may stand anywhere.
                places.push_back(entry.bound - descriptor - entry.record->storedSize);
            }
        }
        std::vector<std::size_t> possible;
        for (const std::uint64_t place : places) {
            if (place <= bytes_.size() && std::find(possible.begin(), possible.end(), place) == possible.end()) {
                possible.push_back(static_cast<std::size_t>(place));
            }
        }
        return possible;
    }

    /// @param isGuess  whether it is not known that data begin at the place.
    std::optional<Found> read(std::size_t at, const Witnesses& witnesses, std::uint64_t bound, bool isGuess = false) {
        std::optional<Found> found;
        const bool isDeflated = witnesses.front()->method == kDeflated;
        for (const bool inflates : {isDeflated, !isDeflated}) {
            found = inflates ? readDeflated(at, witnesses, isGuess) : readStored(at, witnesses, bound);
            if (found) {
                break;
            }
        }
        return found;
    }

    std::optional<Found> readDeflated(std::size_t at, const Witnesses& witnesses, bool isGuess) {
        std::optional<Inflater::Inflated> inflated =
            inflater_.whole(bytes_.substr(at), witnesses.front()->size, isGuess);
        if (!inflated) {
            return std::nullopt;
        }
        Found found{std::move(inflated->content), at, at + inflated->consumed};
        const std::uint32_t crc = crcOf(found.content);
        const bool isStated = std::any_of(witnesses.begin(), witnesses.end(), [&](const ZipRecord* witness) {
            return statesChecksum(*witness) && witness->crc == crc;
        });
        // A descriptor counts for a local header only: a record may be one of another entry.
        const bool isOwn = std::any_of(witnesses.begin(), witnesses.end(), [&](const ZipRecord* witness) {
            return witness->at == witness->offset && crcBehind(found.end) == crc;
        });
        return isStated || isOwn ? std::make_optional(std::move(found)) : std::nullopt;
    }

    /// The checksum in the data descriptor at a place, which may have a signature.
    std::uint64_t crcBehind(std::size_t at) const {
        const std::size_t place = at + (standsAt(at, kDescriptor) ? kDescriptor.size() : 0);
        return bytes_.size() - at >= kDescriptor.size() + 4 ? number(place, 4) : kInZip64 + 1;
    }

    std::optional<Found> readStored(std::size_t at, const Witnesses& witnesses, std::uint64_t bound) {
        for (const ZipRecord* witness : witnesses) {
            for (const std::uint64_t size : {witness->storedSize, witness->size}) {
                const bool fits = statesSizes(*witness) && size <= std::min(bytes_.size() - at, kMostInflated);
                const std::size_t end = fits ? at + static_cast<std::size_t>(size) : at;
                if (fits && crcOf(at, end) == witness->crc && (size != 0 || isNothingAt(at, witnesses))) {
                    return stored(at, end);
                }
            }
        }
        const bool isStreamed = std::any_of(witnesses.begin(), witnesses.end(), [](const ZipRecord* witness) {
            return (witness->flags & kHasDescriptor) != 0 && witness->method != kDeflated;
        });
        return isStreamed ? readStreamed(at, bound) : std::nullopt;
    }

    /// Whether the record and the header of an entry both say that it is empty. Nothing has the checksum 0, as has a
    /// header whose numbers were lost.
    bool isNothingAt(std::size_t at, const Witnesses& witnesses) const {
        return (at == bytes_.size() || isBoundary(at)) &&
               std::all_of(witnesses.begin(), witnesses.end(),
                           [](const ZipRecord* witness) { return !statesSizes(*witness) || witness->size == 0; });
    }

    static std::uint32_t crcOf(const fl::Bytes& content) { return libdeflate_crc32(0, content.data(), content.size()); }

    std::uint32_t crcOf(std::size_t at, std::size_t end) const {
        return libdeflate_crc32(0, bytes_.data() + at, end - at);
    }

    Found stored(std::size_t at, std::size_t end) const {
        const std::string_view data = bytes_.substr(at, end - at);
        return {fl::Bytes(data.begin(), data.end()), at, end};
    }

    /// Stored data that end where a data descriptor, with or without its signature, has their size and checksum.
    std::optional<Found> readStreamed(std::size_t at, std::uint64_t bound) {
        const auto limit = static_cast<std::size_t>(std::min({bound, std::uint64_t{bytes_.size()}, at + unsearched_}));
        std::size_t end = at;
        while (end < limit && !hasDescriptorAt(at, end)) {
            ++end;
        }
        unsearched_ -= std::min(unsearched_, std::uint64_t{end - at});
        return end < limit ? std::make_optional(stored(at, end)) : std::nullopt;
    }

    /// Whether data from one place end at another. An empty entry has a descriptor of zeros, as lost blocks have.
    bool hasDescriptorAt(std::size_t at, std::size_t end) {
        const std::uint64_t size = end - at;
        for (const std::size_t signature : {std::size_t{0}, kDescriptor.size()}) {
            const std::size_t sizeAt = end + signature + 4;
            const bool isStated = sizeAt + 4 <= bytes_.size() &&
                                  static_cast<unsigned char>(bytes_[sizeAt]) == (size & 255U) &&
                                  number(sizeAt, 4) == size && (signature == 0 || standsAt(end, kDescriptor));
            if (isStated && (size != 0 || signature != 0) && size <= unsearched_) {
                unsearched_ -= size;
                if (number(sizeAt - 4, 4) == crcOf(at, end)) {
                    return true;
                }
            }
        }
        return false;
    }

    /// As much as can be read of an entry that is not whole.
    fl::Bytes remainsAt(std::size_t at, std::size_t bound, const Witnesses& witnesses) {
        const ZipRecord& witness = *witnesses.front();
        const std::string_view data = bytes_.substr(at, std::max(at, bound) - at);
        const std::uint64_t size = statesSizes(witness) ? witness.size : kMostInflated;
        if (witness.method == kDeflated) {
            return inflater_.prefix(data, size);
        }
        const std::string_view kept =
            data.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(size, kMostInflated)));
        return witness.method == 0 ? fl::Bytes(kept.begin(), kept.end()) : fl::Bytes();
    }

    void add(ZipPiece piece, std::uint64_t at, Standing standing) {
        const std::string& other = piece.otherName;
        held_ += piece.content.size();
        if (held_ > mostHeld()) {
            held_ -= piece.content.size();
            fl::Bytes().swap(piece.content);  // which also frees the memory
            piece.isWhole = false;
            piece.isTooMuch = true;
        }
        const bool isFolder =
            piece.name.back() == '/' && (other.empty() || other.back() == '/') && piece.content.empty();
        if (!isFolder) {
            placed_.push_back({std::move(piece), at, standing});
        }
    }

    /// No more than a package may hold, and for a small file less: it may have been made to take all memory.
    std::uint64_t mostHeld() const {
        const std::uint64_t usual = std::max<std::uint64_t>(kHeldOfSmallFile, kMostHeldRatio * bytes_.size());
        return std::min<std::uint64_t>(usual, opc::Limits().maxPackageSize);
    }

    /// Of several of one name, that which the index lists, else the last. Where that is damaged, the last that is
    /// whole is an older one. Others that the index lists, too, are spares; what no whole index rules out is kept
    /// beside them.
    void takePieces(ZipRemains& remains) {
        std::stable_sort(placed_.begin(), placed_.end(), [](const Placed& a, const Placed& b) { return a.at < b.at; });
        std::map<std::string, Placed*> best;
        std::map<std::string, const Placed*> lastWhole;
        for (Placed& each : placed_) {
            const auto [known, isNew] = best.emplace(each.piece.name, &each);
            if (!isNew && certaintyOf(*known->second) <= certaintyOf(each)) {
                known->second = &each;
            }
            if (each.piece.isWhole && each.piece.otherName.empty() && each.standing != Standing::Outside) {
                lastWhole[each.piece.name] = &each;
            }
        }
        const bool isMissingAny = std::any_of(placed_.begin(), placed_.end(), [](const Placed& each) {
            return each.standing == Standing::Listed && !each.piece.isWhole;
        });
        for (Placed& each : placed_) {
            const Placed& chosen = *best.at(each.piece.name);
            each.piece.isOlder = !chosen.piece.isWhole && lastWhole[each.piece.name] == &each;
            each.piece.isSpare = &chosen != &each && !each.piece.isOlder && each.standing == Standing::Listed;
            const bool isChosen = &chosen == &each && each.standing != Standing::Outside && !each.piece.isUnlisted;
            each.isTaken = isChosen || each.piece.isOlder || each.piece.isSpare;
            each.isBeside = !each.isTaken && mayCount(each, chosen, isMissingAny);
        }
        handOver(remains);
    }

    void handOver(ZipRemains& remains) {
        for (Placed& each : placed_) {
            if (each.isTaken || each.isBeside) {
                (each.isTaken ? remains.pieces : remains.beside).push_back(std::move(each.piece));
            }
        }
    }

    /// Whether an entry that is not the one of its name may be what is missed. A whole index rules others out, unless
    /// they are of another file, or it lists an entry that was not found and may be this one.
    /// @param chosen  the one of its name.
    bool mayCount(const Placed& placed, const Placed& chosen, bool isMissingAny) const {
        const ZipPiece& piece = placed.piece;
        const bool isChosen = &chosen == &placed;
        if (piece.isWhole && (piece.content.empty() || (!isChosen && piece.content == chosen.piece.content))) {
            return false;
        }
        if (index_.isWhole) {
            return placed.standing == Standing::Outside || (piece.isUnlisted && isMissingAny && isChosen);
        }
        return piece.isWhole;
    }

    /// How much speaks for an entry where others have its name: the index, and then that its local header agrees.
    static std::tuple<Standing, bool, bool> certaintyOf(const Placed& placed) {
        const bool isCopy = placed.standing == Standing::Listed && placed.piece.isWhole;
        return {placed.standing, isCopy, placed.piece.otherName.empty()};
    }

    std::string_view bytes_;
    ZipIndex index_;
    Inflater inflater_;
    std::uint64_t unsearched_;                             ///< bytes that may yet be searched for descriptors
    std::uint64_t held_ = 0;                               ///< bytes of all contents
    std::uint64_t firstEntry_ = 0;                         ///< where the first entry lies that the index led to
    bool isParted_ = false;                                ///< whether bytes before the index were lost or put in
    std::map<std::string, Place> left_;                    ///< by name, records whose entries were not found
    std::map<std::uint64_t, std::string> leftByChecksum_;  ///< their names
    std::map<std::uint64_t, std::string> leftByPlace_;     ///< their names
    std::set<std::string> settled_;                        ///< names of those that need no damaged piece any more
    std::map<std::uint64_t, std::uint64_t> claimed_;       ///< from the headers to the ends of entries
    std::vector<Placed> placed_;
};

}  // namespace

ZipRemains findEntries(std::string_view file) { return Search(file).run(); }

}  // namespace flowbook::kit
