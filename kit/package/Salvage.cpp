#include "kit/package/Salvage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/EntryNames.hpp"
#include "kit/package/PackageContent.hpp"
#include "kit/package/PackageLists.hpp"
#include "kit/package/ZipRemains.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PartName.hpp"

#include <algorithm>
#include <map>
#include <set>

namespace flowbook::kit {

using opc::model::PartName;
using PartRecord = FlowbookFilePackage::Part;
using Record = FlowbookFilePackage::Relationship;

namespace {

constexpr char kTypesEntry[] = "[Content_Types].xml";
constexpr char kBytesType[] = "application/octet-stream";

using fl::i18n::to_string;
using fl::i18n::to_ustring;

bool isRelationships(const std::string& entry) {
    const std::string folded = fold(entry);
    return endsWith(folded, ".rels") && (folded.find("/_rels/") != std::string::npos || startsWith(folded, "_rels/"));
}

bool isTypes(const std::string& entry) { return fold(entry) == fold(kTypesEntry); }

std::string countOf(std::size_t bytes) { return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes"); }

/// The names of a package, of which none may be equal to another but for case, or begin with all segments of another.
class Names {
public:
    /// @returns whether the name could be taken.
    bool take(const std::string& name) { return isFree(name) && names_.insert(fold(name)).second; }

    bool isFree(const std::string& name) const {
        const std::string folded = fold(name);
        const auto after = names_.lower_bound(folded);
        return (after == names_.end() || !isWithin(folded, *after)) &&
               (after == names_.begin() || !isWithin(*std::prev(after), folded));
    }

private:
    /// Orders a name directly before those that it is the beginning of: in a set without such names, only neighbours
    /// can exclude each other.
    struct BySegments {
        bool operator()(const std::string& a, const std::string& b) const {
            return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                                [](char x, char y) { return rank(x) < rank(y); });
        }
        static int rank(char c) { return c == '/' ? -1 : static_cast<unsigned char>(c); }
    };

    static bool isWithin(const std::string& outer, const std::string& inner) {
        return startsWith(inner, outer) && (inner.size() == outer.size() || inner[outer.size()] == '/');
    }

    std::set<std::string, BySegments> names_;
};

class Rebuilder {
public:
    explicit Rebuilder(ZipRemains remains) : pieces_(std::move(remains.pieces)), areAll_(remains.areAll) {}

    Salvaged run() {
        readLists();
        settleNames();
        for (const bool isReferredTo : {true, false}) {
            addPieces(isReferredTo);
        }
        addSetAside();
        addRelationships();
        tellGone();
        write();
        return std::move(result_);
    }

private:
    static bool isWhole(const ZipPiece& piece) { return piece.isWhole && !piece.isOlder; }

    /// Reads the lists of types and relationships, which tell what parts there were.
    void readLists() {
        bool areTypesWhole = false;
        for (ZipPiece& piece : pieces_) {
            if (piece.isSpare) {
                continue;
            }
            if (isTypes(piece.name) || isTypes(piece.otherName)) {
                areTypesWhole = types_.read(piece.content) && isWhole(piece);
            } else if (isRelationships(piece.name)) {
                Source& source = sources_[fold(piece.name)];
                piece.isSpare = source.isWhole;
                if (!piece.isSpare) {
                    source.isWhole = readRelationships(piece.content, source.records) && isWhole(piece);
                }
            }
        }
        areTypesWhole_ = areTypesWhole;
        if (!areTypesWhole && !pieces_.empty()) {
            result_.rebuilt.emplace_back("the content types, from names");
        }
    }

    /// Of two names of one entry, one that the package speaks of is the right one.
    void settleNames() {
        for (const std::string& name : types_.names()) {
            know(name);
        }
        for (const ZipPiece& piece : pieces_) {
            const auto source = sources_.find(fold(piece.name));
            for (const Record& record : source == sources_.end() ? std::vector<Record>() : source->second.records) {
                know(targetOf(record, sourceOf(piece.name)));
            }
        }
        Names sure;
        for (const ZipPiece& piece : pieces_) {
            if (piece.otherName.empty() && !piece.isSpare && !piece.isOlder) {
                sure.take(piece.name);
            }
        }
        for (ZipPiece& piece : pieces_) {
            if (!piece.otherName.empty()) {
                settleName(piece, sure);
            }
        }
    }

    void know(const std::string& partName) {
        if (startsWith(partName, "/")) {
            exact_.insert(partName.substr(1));
            known_.insert(fold(partName.substr(1)));
        }
    }

