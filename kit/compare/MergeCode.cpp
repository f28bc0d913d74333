// Code and outputs. Before the three texts are merged, each reference in them is replaced by the number of the thing
// that it leads to: an id is chosen anew by any program that saves, so two texts that differ in ids alone would be in
// conflict, and one id may stand for two pictures.
#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Conflicts.hpp"
#include "kit/compare/Merger.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

#include <algorithm>

namespace flowbook::kit {

using fl::i18n::to_string;
using fl::i18n::to_ustring;

namespace {

/// The lines of code of a document, without its prose; nothing of one that cannot be read.
std::optional<std::string> codeIn(const fl::Bytes& document) {
    const RichText text = readRichText(document, "");
    std::string code;
    for (const Paragraph& paragraph : text.paragraphs) {
        code += paragraph.code ? *paragraph.code + "\n" : "";
    }
    return text.fault.empty() ? std::make_optional(code) : std::nullopt;
}

bool isReferredTo(const Link& link, const CodeText& text) { return text.things.count(to_string(link.record.id)) != 0; }

}  // namespace

/// Numbers what the references of three versions lead to.
class Things {
public:
    explicit Things(const Trio& code) {
        for (std::size_t i = 0; i < code.size(); ++i) {
            if (code[i] != nullptr) {
                add(i, code[i]->links);
            }
        }
    }

    std::size_t size() const noexcept { return things_.size(); }
    const LinkTrio& at(std::size_t thing) const { return things_[thing]; }

    /// The number for an id in a version; a new one for an id that leads nowhere.
    std::size_t find(std::size_t version, const std::string& id) {
        const auto found = byId_[version].find(id);
        if (found != byId_[version].end()) {
            return found->second;
        }
        const auto [nowhere, isNew] = nowhere_.emplace(id, things_.size());
        if (isNew) {
            things_.emplace_back(LinkTrio{});
        }
        return nowhere->second;
    }

    /// The ids that lead nowhere, by number.
    std::map<std::size_t, std::string> nowhere() const {
        std::map<std::size_t, std::string> ids;
        for (const auto& [id, thing] : nowhere_) {
            ids[thing] = id;
        }
        return ids;
    }

private:
    /// Two versions may have several links to one content, such as a picture that is shown twice. Those that kept their
    /// id belong together for certain; the others are paired in the order in which they stand.
    void add(std::size_t version, const std::vector<Link>& links) {
        std::vector<const Link*> left;
        for (const Link& link : links) {
            const auto found = exact_.find({link.leadsTo, link.record.id});
            if (found != exact_.end() && things_[found->second][version] == nullptr) {
                put(version, found->second, link);
            } else {
                left.push_back(&link);
            }
        }
        std::map<std::string, std::size_t> next;
        for (const Link* link : left) {
            std::vector<std::size_t>& same = same_[link->leadsTo];
            std::size_t& at = next[link->leadsTo];
            while (at < same.size() && things_[same[at]][version] != nullptr) {
                ++at;
            }
            if (at == same.size()) {
                same.push_back(things_.size());
                things_.emplace_back(LinkTrio{});
            }
            put(version, same[at], *link);
        }
    }

    void put(std::size_t version, std::size_t thing, const Link& link) {
        things_[thing][version] = &link;
        exact_.emplace(std::make_pair(link.leadsTo, link.record.id), thing);
        byId_[version].emplace(to_string(link.record.id), thing);
    }

