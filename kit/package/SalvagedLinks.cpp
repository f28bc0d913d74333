#include "kit/package/SalvagedLinks.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/EntryNames.hpp"

#include <algorithm>

namespace flowbook::kit {

using PartRecord = FlowbookFilePackage::Part;
using Record = FlowbookFilePackage::Relationship;
using Records = std::vector<Record>;
using Strings = std::vector<std::string>;
using fl::i18n::to_string;
using fl::i18n::to_ustring;

namespace {

class Linking {
public:
    Linking(SalvagedPackage& package, const FoundLists& lists, bool areAll, bool hasMore)
        : package_(package), lists_(lists), areAll_(areAll), hasMore_(hasMore) {}

    void run() {
        PackageContent& content = package_.content;
        // The package comes first: what it leads to, the code above all, decides how the lists of parts are judged.
        const FoundRelationships* const ofPackage = lists_.of("/");
        if (takeKnown("/", u"", content.relationships)) {
            addGuesses(content.relationships, "/", guessPackage(content.relationships));
        }
        addEmptyCode(ofPackage != nullptr && ofPackage->isWhole);
        std::vector<PartRecord*> open;
        for (PartRecord& part : content.parts) {
            if (takeKnown(to_string(part.partName), part.contentType, part.relationships)) {
                open.push_back(&part);
            }
        }
        // Only pictures that no list names are guessed about, so all lists have to be read before.
        const Strings pictures = picturesAmong(partsLeft());
        for (PartRecord* const part : open) {
            guess(*part, pictures);
        }
        reportGone(content.relationships, "/");
        for (const PartRecord& part : content.parts) {
            reportGone(part.relationships, to_string(part.partName));
        }
        if (ofPackage == nullptr || isAnyLinkLost()) {
            reportUnreached();
        }
    }

private:
    void reportRebuilt(const std::string& part, const std::string& words) {
        package_.account.rebuilt.push_back({part, words});
    }
    void reportLost(const std::string& part, const std::string& words) {
        package_.account.lost.push_back({part, words});
    }

    /// Takes the relationships of a source that its list holds.
    /// @param type  of the source; empty for the package.
    /// @returns whether there may have been others.
    bool takeKnown(const std::string& name, const std::u16string& type, Records& records) {
        const FoundRelationships* const list = lists_.of(name);
        if (list == nullptr || (list->isWhole && list->records.empty() && list->faulty.empty())) {
            const bool namesAny = isCodeType(type) && !namedRelationships(package_.contentOf(name)).empty();
            // A package has relationships in any case. A part without a list has none, unless its text names some or
            // entries are gone.
            return name == "/" || namesAny || (list == nullptr && !areAll_);
        }
        records = list->records;
        for (const std::string& id : list->faulty) {
            reportLost(name, "a faulty relationship of " + name + ": " + id + " has no target mode");
        }
        if (list->isWhole) {
            return package_.dropFaulty(records, name) || !list->faulty.empty();
        }
        keepCredible(records, name);
        return true;
    }

    /// Whether a list that counts is damaged. One whose part is not there does only where something is lost: else there
    /// never was such a part.
    bool isAnyLinkLost() const {
        const auto isDamaged = [this](const std::string& source) {
            const FoundRelationships* const list = lists_.of(source);
            return list != nullptr && list->isDamaged();
        };
        const auto& parts = package_.content.parts;
        return isDamaged("/") || (!package_.account.lost.empty() && lists_.isAnyDamaged()) ||
               std::any_of(parts.begin(), parts.end(),
                           [&](const PartRecord& part) { return isDamaged(to_string(part.partName)); });
    }

    /// The parts that no relationship leads to.
    std::vector<const PartRecord*> partsLeft() const {
        std::set<std::string> reached;
        for (const PartRecord& part : package_.content.parts) {
            for (const Record& record : part.relationships) {
                reached.insert(fold(targetPartOf(record, to_string(part.partName))));
            }
        }
        for (const Record& record : package_.content.relationships) {
            reached.insert(fold(targetPartOf(record, "/")));
        }
        std::vector<const PartRecord*> left;
        for (const PartRecord& part : package_.content.parts) {
            if (reached.count(fold(to_string(part.partName))) == 0) {
                left.push_back(&part);
            }
        }
        return left;
    }

    static Strings picturesAmong(const std::vector<const PartRecord*>& parts) {
        Strings pictures;
        for (const PartRecord* const part : parts) {
            if (isPictureType(part->contentType)) {
                pictures.push_back(to_string(part->partName));
            }
        }
        return pictures;
    }

    void reportUnreached() {
        for (const PartRecord* const part : partsLeft()) {
            const std::string name = to_string(part->partName);
            if (!package_.isAside(name)) {
                reportLost(name, "what led to " + name + ": no relationship to it is left");
            }
        }
    }

    void guess(PartRecord& part, const Strings& pictures) {
        const std::string name = to_string(part.partName);
        const bool isCode = isCodeType(part.contentType);
        const fl::Bytes& content = package_.contentOf(name);
        addGuesses(part.relationships, name, isCode ? guessPictures(content, pictures, part.relationships) : Records());
        if (isCode) {
            reportNamed(part.relationships, name, content);
        }
    }

