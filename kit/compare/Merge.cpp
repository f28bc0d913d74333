#include "kit/compare/Merge.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/CodeMerge.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/compare/PropertyMerge.hpp"
#include "kit/compare/ThreeWay.hpp"
#include "kit/package/PackageContent.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PartName.hpp"

#include <algorithm>
#include <set>
#include <tuple>

namespace flowbook::kit {

using opc::model::PartName;
using PartRecord = FlowbookFilePackage::Part;
using Record = FlowbookFilePackage::Relationship;
using Records = std::vector<Record>;

namespace {

using fl::i18n::to_string;

/// One version, with the part that holds its code.
struct Version {
    PackageContent content;
    std::u16string codeName;  ///< folded; empty when there is no code
    CodeForm form = CodeForm::None;
    std::set<std::u16string> propertyNames;  ///< folded names of the parts that hold properties
};

std::u16string foldedName(const std::u16string& name) { return fl::i18n::to_ustring(PartName(name).folded()); }

bool holdsProperties(const PartRecord& part) {
    const opc::model::ContentType type(part.contentType);
    return type.getMediaType() == u"application/vnd.openxmlformats-package.core-properties+xml" ||
           type.getMediaType() == u"application/vnd.pellarion.package.properties+xml";
}

Version versionOf(const Document& document) {
    Version version;
    version.content = readContent(document);
    version.form = document.form();
    if (const auto part = document.codePart()) {
        version.codeName = fl::i18n::to_ustring(part->getName().folded());
    }
    for (const PartRecord& part : version.content.parts) {
        if (holdsProperties(part)) {
            version.propertyNames.insert(foldedName(part.partName));
        }
    }
    return version;
}

/// A part as what is compared of it; none for one that is not there.
using Whole = std::optional<std::pair<std::u16string, fl::Bytes>>;

Whole wholeOf(const PartRecord* part) {
    return part == nullptr ? std::nullopt : std::make_optional(std::make_pair(part->contentType, part->content));
}

bool isSame(const Record& a, const Record& b, bool withId) {
    return std::tie(a.type, a.target, a.isInternal) == std::tie(b.type, b.target, b.isInternal) &&
           (!withId || a.id == b.id);
}

bool holds(const Records& records, const Record& record, bool withId) {
    return std::any_of(records.begin(), records.end(),
                       [&](const Record& each) { return isSame(each, record, withId); });
}

bool isTaken(const Records& records, const std::u16string& id) {
    return std::any_of(records.begin(), records.end(), [&](const Record& each) { return each.id == id; });
}

std::u16string freshId(const Records& records) {
    for (std::size_t number = 1;; ++number) {
        std::u16string id = u"rId" + fl::i18n::to_ustring(std::to_string(number));
        if (!isTaken(records, id)) {
            return id;
        }
    }
}

/// Adds a relationship, under a fresh id when its own is taken.
void addTo(Records& records, Record record) {
    if (isTaken(records, record.id)) {
        record.id = freshId(records);
    }
    records.push_back(std::move(record));
}

/// What ours has, less what theirs removed, and what theirs added.
Records mergeRecords(const Records& base, const Records& ours, const Records& theirs, bool withIds) {
    Records merged;
    for (const Record& record : ours) {
        if (!holds(base, record, withIds) || holds(theirs, record, withIds)) {
            merged.push_back(record);
        }
    }
    for (const Record& record : theirs) {
        if (!holds(base, record, withIds) && !holds(ours, record, withIds)) {
            addTo(merged, record);
        }
    }
    return merged;
}

class Merger {
public:
    Merger(Version base, Version ours, Version theirs, const LineMerger& lines, Favour favour)
        : base_(std::move(base)), ours_(std::move(ours)), theirs_(std::move(theirs)), lines_(lines), favour_(favour) {}

    PackageContent run() {
        for (const std::u16string& name : names()) {
            mergePart(name);
        }
        result_.relationships = mergeRecords(base_.content.relationships, ours_.content.relationships,
                                             theirs_.content.relationships, false);
        mergeOthers();
        addRenamed();
        return std::move(result_);
    }

    std::vector<MergeConflict> takeConflicts() { return std::move(conflicts_); }

private:
    /// The three of one name, each null when it is not there.
    struct Trio {
        const PartRecord* base;
        const PartRecord* ours;
        const PartRecord* theirs;

        const PartRecord& any() const { return ours != nullptr ? *ours : theirs != nullptr ? *theirs : *base; }
    };

    std::set<std::u16string> names() const {
        std::set<std::u16string> names;
        for (const Version* version : {&base_, &ours_, &theirs_}) {
            for (const PartRecord& part : version->content.parts) {
                names.insert(foldedName(part.partName));
            }
        }
        return names;
    }

    void mergePart(const std::u16string& name) {
        const Trio trio{base_.content.find(name), ours_.content.find(name), theirs_.content.find(name)};
        const Choice choice = choose(wholeOf(trio.base), wholeOf(trio.ours), wholeOf(trio.theirs));
        if (choice != Choice::Conflict) {
            keep(trio, choice == Choice::Ours ? trio.ours : trio.theirs);
        } else if (isCode(name, trio)) {
            mergeCodePart(trio);
        } else if (ours_.propertyNames.count(name) != 0 && theirs_.propertyNames.count(name) != 0) {
            keep(trio, trio.ours);
        } else {
            settle(trio);
        }
    }

    bool isCode(const std::u16string& name, const Trio& trio) const {
        return name == ours_.codeName && name == theirs_.codeName && trio.ours != nullptr && trio.theirs != nullptr;
    }