    /// @param sure  the names that are settled, none of which another entry can have.
    void settleName(ZipPiece& piece, Names& sure) {
        const int rank = piece.isSpare || !sure.isFree(piece.name) ? -1 : rankOf(piece.name);
        const int otherRank = sure.isFree(piece.otherName) ? rankOf(piece.otherName) : -1;
        if (rank < otherRank) {
            if (!piece.isSpare) {
                sources_.erase(fold(piece.name));
            }
            piece.name.swap(piece.otherName);
        }
        if (rank == otherRank || std::max(rank, otherRank) == 0) {
            result_.rebuilt.push_back("the name /" + piece.name + ", of which the file also tells /" + piece.otherName);
        }
        piece.isSpare = !sure.take(piece.name);
        rereadRelationships(piece);
    }

    /// How well the package knows a name: letter for letter, but for case, or not at all; -1 for what is no name.
    int rankOf(const std::string& entry) const {
        const bool isFixed = entry == kTypesEntry || entry == relationshipsEntry("");
        const std::string& name = isRelationships(entry) ? sourceOf(entry).substr(1) : entry;
        const bool isExact = isFixed || exact_.count(name) != 0;
        const int unknown = canBeEntry(entry) ? 0 : -1;
        return isExact ? 2 : isSpokenOf(entry) ? 1 : unknown;
    }

    void rereadRelationships(const ZipPiece& piece) {
        if (isRelationships(piece.name) && !piece.isSpare) {
            Source source;
            source.isWhole = readRelationships(piece.content, source.records) && isWhole(piece);
            sources_[fold(piece.name)] = std::move(source);
        }
    }

    bool isSpokenOf(const std::string& entry) const {
        if (isTypes(entry) || (isRelationships(entry) && sourceOf(entry) == "/")) {
            return true;
        }
        const std::string folded = fold(isRelationships(entry) ? sourceOf(entry).substr(1) : entry);
        return known_.count(folded) != 0;
    }

    /// The part that the relationships in an entry start from; "/" for the package.
    static std::string sourceOf(const std::string& relationships) {
        const std::size_t slash = relationships.rfind('/');
        const std::size_t folder = slash == std::string::npos ? 0 : relationships.rfind('/', slash - 1) + 1;
        const std::string name = relationships.substr(slash + 1, relationships.size() - slash - 1 - 5);
        return "/" + relationships.substr(0, folder) + name;
    }

    /// Those that something refers to come first, so that they keep their names.
    void addPieces(bool isReferredTo) {
        for (ZipPiece& piece : pieces_) {
            const bool isList = isTypes(piece.name) && !piece.isSpare;
            if (isList || isSpokenOf(piece.name) != isReferredTo) {
                continue;
            }
            if (!isWhole(piece) || piece.isSpare) {
                setAside_.push_back(&piece);
            } else if (!isRelationships(piece.name)) {
                addEntry(piece);
            }
        }
    }

    void addEntry(ZipPiece& piece) {
        const std::string name = "/" + piece.name;
        const bool canBePart = PartName::isValid(name);
        std::u16string type = types_.told(name);
        if (type.empty() && !areTypesWhole_) {
            type = PartTypes::guess(name, piece.content);
        }
        if (!takeEntry(piece.name)) {
            setAside_.push_back(&piece);
        } else if (canBePart && !type.empty()) {
            addPart(name, std::move(type), std::move(piece.content));
            result_.saved.push_back(name);
        } else {
            content_.others[piece.name] = std::move(piece.content);
            result_.saved.push_back(name);
        }
    }

    bool takeEntry(const std::string& entry) { return canBeEntry(entry) && names_.take("/" + entry); }

    /// Whether a package can be written that has such an entry: a damaged name may hold any bytes.
    static bool canBeEntry(const std::string& entry) {
        // Without a relationship or a part there is no package that the entry could be added to.
        const Record any{documentRelationshipType(), u"/a", u"rId1", true};
        return PartName::isValid("/" + entry) || canBeWritten({{}, {any}, {{entry, {}}}});
    }

    void addPart(const std::string& name, std::u16string type, fl::Bytes content) {
        partsByName_.emplace(fold(name), content_.parts.size());
        content_.parts.push_back({std::move(content), std::move(type), to_ustring(name), {}});
    }

    /// What is not as it was goes where nothing takes it for what it was.
    void addSetAside() {
        for (ZipPiece* piece : setAside_) {
            // What is read of a list of relationships is told with these.
            if (piece->isSpare || !isRelationships(piece->name)) {
                addSetAside(*piece);
            }
        }
    }