    /// Of what a damaged list holds, that which leads to a part, and a picture that the text shows.
    void keepCredible(Records& records, const std::string& source) {
        if (records.empty()) {
            return;
        }
        const Strings all = shownPictures(package_.contentOf(source));
        const std::set<std::string> shown(all.begin(), all.end());
        const std::u16string type = pictureRelationshipType();
        const auto isDoubtful = [&](const Record& record) {
            const PartRecord* const part = package_.find(targetPartOf(record, source));
            const bool isPicture = part != nullptr && isPictureType(part->contentType);
            const bool isShown = shown.count(to_string(record.id)) != 0;
            // A flipped byte leaves XML that can be read, with another target or another id in it.
            return (record.isInternal && part == nullptr) || isShown != (isPicture && !shown.empty()) ||
                   (isPicture && record.type != type);
        };
        records.erase(std::remove_if(records.begin(), records.end(), isDoubtful), records.end());
        package_.dropFaulty(records, source);
        reportRebuilt(source, "relationships of " + source + ", from what is left of their list");
    }

    /// Pictures and links that a text names and no relationship leads to.
    void reportNamed(const Records& records, const std::string& source, const fl::Bytes& document) {
        std::set<std::string> ids = namedRelationships(document);
        for (const Record& record : records) {
            ids.erase(to_string(record.id));
        }
        for (const std::string& id : shownPictures(document)) {
            if (ids.erase(id) != 0) {
                reportLost(source,
                           "the picture that " + source + " shows by " + id + ": no relationship to it is left");
            }
        }
        for (const std::string& id : ids) {
            reportLost(source, "what " + source + " refers to by " + id + ": no relationship to it is left");
        }
    }

    void addGuesses(Records& records, const std::string& name, Records guesses) {
        const FoundRelationships* const list = lists_.of(name);
        if (list != nullptr && !list->isWhole && guesses.empty()) {
            reportLost(name, "relationships of " + name + ": their list is damaged");
        }
        for (Record& guess : guesses) {
            reportRebuilt(name, "the relationship " + to_string(guess.id) + " of " + name + " to " +
                                    to_string(guess.target) + ", a guess from names");
            records.push_back(std::move(guess));
        }
    }

    Records guessPackage(const Records& known) const {
        std::set<std::u16string> types;
        for (const Record& record : known) {
            types.insert(record.type);
        }
        Records guesses;
        Records all = known;
        for (const PartRecord& part : package_.content.parts) {
            const std::u16string type = packageRelationshipType(to_string(part.partName), part.contentType);
            // Readers take the first relationship of a type, so one guess for each is enough.
            if (!type.empty() && types.insert(type).second) {
                guesses.push_back({type, part.partName, freeId(all), true});
                all.push_back(guesses.back());
            }
        }
        return guesses;
    }

    static std::u16string freeId(const Records& records) {
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

    /// A package that never had any code stays as it is, unless nothing else makes a package of it.
    void addEmptyCode(bool isPackageListWhole) {
        PackageContent& content = package_.content;
        const std::u16string& type = documentRelationshipType();
        Records& all = content.relationships;
        auto led = std::find_if(all.begin(), all.end(), [&](const Record& each) { return each.type == type; });
        const std::string target = led == all.end() ? "" : targetPartOf(*led, "/");
        const bool isNothing = content.parts.empty() && content.others.empty() && !hasMore_;
        if (isNothing || package_.find(target) != nullptr) {
            return;
        }
        if (!package_.isReportedLost(target)) {
            package_.reportLost(target, "the code: there is no document part");
        }
        if (led == all.end() && isPackageListWhole && !(content.parts.empty() && all.empty())) {
            return;
        }
        PartRecord code = FlowbookFilePackage::createEmptyDocumentPart();
        const std::string name = package_.names.takeSimilar(target.empty() ? to_string(code.partName) : target);
        if (led == all.end()) {
            led = all.insert(all.end(), {type, u"", freeId(all), true});
        }
        led->target = target == name ? led->target : to_ustring(name);
        package_.addPart(name, code.contentType, std::move(code.content));
        reportRebuilt(name, "empty code in " + name + ", in the place of the code that is lost");
    }

    /// Reports the parts of which only a relationship is left.
    void reportGone(const Records& records, const std::string& source) {
        for (const Record& record : records) {
            const std::string name = targetPartOf(record, source);
            if (!name.empty() && package_.find(name) == nullptr && !package_.isReportedLost(name)) {
                package_.reportLost(name, name + ": only a relationship to it is left");
            }
        }
    }

    SalvagedPackage& package_;
    const FoundLists& lists_;
    const bool areAll_;
    const bool hasMore_;
};

}  // namespace

void linkParts(SalvagedPackage& package, const FoundLists& lists, bool areAll, bool hasMore) {
    Linking(package, lists, areAll, hasMore).run();
}

}  // namespace flowbook::kit