    /// Entries that are no parts: nothing is known of them, so none is taken away.
    void mergeOthers() {
        result_.others = ours_.content.others;
        for (const auto& [name, content] : theirs_.content.others) {
            const auto [mine, isNew] = result_.others.emplace(name, content);
            const auto old = base_.content.others.find(name);
            const bool isOld = old != base_.content.others.end();
            if (isNew || mine->second == content || (isOld && old->second == content)) {
                continue;
            }
            if (favour_ == Favour::Theirs || (isOld && old->second == mine->second)) {
                mine->second = content;
            } else if (favour_ == Favour::None) {
                conflicts_.push_back({"the entry " + name, "kept as ours has it"});
            }
        }
    }

    /// Adds a part with the relationships of all versions merged; nothing when it is gone.
    void keep(const Trio& trio, const PartRecord* winner) {
        if (winner == nullptr) {
            return;
        }
        static const Records& none = *new Records();
        const auto of = [](const PartRecord* part) -> const Records& { return part ? part->relationships : none; };
        PartRecord part = *winner;
        part.relationships = trio.ours && trio.theirs
                                 ? mergeRecords(of(trio.base), of(trio.ours), of(trio.theirs), true)
                                 : winner->relationships;
        result_.parts.push_back(std::move(part));
    }

    void mergeCodePart(const Trio& trio) {
        const CodeVersion base =
            trio.base && base_.codeName == ours_.codeName ? CodeVersion{base_.form, trio.base->content} : CodeVersion{};
        const auto merged =
            mergeCode(base, {ours_.form, trio.ours->content}, {theirs_.form, trio.theirs->content}, lines_, favour_);
        if (!merged) {
            settle(trio);
            return;
        }
        PartRecord part =
            merged->code.form == ours_.form || merged->code.form != theirs_.form ? *trio.ours : *trio.theirs;
        part.content = merged->code.content;
        keep(trio, &part);
        if (merged->hasConflicts) {
            conflicts_.push_back({"code", "both versions stand between markers"});
        }
    }

    /// A part that both sides changed in different ways, or one changed and the other deleted.
    void settle(const Trio& trio) {
        const bool takesTheirs = favour_ == Favour::Theirs;
        const PartRecord* winner = takesTheirs ? trio.theirs : trio.ours;
        const bool isDeletion = trio.ours == nullptr || trio.theirs == nullptr;
        if (isDeletion && favour_ == Favour::None) {
            winner = trio.ours != nullptr ? trio.ours : trio.theirs;
        }
        keep(trio, winner);
        if (favour_ == Favour::None) {
            tell(trio, isDeletion);
        }
    }

    void tell(const Trio& trio, bool isDeletion) {
        const std::string name = to_string(trio.any().partName);
        const bool isCodeOfOurs = foldedName(trio.any().partName) == ours_.codeName;
        std::string words = "kept as ours has it";
        if (isDeletion) {
            words = std::string(trio.ours != nullptr ? "theirs" : "ours") + " deleted it; kept as the other changed it";
        } else {
            words += "; theirs is added as " + rename(*trio.theirs);
        }
        conflicts_.push_back({isCodeOfOurs ? "code" : name, words});
    }

    /// Plans to add a part under a name that nobody uses.
    std::string rename(PartRecord part) {
        const std::string name = to_string(part.partName);
        const std::size_t dot = std::min(name.rfind('.'), name.size());
        const std::set<std::u16string> taken = names();
        std::string fresh;
        std::size_t number = 1;
        do {
            fresh = name.substr(0, dot) + "-theirs" + std::to_string(number++) + name.substr(dot);
        } while (taken.count(fl::i18n::to_ustring(PartName(fl::i18n::to_ustring(fresh)).folded())) != 0);
        const std::u16string old = std::exchange(part.partName, fl::i18n::to_ustring(fresh));
        renamed_.emplace_back(old, std::move(part));
        return fresh;
    }

    /// Adds the parts of theirs that were renamed, reached from parts as in theirs.
    void addRenamed() {
        for (auto& [old, part] : renamed_) {
            for (const PartRecord& source : theirs_.content.parts) {
                addReference(source, old, part.partName);
            }
            result_.parts.push_back(std::move(part));
        }
    }

    void addReference(const PartRecord& source, const std::u16string& old, const std::u16string& fresh) {
        PartRecord* const target = result_.find(source.partName);
        for (Record record : source.relationships) {
            if (target != nullptr && record.isInternal && record.target == old) {
                record.target = fresh;
                addTo(target->relationships, std::move(record));
            }
        }
    }

    Version base_, ours_, theirs_;
    const LineMerger& lines_;
    Favour favour_;
    PackageContent result_;
    std::vector<MergeConflict> conflicts_;
    std::vector<std::pair<std::u16string, PartRecord>> renamed_;
};

}  // namespace

MergeResult merge(const Document* base, const Document& ours, const Document& theirs, const LineMerger& lines,
                  Favour favour) {
    Merger merger(base == nullptr ? Version() : versionOf(*base), versionOf(ours), versionOf(theirs), lines, favour);
    MergeResult result{writeContent(merger.run()), merger.takeConflicts()};
    fl::Bytes merged = mergeProperties(result.flowbook, base, ours, theirs, favour, result.conflicts);
    if (merged != result.flowbook) {
        result.flowbook = canonical(Document(std::move(merged)));
    }
    return result;
}

}  // namespace flowbook::kit