    std::vector<LinkTrio> things_;
    std::map<std::pair<std::string, std::u16string>, std::size_t> exact_;
    std::map<std::string, std::vector<std::size_t>> same_;
    std::array<std::map<std::string, std::size_t>, 3> byId_;
    std::map<std::string, std::size_t> nowhere_;
};

void Merger::mergeOutputs(const LinkTrio& trio) {
    const Choice choice = choose(leadsTo(trio[kBase]), leadsTo(trio[kOurs]), leadsTo(trio[kTheirs]));
    Outputs rule = options_.outputs.value_or(options_.favour == Favour::None     ? Outputs::OfCode
                                             : options_.favour == Favour::Theirs ? Outputs::Theirs
                                                                                 : Outputs::Ours);
    if (choice != Choice::Conflict || rule == Outputs::Conflict) {
        decide(trio, result_.links());
        return;
    }
    if (rule == Outputs::Drop) {
        note(trio, "dropped, as both sides made them anew");
        return;
    }
    // Merged code is the code of neither side, so its outputs are out of date whichever are kept.
    const bool isOfNeither = rule == Outputs::OfCode && !codeSide_;
    std::size_t side = rule == Outputs::Theirs || (rule == Outputs::OfCode && codeSide_ == kTheirs) ? kTheirs : kOurs;
    if (trio[side] == nullptr && rule == Outputs::OfCode) {
        side = side == kOurs ? kTheirs : kOurs;  // What one side deleted and the other changed is kept.
    }
    const bool isOpen = rule == Outputs::OfCode && isCodeOpen();
    if (trio[side] != nullptr) {
        addLink(only(side, trio[side]), side, result_.links());
        keepOther(trio, side, isOpen);
    }
    note(trio, std::string("kept as ") + (side == kOurs ? "ours has" : "theirs has") + " them" +
                   (isOpen        ? " until the code is settled"
                    : isOfNeither ? "; they are older than the merged code"
                                  : ""));
}

bool Merger::isCodeOpen() const {
    return std::any_of(conflicts_.begin(), conflicts_.end(), [](const FoundConflict& found) {
        return found.conflict.kind == ConflictKind::Code && (found.conflict.ours || found.part != kNoPart);
    });
}

void Merger::keepOther(const LinkTrio& trio, std::size_t side, bool isOpen) {
    MergedLink& kept = result_.links().back();
    const Link* const other = trio[side == kOurs ? kTheirs : kOurs];
    if (!isOpen) {
        return;
    }
    if (other == nullptr) {
        kept.of = side;
        kept.isWithCode = true;
    } else if (other->target != nullptr && kept.part != kNoPart) {
        MergedPart part;
        part.beside = kept.part;
        part.isOutput = true;
        const std::size_t index = planAlone(kTheirs, other->target, std::move(part));
        result_.links().push_back({{kConflictType, u"", u"", true}, index, nullptr});
    }
}

void Merger::note(const LinkTrio& trio, const std::string& words) {
    const Link& link = *(trio[kOurs] != nullptr ? trio[kOurs] : trio[kTheirs]);
    const std::string target = to_string(link.target != nullptr ? nameOf(*link.target) : link.record.target);
    notes_.push_back("outputs " + target + ": " + words);
}

void Merger::mergeCodeLink(const LinkTrio& trio) {
    const Trio code = targetsOf(trio);
    const bool isDeletion = trio[kOurs] == nullptr || trio[kTheirs] == nullptr;
    bool isOpenDeletion = false;
    if (!isDeletion) {
        planCode(code);
    } else {
        const std::size_t keeper = trio[kOurs] != nullptr ? kOurs : kTheirs;
        const bool isChanged = code[kBase] == nullptr || code[kBase]->deep != code[keeper]->deep;
        const bool isConflict = code[kBase] != nullptr && isChanged;
        if (!isChanged || (isConflict && options_.favour != Favour::None && favoured() != keeper)) {
            return;
        }
        codeSide_ = keeper;
        code_ = planAlone(keeper, code[keeper], named(only(keeper, code[keeper])));
        if (isConflict) {
            addConflict({ConflictKind::Code, "code", deletionIn(keeper)});
            isOpenDeletion = options_.favour == Favour::None;
        }
    }
    addLink(trio, trio[kOurs] != nullptr ? kOurs : kTheirs, result_.links());
    if (isOpenDeletion) {
        result_.links().back().of = codeSide_;
    }
}

/// Falls back to whole documents where one version is encrypted or malformed, as its paragraphs are not known.
void Merger::planCode(const Trio& code) {
    Texts texts;
    bool isText = true;
    for (const std::size_t i : {kBase, kOurs, kTheirs}) {
        texts[i] = code[i] == nullptr ? std::nullopt : textOf(i);
        isText = isText && texts[i].has_value() == (code[i] != nullptr);
    }
    if (!isText || !planText(code, texts)) {
        planWhole(code);
    }
}

std::optional<CodeText> Merger::textOf(std::size_t which) const {
    CodeText text;
    const CodeForm form = version(which).form();
    text.isPlain = form == CodeForm::Plain;
    if (form == CodeForm::Encrypted) {
        return std::nullopt;
    }
    fl::Bytes stored = contentOf(version(which).code()->part);
    try {
        text.document = inUtf8(std::move(stored), "");
        text.references = findReferences(text.document, "");
    } catch (const opc::Exception&) {
        return std::nullopt;
    }
    return text;
}

bool Merger::planText(const Trio& code, Texts& texts) {
    Things things(code);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        for (const Reference& reference : texts[i] ? texts[i]->references : std::vector<Reference>()) {
            texts[i]->things[reference.id] = things.find(i, reference.id);
        }
    }
    auto merged = mergeCode(texts[kBase] ? &*texts[kBase] : nullptr, *texts[kOurs], *texts[kTheirs], options_);
    if (!merged) {
        return false;
    }
    MergedPart part = named(code);
    fill(part, *code[formSide(code, texts, merged->isPlain)]);
    part.isOfOurs = true;
    code_ = result_.add(std::move(part));
    std::vector<MergedLink> links;
    const std::vector<std::string> ids = linkThings(things, texts, merged->marked, !merged->conflicts.empty(), links);
    fl::Bytes document = unmarked(merged->marked, ids);
    codeSide_ = sideOfCode(document, *texts[kOurs], *texts[kTheirs]);
    result_.at(code_).made = asStored(code, texts, std::move(document));
    result_.at(code_).links = std::move(links);
    for (MergeConflict& conflict : merged->conflicts) {
        addConflict(std::move(conflict));
    }
    return true;
}