    void addSetAside(ZipPiece& piece) {
        const char* const folder = piece.isOlder ? "/older/" : piece.isWhole ? "/renamed/" : "/damaged/";
        const char* const words = piece.isOlder            ? ": an older version is whole"
                                  : !piece.isWhole         ? ": the content is damaged or gone"
                                  : piece.isSpare          ? ": another entry has this name"
                                  : canBeEntry(piece.name) ? ": another name excludes this one"
                                                           : ": no entry can have this name";
        std::string place;
        if (!piece.content.empty()) {
            place = "; " + countOf(piece.content.size()) + " of it are in ";
            place += addAside(folder, piece.name, std::move(piece.content));
        }
        result_.lost.push_back("/" + piece.name + words + place);
        told_.insert(fold("/" + piece.name));
    }

    std::string addAside(const std::string& folder, const std::string& entry, fl::Bytes content) {
        std::string name = folder + entry;
        if (!PartName::isValid(name) || isRelationships(entry)) {
            name = folder + "entry" + std::to_string(content_.parts.size() + 1);
        }
        name = freeName(name);
        addPart(name, to_ustring(kBytesType), std::move(content));
        return name;
    }

    std::string freeName(const std::string& wanted) {
        std::string name = wanted;
        for (std::size_t number = 2; !names_.take(name); ++number) {
            name = wanted + "-" + std::to_string(number);
        }
        return name;
    }

    void addRelationships() {
        const Strings pictures = picturesLeft();
        const auto ofPackage = sources_.find(relationshipsEntry(""));
        const bool isPackageListWhole = ofPackage != sources_.end() && ofPackage->second.isWhole;
        content_.relationships = take("/", u"", {});
        addEmptyCode(isPackageListWhole);
        for (PartRecord& part : content_.parts) {
            part.relationships = take(to_string(part.partName), part.contentType, pictures);
        }
        carryRest();
    }

    using Strings = std::vector<std::string>;

    /// The pictures that no list tells a relationship to.
    Strings picturesLeft() {
        std::set<std::string> reached;
        for (const auto& [entry, source] : sources_) {
            for (const Record& record : source.records) {
                reached.insert(source.isWhole ? fold(targetOf(record, sourceOf(entry))) : "");
            }
        }
        Strings pictures;
        for (const PartRecord& part : content_.parts) {
            const std::string name = to_string(part.partName);
            if (isPictureType(part.contentType) && reached.count(fold(name)) == 0) {
                pictures.push_back(name);
            }
        }
        return pictures;
    }

    /// The relationships of a source: those that its list tells, and guesses where there is no whole list.
    /// @param type  of the source; empty for the package.
    std::vector<Record> take(const std::string& name, const std::u16string& type, const Strings& pictures) {
        const auto found = sources_.find(fold(relationshipsEntry(name.substr(1))));
        const bool isThere = found != sources_.end();
        std::vector<Record> records;
        bool isWholeList = !isThere && areAll_ && name != "/";
        if (isThere) {
            records = std::move(found->second.records);
            isWholeList = found->second.isWhole;
            sources_.erase(found);
        }
        if (!isWholeList) {
            keepCredible(records, name);
            addGuesses(records, name, isCodeType(type) ? pictures : Strings(), isThere);
            if (isCodeType(type)) {
                tellShown(records, name);
            }
        }
        return records;
    }

    /// Of what a damaged list tells, that which leads to a part, and a picture that the text shows.
    void keepCredible(std::vector<Record>& records, const std::string& source) {
        if (records.empty()) {
            return;
        }
        const std::vector<std::string> shown = shownPictures(contentOf(source));
        const std::u16string type = pictureRelationshipType();
        const auto isDoubtful = [&](const Record& record) {
            const auto part = partsByName_.find(fold(targetOf(record, source)));
            const bool isPicture =
                part != partsByName_.end() && isPictureType(content_.parts[part->second].contentType);
            const bool isShown = std::find(shown.begin(), shown.end(), to_string(record.id)) != shown.end();
            return (record.isInternal && part == partsByName_.end()) || isShown != (isPicture && !shown.empty()) ||
                   (isPicture && record.type != type);
        };
        records.erase(std::remove_if(records.begin(), records.end(), isDoubtful), records.end());
        dropFaulty(records, source);
        result_.rebuilt.push_back("relationships of " + source + ", from what is left of their list");
    }

    /// Pictures that a text shows and no relationship leads to.
    void tellShown(const std::vector<Record>& records, const std::string& source) {
        std::set<std::string> ids;
        for (const Record& record : records) {
            ids.insert(to_string(record.id));
        }
        for (const std::string& id : shownPictures(contentOf(source))) {
            if (ids.count(id) == 0) {
                result_.lost.push_back("the picture that " + source + " shows by " + id +
                                       ": no relationship to it is left");
            }
        }
    }

