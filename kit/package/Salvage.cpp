// Makes a package of what was found in a damaged file. The order matters for names: what something refers to comes
// first and keeps its name; what is set aside, damaged or doubtful comes later and gets another where its own is taken.
#include "kit/package/Salvage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/EntryNames.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/package/FoundLists.hpp"
#include "kit/package/Interleaved.hpp"
#include "kit/package/SalvagedLinks.hpp"
#include "kit/package/SalvagedPackage.hpp"
#include "opc/model/PartName.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

/// Why an entry is set aside, and where it goes.
struct AsidePlace {
    const char* folder;
    const char* words;
};

std::string countOf(std::size_t bytes) { return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes"); }

class Rebuilder {
public:
    explicit Rebuilder(ZipRemains remains)
        : pieces_(std::move(remains.pieces)), beside_(std::move(remains.beside)), areAll_(remains.areAll) {}

    /// @param sound  the file, where index and local headers agree; null elsewhere.
    Salvaged run(const fl::Bytes* sound) {
        readLists();
        for (const bool isReferredTo : {true, false}) {
            addPieces(isReferredTo);
        }
        addSetAside();
        addBeside();
        linkParts(package_, lists_, areAll_,
                  std::any_of(pieces_.begin(), pieces_.end(), [this](const auto& each) { return isListLeft(each); }));
        carryListsLeft();
        reportTypesLeft();
        if (sound != nullptr && package_.isThatOf(*sound)) {
            package_.account.flowbook = *sound;
        } else {
            package_.write();
        }
        return std::move(package_.account);
    }

private:
    void readLists() {
        lists_.read(pieces_);
        if (!lists_.areTypesWhole() && !pieces_.empty()) {
            package_.account.rebuilt.push_back({"/[Content_Types].xml", "the content types, from names"});
        }
        const std::vector<SalvageNote> doubts = lists_.settleNames(pieces_);
        package_.account.rebuilt.insert(package_.account.rebuilt.end(), doubts.begin(), doubts.end());
    }

    /// Those that something refers to come first, so that they keep their names.
    void addPieces(bool isReferredTo) {
        for (ZipPiece& piece : pieces_) {
            const bool isList = isTypesEntry(piece.name) && !piece.isSpare;
            if (isList || lists_.isSpokenOf(piece.name) != isReferredTo) {
                continue;
            }
            if (!piece.isCurrent() || piece.isSpare) {
                setAside_.push_back({&piece, placeFor(piece)});
            } else if (!isRelationshipsEntry(piece.name)) {
                addEntry(piece);
            }
        }
    }

    static AsidePlace placeFor(const ZipPiece& piece) {
        if (piece.isOlder) {
            return {"/older/", ": an older version is whole"};
        }
        if (piece.isTooMuch) {
            return {"/damaged/", ": a package with it would exceed a limit"};
        }
        if (!piece.isWhole) {
            return {"/damaged/", ": the content is damaged or gone"};
        }
        return {"/renamed/", piece.isSpare            ? ": another entry has this name"
                             : canBeEntry(piece.name) ? ": another name excludes this one"
                                                      : ": no entry can have this name"};
    }

    void addEntry(ZipPiece& piece) {
        const std::string name = "/" + piece.name;
        const bool canBePart = opc::model::PartName::isValid(name);
        const std::u16string type = typeOf(name, piece.content);
        const bool isPart = canBePart && !type.empty();
        if (isPart && isNeededXml(type) && !isWellFormedXml(piece.content)) {
            setAside_.push_back({&piece, {"/damaged/", ": its XML is damaged"}});
        } else if (!canBeEntry(piece.name) || !package_.names.take(name)) {
            setAside_.push_back({&piece, placeFor(piece)});
        } else if (isPart) {
            package_.addPart(name, type, std::move(piece.content));
            package_.account.saved.push_back(name);
        } else {
            carry(piece);
        }
    }

    /// Empty for what is no part. A list that is damaged counts less than the names and content of what is needed.
    std::u16string typeOf(const std::string& name, const fl::Bytes& content) const {
        std::u16string declared = lists_.types().declared(name);
        if (lists_.areTypesWhole()) {
            return declared;
        }
        const std::u16string guess = isCodeType(declared) ? guessCodeType(content) : PartTypes::guess(name, content);
        return declared.empty() || isCodeType(guess) || isNeededXml(guess) ? guess : declared;
    }

    void carry(ZipPiece& piece) {
        package_.content.others[piece.name] = std::move(piece.content);
        package_.account.saved.push_back("/" + piece.name);
    }

    /// What is not as it was goes where nothing takes it for what it was.
    void addSetAside() {
        for (const auto& [piece, place] : setAside_) {
            // What is read of a list of relationships is reported with these.
            if (piece->isSpare || !isRelationshipsEntry(piece->name)) {
                addAside(*piece, place);
            }
        }
    }

    void addAside(ZipPiece& piece, const AsidePlace& place) {
        const std::string name = "/" + piece.name;
        if (piece.isSpare && piece.isWhole && piece.content == package_.contentOf(name)) {
            return;  // It stands there twice, and nothing of it is lost.
        }
        package_.account.isOverLimit |= piece.isTooMuch;
        std::string words = name + place.words;
        if (!piece.content.empty()) {
            words += "; " + countOf(piece.content.size()) + " of it are in ";
            words += package_.addAside(place.folder, piece.name, std::move(piece.content));
        }
        package_.reportLost(name, words);
    }

    bool isListLeft(const ZipPiece& piece) const {
        const bool isNothing = piece.isSpare || (piece.isWhole && piece.content.empty());
        return isRelationshipsEntry(piece.name) && !isTaken(sourceOf(piece.name)) && !isNothing;
    }

    /// Lists whose source is not there stay as entries, or are set aside where they cannot.
    void carryListsLeft() {
        for (ZipPiece& piece : pieces_) {
            if (!isListLeft(piece)) {
                continue;
            }
            if (piece.isCurrent() && canBeEntry(piece.name) && package_.names.take("/" + piece.name)) {
                carry(piece);
            } else {
                addAside(piece, placeFor(piece));
            }
        }
    }

    void addBeside() {
        for (ZipPiece& piece : beside_) {
            addAside(piece, placeBeside(piece));
        }
    }

    AsidePlace placeBeside(const ZipPiece& piece) const {
        if (piece.isTooMuch) {
            return placeFor(piece);
        }
        if (!piece.isWhole) {
            return {"/damaged/", ": it is of another file, which was joined to this one, and damaged or gone"};
        }
        return {"/renamed/", !areAll_           ? ": another entry has this name, and no index says which counts"
                             : piece.isUnlisted ? ": the index does not list it, but another that was not found"
                                                : ": it is of another file, which was joined to this one"};
    }

    bool isTaken(const std::string& source) const { return source == "/" || package_.find(source) != nullptr; }

    /// Of parts that may be missing, those that have a content type.
    void reportTypesLeft() {
        for (const std::string& name : areAll_ ? std::set<std::string>() : lists_.types().names()) {
            if (package_.find(name) == nullptr && !isRelationshipsEntry(name) && !package_.isReportedLost(name)) {
                package_.reportLost(name, name + ": only its content type is left");
            }
        }
    }

    struct SetAside {
        ZipPiece* piece;
        AsidePlace place;
    };

    std::vector<ZipPiece> pieces_;
    std::vector<ZipPiece> beside_;
    const bool areAll_;
    FoundLists lists_;
    std::vector<SetAside> setAside_;
    SalvagedPackage package_;
};

/// What a file was before it was transferred as text, which puts a carriage return before each line feed; nothing when
/// there is a line feed without one.
std::optional<fl::Bytes> withoutCarriageReturns(const fl::Bytes& file) {
    fl::Bytes original;
    for (const unsigned char byte : file) {
        const bool isAfterReturn = !original.empty() && original.back() == '\r';
        if (byte == '\n' && !isAfterReturn) {
            return std::nullopt;
        }
        if (byte == '\n') {
            original.pop_back();
        }
        original.push_back(byte);
    }
    return original.size() == file.size() ? std::nullopt : std::make_optional(std::move(original));
}

std::ptrdiff_t countOfWhole(const ZipRemains& remains) {
    return std::count_if(remains.pieces.begin(), remains.pieces.end(),
                         [](const ZipPiece& each) { return each.isWhole; });
}

/// Whether a file, as it stands, says what was made of it.
bool says(const fl::Bytes& file, const fl::Bytes& made) {
    try {
        return canonical(Document(file)) == made;
    } catch (const opc::Exception&) {
        return false;
    }
}

Salvaged salvage(const fl::Bytes& file, ZipRemains found) {
    const bool isSound = !joinInterleaved(found.pieces) && found.isSound;
    Salvaged salvaged = Rebuilder(std::move(found)).run(isSound ? &file : nullptr);
    if (isSound && salvaged.flowbook && salvaged.flowbook != file && says(file, *salvaged.flowbook)) {
        salvaged.flowbook = file;
    }
    return salvaged;
}

}  // namespace

std::vector<std::string> wordsOf(const std::vector<SalvageNote>& notes) {
    std::vector<std::string> words;
    std::transform(notes.begin(), notes.end(), std::back_inserter(words), [](const auto& note) { return note.words; });
    return words;
}

Salvaged salvage(const fl::Bytes& remains) {
    ZipRemains found = findEntries(asText(remains));
    if (const std::optional<fl::Bytes> original = withoutCarriageReturns(remains); original && !found.isSound) {
        ZipRemains more = findEntries(asText(*original));
        if (countOfWhole(more) > countOfWhole(found)) {
            return salvage(*original, std::move(more));
        }
    }
    return salvage(remains, std::move(found));
}

}  // namespace flowbook::kit