fl::Bytes Merger::asStored(const Trio& code, const Texts& texts, fl::Bytes document) {
    // A side whose words were taken unchanged keeps its bytes: git then sees that nothing but its own change was made.
    std::array<std::optional<fl::Bytes>, 3> stored;
    for (std::size_t i = 0; i < stored.size(); ++i) {
        if (texts[i] && texts[i]->document == document) {
            stored[i] = contentOf(code[i]->part);
        }
    }
    const bool isTheirs =
        !stored[kOurs] || (stored[kTheirs] && choose(stored[kBase], stored[kOurs], stored[kTheirs]) == Choice::Theirs);
    return std::move(stored[isTheirs ? kTheirs : kOurs]).value_or(std::move(document));
}

std::size_t Merger::formSide(const Trio& code, const Texts& texts, bool isPlain) {
    if (texts[kOurs]->isPlain != texts[kTheirs]->isPlain) {
        return texts[kOurs]->isPlain == isPlain ? kOurs : kTheirs;
    }
    return chooseBy(code, &Node::contentType) == Choice::Theirs ? kTheirs : kOurs;
}

/// Where the text holds both sides of a conflict, one of them will be removed, and with it perhaps the only reference
/// to a part, which must not be lost with it.
std::vector<std::string> Merger::linkThings(const Things& things, const Texts& texts, const std::string& marked,
                                            bool isOpen, std::vector<MergedLink>& links) {
    const std::map<std::size_t, std::string> nowhere = things.nowhere();
    std::set<const Link*> used;
    std::vector<std::size_t> linked;
    for (const std::size_t thing : thingsIn(marked)) {
        const LinkTrio& trio = things.at(thing);
        used.insert(trio.begin(), trio.end());
        if (nowhere.count(thing) == 0) {
            linked.push_back(thing);
        }
    }
    // Ours come first, so that they keep their ids.
    std::stable_partition(linked.begin(), linked.end(),
                          [&](std::size_t thing) { return things.at(thing)[kOurs] != nullptr; });
    for (const std::size_t thing : linked) {
        addLink(things.at(thing), things.at(thing)[kOurs] != nullptr ? kOurs : kTheirs, links);
    }
    Hanging hanging;
    for (const std::size_t thing : isOpen ? linked : std::vector<std::size_t>()) {
        addHanging(things.at(thing), texts, hanging);
    }
    for (const auto& [link, thing] : hanging) {
        used.erase(link);
    }
    linkRest(used, hanging, texts, links);
    MergedPackage::giveIds(links);
    std::vector<std::string> ids(things.size());
    for (std::size_t i = 0; i < linked.size(); ++i) {
        ids[linked[i]] = to_string(links[i].record.id);
    }
    keepNowhere(nowhere, links, ids);
    return ids;
}

