#pragma once

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/CodeMerge.hpp"
#include "kit/compare/LinkMatch.hpp"
#include "kit/compare/Merge.hpp"
#include "kit/compare/MergedPackage.hpp"
#include "kit/compare/PropertyMerge.hpp"
#include "kit/compare/ThreeWay.hpp"
#include "kit/compare/Version.hpp"

#include <array>
#include <boost/json/object.hpp>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace flowbook::kit {

/// What a relationship leads to in one version; nothing when that version lacks the relationship.
inline std::optional<std::string> leadsTo(const Link* link) {
    return link == nullptr ? std::nullopt : std::make_optional(link->leadsTo);
}

/// A property of a part in one version; nothing when that version lacks the part.
template <class Value>
std::optional<Value> valueIn(const Node* node, Value Node::*member) {
    return node == nullptr ? std::nullopt : std::make_optional(node->*member);
}

/// Merges one property of a part, such as its name, as values are merged.
template <class Value>
Choice chooseBy(const Trio& trio, Value Node::*member) {
    return choose(valueIn(trio[kBase], member), valueIn(trio[kOurs], member), valueIn(trio[kTheirs], member));
}

inline std::u16string nameOf(const Node& node) { return node.part.getName().toString(); }

/// The parts that a relationship leads to in the three versions.
inline Trio targetsOf(const LinkTrio& links) {
    Trio trio{};
    for (std::size_t i = 0; i < trio.size(); ++i) {
        trio[i] = links[i] == nullptr ? nullptr : links[i]->target;
    }
    return trio;
}

/// What only one version has.
template <class Pointer>
std::array<Pointer, 3> only(std::size_t version, Pointer pointer) {
    std::array<Pointer, 3> trio{};
    trio[version] = pointer;
    return trio;
}

/// A conflict whose words end in the name that a part will be given.
struct FoundConflict {
    MergeConflict conflict;
    std::size_t part = kNoPart;
    std::size_t about = kNoPart;  ///< the part that is in conflict, which may get another name than ours gave it
    std::optional<std::size_t> deleter{};  ///< the side that deleted the part, to which no relationship leads
};

class Things;

/// One merge: a plan of the result, which grows from the relationships of the package to all that they lead to, and is
/// written when it is complete. Its functions stand in a file for each concern. Used once.
class Merger {
public:
    Merger(const Document* base, const Document& ours, const Document& theirs, const MergeOptions& options);

    MergeResult run();

private:
    using Texts = std::array<std::optional<CodeText>, 3>;
    const Version& version(std::size_t which) const;
    std::size_t favoured() const { return options_.favour == Favour::Theirs ? kTheirs : kOurs; }
    void addConflict(MergeConflict conflict, std::size_t part = kNoPart, std::size_t about = kNoPart,
                     std::optional<std::size_t> deleter = std::nullopt);

    // Relationships, in Merge.cpp -------------------------------------------------------------------------------------

    /// Adds what becomes of a relationship, and plans the part that it leads to.
    /// @param isAlone  whether its source is kept as one side has it, with all that it leads to.
    void decide(const LinkTrio& trio, std::vector<MergedLink>& links, bool isAlone = false);
    /// Adds a relationship as one side has it, which leads to what becomes of the part in all versions.
    void addLink(const LinkTrio& trio, std::size_t side, std::vector<MergedLink>& links);
    /// Whether one side has a relationship lead to a part to which it led nowhere before.
    static bool isNewTo(const LinkTrio& trio, std::size_t side);
    /// Relationships that one side made new lead to what becomes of the part by its other relationships, which the
    /// other side may have changed; a picture stays the one that was shown.
    void finishLateLinks();
    /// The version that says how a relationship is written whose meaning is that of a side.
    static std::size_t writingVersion(const LinkTrio& trio, std::size_t side);
    void settleDeletion(const LinkTrio& trio, std::vector<MergedLink>& links);
    static std::string deletionIn(std::size_t keeper);
    /// Both sides have the relationship lead elsewhere, at least one of them to no part.
    void settleTargets(const LinkTrio& trio, std::vector<MergedLink>& links);

    // Parts, in MergeParts.cpp ----------------------------------------------------------------------------------------

    /// The part that three versions of one become, planned when it is first asked for.
    std::size_t partOf(const Trio& trio);
    std::size_t plan(const Trio& trio);
    MergedPart named(const Trio& trio) const;
    static void fill(MergedPart& part, const Node& node);
    /// A part with the bytes of one side.
    /// @param isWhole  whether all that it leads to is of that side too, so that one such part is enough.
    std::size_t planPart(const Trio& trio, Choice choice, bool isWhole);
    /// Ours, or the favoured side's, with the other one beside it.
    std::size_t planConflict(const Trio& trio);
    /// A part as one side has it, with all that it leads to.
    std::size_t planAlone(std::size_t side, const Node* node, MergedPart part);
    std::size_t addBeside(std::size_t index, const Node& theirs);
    /// The relationships of the planned parts, whose targets may be further parts.
    void finishParts();
    /// Parts that no relationship leads to, by their names.
    void mergeUnreached();
    /// Entries that are no parts.
    void mergeOthers();
    void mergeEntry(const std::string& name, const std::optional<fl::Bytes>& base, const std::optional<fl::Bytes>& ours,
                    const std::optional<fl::Bytes>& theirs);

    // Lists of properties and of kept parts, in MergeLists.cpp --------------------------------------------------------