    /// @param wasThere  whether there was a list; else there may have been none.
    void addGuesses(std::vector<Record>& records, const std::string& name, const Strings& pictures, bool wasThere) {
        std::vector<Record> guesses =
            name == "/" ? guessPackage(records) : guessPictures(contentOf(name), pictures, records);
        if (wasThere && guesses.empty()) {
            result_.lost.push_back("relationships of " + name + ": their list is damaged");
        }
        for (Record& guess : guesses) {
            result_.rebuilt.push_back("the relationship " + to_string(guess.id) + " of " + name + " to " +
                                      to_string(guess.target) + ", a guess from names");
            records.push_back(std::move(guess));
        }
    }

    /// Empty for what is no part.
    const fl::Bytes& contentOf(const std::string& name) const {
        const auto found = partsByName_.find(fold(name));
        return found == partsByName_.end() ? none_ : content_.parts[found->second].content;
    }

    std::vector<Record> guessPackage(const std::vector<Record>& known) const {
        std::set<std::u16string> types;
        std::set<std::u16string> ids;
        for (const Record& record : known) {
            types.insert(record.type);
            ids.insert(record.id);
        }
        std::vector<Record> guesses;
        std::size_t number = 0;
        for (const PartRecord& part : content_.parts) {
            const std::u16string type = packageRelationshipType(to_string(part.partName), part.contentType);
            if (type.empty() || !types.insert(type).second) {
                continue;
            }
            std::u16string id;
            do {
                id = to_ustring("rId" + std::to_string(++number));
            } while (!ids.insert(id).second);
            guesses.push_back({type, part.partName, id, true});
        }
        return guesses;
    }

    /// Lists whose source is not there stay as entries, or are set aside where they cannot.
    void carryRest() {
        for (ZipPiece& piece : pieces_) {
            const bool isLeft = isRelationships(piece.name) && sources_.count(fold(piece.name)) != 0;
            if (!isLeft || piece.isSpare || (piece.isWhole && piece.content.empty())) {
                continue;
            }
            if (isWhole(piece) && takeEntry(piece.name)) {
                content_.others[piece.name] = std::move(piece.content);
                result_.saved.push_back("/" + piece.name);
            } else {
                addSetAside(piece);
            }
        }
    }

    /// A flowbook without code cannot be read. A package that never had any stays as it is.
    void addEmptyCode(bool isPackageListWhole) {
        const std::u16string& type = documentRelationshipType();
        auto& all = content_.relationships;
        auto led = std::find_if(all.begin(), all.end(), [&](const Record& each) { return each.type == type; });
        const std::string target = led == all.end() ? "" : targetOf(*led, "/");
        if (content_.parts.empty() || partsByName_.count(fold(target)) != 0) {
            return;
        }
        if (told_.count(fold(target)) == 0) {
            result_.lost.emplace_back("the code: there is no document part");
            told_.insert(fold(target));
        }
        if (led == all.end() && isPackageListWhole) {
            return;
        }
        PartRecord code = FlowbookFilePackage::createEmptyDocumentPart();
        const std::string name = freeName(target.empty() ? to_string(code.partName) : target);
        if (led == all.end()) {
            led = all.insert(all.end(), {type, u"", freeId(all), true});
        }
        led->target = target == name ? led->target : to_ustring(name);
        addPart(name, code.contentType, std::move(code.content));
        result_.rebuilt.push_back("empty code in " + name + ", in the place of the code that is lost");
    }

    static std::u16string freeId(const std::vector<Record>& records) {
        std::set<std::u16string> ids;
        for (const Record& record : records) {
            ids.insert(record.id);
        }
        std::size_t number = 1;
        while (ids.count(to_ustring("rId" + std::to_string(number))) != 0) {
            ++number;
        }
        return to_ustring("rId" + std::to_string(number));
    }

    /// What nothing is left of but what leads to it.
    void tellGone(const std::vector<Record>& records, const std::string& source) {
        for (const Record& record : records) {
            const std::string name = targetOf(record, source);
            if (!name.empty() && partsByName_.count(fold(name)) == 0 && told_.insert(fold(name)).second) {
                result_.lost.push_back(name + ": only a relationship to it is left");
            }
        }
    }