void Merger::addHanging(const LinkTrio& thing, const Texts& texts, Hanging& hanging) {
    const auto refers = [&](std::size_t i) { return isReferredTo(*thing[i], *texts[i]); };
    if (thing[kOurs] != nullptr && thing[kTheirs] != nullptr && refers(kOurs) != refers(kTheirs)) {
        hanging.emplace(thing[refers(kOurs) ? kTheirs : kOurs], thing);
    }
}

void Merger::keepNowhere(const std::map<std::size_t, std::string>& nowhere, const std::vector<MergedLink>& links,
                         std::vector<std::string>& ids) {
    std::set<std::string> taken;
    for (const MergedLink& link : links) {
        taken.insert(to_string(link.record.id));
    }
    for (const auto& [thing, id] : nowhere) {
        ids[thing] = id;
        for (std::size_t number = 1; !taken.insert(ids[thing]).second; ++number) {
            ids[thing] = id + "-" + std::to_string(number);
        }
    }
}

void Merger::addHangingLink(const Link& link, const LinkTrio& shown, std::size_t side, std::vector<MergedLink>& links) {
    addLink(shown, side, links);
    links.back().record = link.record;
    links.back().of = side;
    links.back().isWithCode = true;
}

void Merger::linkRest(const std::set<const Link*>& used, const Hanging& hanging, const Texts& texts,
                      std::vector<MergedLink>& links) {
    LinkLists rest;
    std::array<std::multiset<std::string>, 3> mentioned;  // by the text of a version, and by the merged text no more
    for (std::size_t i = 0; i < rest.size(); ++i) {
        for (const Link* link : linksOf(version(i).code())) {
            if (used.count(link) != 0) {
                continue;
            }
            if (texts[i] && isReferredTo(*link, *texts[i])) {
                mentioned[i].insert(link->leadsTo);
            } else {
                rest[i].push_back(link);
            }
        }
    }
    for (LinkTrio trio : matchLinks(rest)) {
        const std::size_t side = trio[kOurs] != nullptr ? kOurs : kTheirs, other = side == kOurs ? kTheirs : kOurs;
        if (trio[side] == nullptr) {
            continue;
        }
        const bool isAlone = trio[other] == nullptr;
        const auto shown = hanging.find(trio[side]);
        if (isAlone && shown != hanging.end()) {
            addHangingLink(*trio[side], shown->second, side, links);
            continue;
        }
        // The other side has the thing at a mention, so it did not delete it.
        const auto mention = mentioned[other].find(trio[side]->leadsTo);
        if (isAlone && mention != mentioned[other].end()) {
            trio = only(side, trio[side]);
            mentioned[other].erase(mention);
        }
        decide(trio, links);
    }
}

std::optional<std::size_t> Merger::sideOfCode(const fl::Bytes& document, const CodeText& ours,
                                              const CodeText& theirs) const {
    const std::optional<std::string> code = codeIn(document);
    if (code == codeIn(ours.document)) {
        return kOurs;
    }
    return code == codeIn(theirs.document) ? std::make_optional(kTheirs) : std::nullopt;
}

void Merger::planWhole(const Trio& code) {
    const Choice choice = chooseBy(code, &Node::own);
    if (choice != Choice::Conflict) {
        codeSide_ = choice == Choice::Ours ? kOurs : kTheirs;
        MergedPart part = named(code);
        fill(part, *code[*codeSide_]);
        code_ = result_.add(std::move(part));
        open_.push_back({code_, {linksOf(code[kBase]), linksOf(code[kOurs]), linksOf(code[kTheirs])}});
        return;
    }
    codeSide_ = favoured();
    code_ = planAlone(favoured(), code[favoured()], named(code));
    if (options_.favour == Favour::None) {
        const std::size_t beside = addBeside(code_, *code[kTheirs]);
        addConflict({ConflictKind::Code, "code", "kept as ours has it; theirs is added as "}, beside);
    }
}

}  // namespace flowbook::kit