    /// A part of properties that the sides hold in different bytes; nothing for any other part.
    std::optional<std::size_t> planProperties(const Trio& trio);
    /// Notes properties in conflict, each under a name of its own.
    void addPropertyConflicts(std::vector<PropertyConflict>&& conflicts, std::size_t part);
    /// Makes room for the lists of what is open, before names are given.
    void planLists();
    /// Leaves what is open where `flowbook resolve` finds it, under the names and ids that it has been given.
    void fillLists();
    boost::json::object listProperties();
    boost::json::object listKept();
    /// Adds what is open among the relationships of one source.
    static void listLinks(const std::string& source, const std::vector<MergedLink>& links, boost::json::object& list);
    /// Calls `work` with the name and the relationships of the package and of each part.
    template <class Work>
    void forEachSource(Work work) {
        work("/", result_.links());
        for (std::size_t i = 0; i < result_.size(); ++i) {
            work(fl::i18n::to_string(result_.at(i).name), result_.at(i).links);
        }
    }
    /// The part with a list of what is open, which an earlier merge may have left.
    MergedPart& listOf(const char* name);
    /// What an earlier merge left is still open.
    static void addTo(MergedPart& part, boost::json::object values);

    // Outputs, in MergeCode.cpp ---------------------------------------------------------------------------------------

    /// Running the code makes outputs again, so it is no conflict that both sides did.
    void mergeOutputs(const LinkTrio& trio);
    /// Whether the user is to choose between two versions of code, between markers or whole.
    bool isCodeOpen() const;
    /// Keeps the outputs of the other side too, or notes that it has none, for when its code is chosen.
    void keepOther(const LinkTrio& trio, std::size_t side, bool isOpen);
    void note(const LinkTrio& trio, const std::string& words);

    // Code, in MergeCode.cpp ------------------------------------------------------------------------------------------

    void mergeCodeLink(const LinkTrio& trio);
    void planCode(const Trio& code);
    /// The code of a version as text; nothing when it is encrypted or malformed.
    std::optional<CodeText> textOf(std::size_t which) const;
    /// Merges the code by paragraphs. @returns whether that can be done.
    bool planText(const Trio& code, Texts& texts);
    /// A document that a side has in the same words is written as that side has it, in its encoding.
    static fl::Bytes asStored(const Trio& code, const Texts& texts, fl::Bytes document);
    /// The version whose content type the merged code has.
    static std::size_t formSide(const Trio& code, const Texts& texts, bool isPlain);
    /// Gives every thing that the text refers to a relationship, and adds those that no text refers to.
    /// @param isOpen  whether the text holds both sides of a conflict. @returns the ids by the numbers of the things.
    std::vector<std::string> linkThings(const Things& things, const Texts& texts, const std::string& marked,
                                        bool isOpen, std::vector<MergedLink>& links);
    /// Relationships with what each is in the three versions.
    using Hanging = std::map<const Link*, LinkTrio>;
    /// Finds the relationship of a side that no text refers to, where the text of the other side does. It is kept
    /// beside the one that the text refers to, for when the reference goes with the conflict that it stands in.
    static void addHanging(const LinkTrio& thing, const Texts& texts, Hanging& hanging);
    /// Adds a relationship that addHanging() found. It leads to the part that the text shows.
    void addHangingLink(const Link& link, const LinkTrio& shown, std::size_t side, std::vector<MergedLink>& links);
    /// A reference that leads nowhere must not come to lead somewhere.
    static void keepNowhere(const std::map<std::size_t, std::string>& nowhere, const std::vector<MergedLink>& links,
                            std::vector<std::string>& ids);
    /// Adds the relationships that the merged text does not refer to. Those that hang on a text of one side, and on
    /// none any more, go with it.
    /// @param hanging  those that addHanging() found.
    void linkRest(const std::set<const Link*>& used, const Hanging& hanging, const Texts& texts,
                  std::vector<MergedLink>& links);
    std::optional<std::size_t> sideOfCode(const fl::Bytes& document, const CodeText& ours,
                                          const CodeText& theirs) const;
    /// Code that cannot be merged by paragraphs: as one side has it, or both versions, each with its own pictures.
    void planWhole(const Trio& code);

    // Result, in Merge.cpp --------------------------------------------------------------------------------------------

    MergeResult finish();
    /// Reports the relationships of a source that are in conflict. @param deleted  the parts that have been reported.
    void addLinkConflicts(const std::string& source, const std::vector<MergedLink>& links,
                          std::set<std::size_t>& deleted);
    void addEntryConflicts();
    /// A planned part whose relationships are not merged yet.
    struct Open {
        std::size_t part;
        LinkLists links;
        bool isAlone = false;
    };

    const MergeOptions& options_;
    std::optional<Version> base_;
    Version ours_, theirs_;
    MergedPackage result_;
    std::size_t code_ = kNoPart;
    std::optional<std::size_t> codeSide_;  ///< the side whose code the merged code is
    std::map<Trio, std::size_t> parts_;
    std::map<const Node*, std::size_t> homes_;  ///< what becomes of a part that both sides have, by each version of it
    std::map<std::pair<std::string, std::string>, std::size_t> whole_;  ///< by name and digest
    std::map<const Node*, std::size_t> wholeNodes_;  ///< the same, whatever name the part has been given
    std::vector<Open> open_;
    std::vector<FoundConflict> conflicts_;
    std::vector<std::pair<PropertyConflict, std::size_t>> properties_;  ///< in conflict, and their part
    std::vector<std::string> notes_;
};

}  // namespace flowbook::kit