    void tellGone() {
        tellGone(content_.relationships, "/");
        for (const PartRecord& part : content_.parts) {
            tellGone(part.relationships, to_string(part.partName));
        }
        for (const std::string& name : types_.names()) {
            const std::string folded = fold(name);
            const bool isThere = partsByName_.count(folded) != 0;
            if (!isThere && !areAll_ && !isRelationships(name) && told_.insert(folded).second) {
                result_.lost.push_back(name + ": only its content type is left");
            }
        }
    }

    /// The part name that a relationship leads to; empty for what leads to none.
    static std::string targetOf(const Record& record, const std::string& source) {
        try {
            using opc::model::URI;
            return record.isInternal ? PartName(URI(record.target).resolvedAgainst(URI(to_ustring(source)))).ascii()
                                     : "";
        } catch (const opc::Exception&) {
            return "";
        }
    }

    void write() {
        if (content_.parts.empty() && content_.others.empty()) {
            return;
        }
        std::string fault = tryToWrite(content_);
        if (!fault.empty()) {
            dropFaulty(content_.relationships, "/");
            for (PartRecord& part : content_.parts) {
                dropFaulty(part.relationships, to_string(part.partName));
            }
            fault = tryToWrite(content_);
        }
        for (std::size_t dropped = 0; !fault.empty() && !content_.parts.empty() && dropped < kMostDropped; ++dropped) {
            dropFirstFaulty();
            fault = tryToWrite(content_);
        }
        if (!fault.empty()) {
            result_.saved.clear();
            result_.lost.push_back("everything, as it makes no package: " + fault);
        }
    }

    /// Leaves out the part with which those before it make no package any more.
    void dropFirstFaulty() {
        std::size_t good = 0;
        std::size_t bad = content_.parts.size();
        std::string fault;
        while (bad - good > 1) {
            const std::size_t middle = good + (bad - good) / 2;
            const auto end = content_.parts.begin() + static_cast<std::ptrdiff_t>(middle);
            const std::string found = tryToWrite({{content_.parts.begin(), end}, {}, {}});
            (found.empty() ? good : bad) = middle;
            fault = found.empty() ? fault : found;
        }
        const auto dropped = content_.parts.begin() + static_cast<std::ptrdiff_t>(bad - 1);
        const std::string name = to_string(dropped->partName);
        result_.lost.push_back(name + ": it cannot be written: " + fault);
        result_.saved.erase(std::remove(result_.saved.begin(), result_.saved.end(), name), result_.saved.end());
        content_.parts.erase(dropped);
    }

    /// Why it cannot be written; empty when it was.
    std::string tryToWrite(PackageContent content) {
        try {
            result_.flowbook = writeContent(std::move(content));
            return "";
        } catch (const opc::Exception& failure) {
            result_.flowbook.reset();
            result_.isOverLimit |= failure.kind() == opc::ErrorKind::LimitExceeded;
            return failure.what();
        }
    }

    void dropFaulty(std::vector<Record>& records, const std::string& source) {
        std::set<std::u16string> ids;
        const auto isFaulty = [&](const Record& record) {
            return !ids.insert(record.id).second || !canBeWritten({{}, {record}, {}});
        };
        std::vector<Record> good;
        for (Record& record : records) {
            if (isFaulty(record)) {
                result_.lost.push_back("a faulty relationship of " + source + ": " + to_string(record.id) + " to " +
                                       to_string(record.target));
            } else {
                good.push_back(std::move(record));
            }
        }
        records = std::move(good);
    }

    static bool canBeWritten(PackageContent content) {
        try {
            writeContent(std::move(content));
            return true;
        } catch (const opc::Exception&) {
            return false;
        }
    }

    /// A list of relationships, as far as it could be read.
    struct Source {
        std::vector<Record> records;
        bool isWhole = false;
    };

    static constexpr std::size_t kMostDropped = 64;

    std::vector<ZipPiece> pieces_;
    bool areAll_;
    bool areTypesWhole_ = false;
    PartTypes types_;
    std::map<std::string, Source> sources_;  ///< by the folded names of their entries
    std::set<std::string> exact_;            ///< the names of the entries that types or relationships speak of
    std::set<std::string> known_;            ///< the same, folded
    const fl::Bytes none_;
    Names names_;
    std::vector<ZipPiece*> setAside_;
    PackageContent content_;
    std::map<std::string, std::size_t> partsByName_;  ///< by folded names
    std::set<std::string> told_;                      ///< folded names of what is lost
    Salvaged result_;
};

}  // namespace

Salvaged salvage(const fl::Bytes& remains) {
    return Rebuilder(findEntries({reinterpret_cast<const char*>(remains.data()), remains.size()})).run();
}

}  // namespace flowbook::kit
