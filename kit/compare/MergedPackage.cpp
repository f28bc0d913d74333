// The result of a merge as it grows. Names and ids are given at the end: a part of ours keeps its name, and one of
// theirs that clashes with it gets a fresh one, since what refers to it does so by relationship.
#include "kit/compare/MergedPackage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Conflicts.hpp"
#include "kit/document/EntryNames.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PartName.hpp"

#include <algorithm>
#include <functional>
#include <set>

namespace flowbook::kit {

using fl::i18n::to_ustring;
using opc::model::PartName;

namespace {

std::string foldedOf(const std::u16string& name) { return PartName(name).folded(); }

/// The names that are given, with what else they exclude: a part name that begins with another one's segments
/// (ECMA-376-2, 6.2.2.3).
class TakenNames {
public:
    /// @returns false, and takes nothing, when the name is not free.
    bool take(const std::string& folded) {
        if (names_.count(folded) != 0 || folders_.count(folded) != 0) {
            return false;
        }
        std::vector<std::string> folders;
        for (std::size_t at = folded.rfind('/'); at != 0 && at != std::string::npos; at = folded.rfind('/', at - 1)) {
            folders.push_back(folded.substr(0, at));
            if (names_.count(folders.back()) != 0) {
                return false;
            }
        }
        names_.insert(folded);
        folders_.insert(folders.begin(), folders.end());
        return true;
    }

    /// The name with a number that makes it free, counted on from the last one that was given.
    std::string takeFresh(const std::string& name) {
        const std::size_t dot = name.rfind('.') > name.rfind('/') + 1 ? name.rfind('.') : std::string::npos;
        const std::string extension = dot == std::string::npos ? "" : name.substr(dot);
        std::string stem = name.substr(0, dot);
        stem.erase(stem.find_last_not_of("0123456789") + 1);
        std::size_t& number = numbers_[fold(stem + extension)];
        std::string fresh;
        do {
            fresh = stem + std::to_string(++number) + extension;
        } while (!take(fold(fresh)));
        return fresh;
    }

private:
    std::set<std::string> names_, folders_;
    std::map<std::string, std::size_t> numbers_;
};

/// Whether a target, which may be relative, means a part. @param source  folded; empty for the package.
bool leadsTo(const std::u16string& target, const std::string& source, const std::string& folded) {
    try {
        const opc::model::URI from(source.empty() ? u"/" : to_ustring(source));
        return PartName(opc::model::URI(target).resolvedAgainst(from)).folded() == folded;
    } catch (const opc::Exception&) {
        return false;
    }
}

}  // namespace

std::size_t MergedPackage::add(MergedPart part) {
    parts_.push_back(std::move(part));
    return parts_.size() - 1;
}

void MergedPackage::giveNames() {
    TakenNames taken;
    std::vector<std::size_t> homeless;
    for (const bool isOfOurs : {true, false}) {
        for (std::size_t i = 0; i < parts_.size(); ++i) {
            const bool isMeant = parts_[i].isOfOurs == isOfOurs && parts_[i].beside == kNoPart;
            if (isMeant && !taken.take(foldedOf(parts_[i].name))) {
                homeless.push_back(i);
            }
        }
    }
    const auto giveFresh = [&](std::size_t i) {
        parts_[i].name = to_ustring(taken.takeFresh(PartName(parts_[i].name).ascii()));
    };
    std::for_each(homeless.begin(), homeless.end(), giveFresh);
    // What stands beside a part is found again by that part's name.
    for (std::size_t i = 0; i < parts_.size(); ++i) {
        if (parts_[i].beside != kNoPart) {
            const std::string ours = PartName(parts_[parts_[i].beside].name).ascii();
            parts_[i].name = to_ustring(parts_[i].isOutput ? kTheirOutputs + ours : besideName(ours));
            if (!taken.take(foldedOf(parts_[i].name))) {
                giveFresh(i);
            }
        }
    }
    giveEntryNames();
}

void MergedPackage::giveEntryNames() {
    std::set<std::string> taken;
    for (const MergedPart& part : parts_) {
        const std::string entry = foldedOf(part.name).substr(1);
        taken.insert(entry);
        taken.insert(relationshipsEntry(entry));
    }
    for (const bool isBeside : {false, true}) {
        for (MergedEntry& entry : entries_) {
            if (entry.isBeside != isBeside) {
                continue;
            }
            entry.wanted = entry.name;
            std::size_t number = 0;
            if (isBeside) {
                entry.name = besideName(entry.wanted, ++number);
            }
            while (!taken.insert(fold(entry.name)).second) {
                entry.name = besideName(entry.wanted, ++number);
            }
        }
    }
}

void MergedPackage::giveIds(std::vector<MergedLink>& links) {
    std::set<std::u16string> taken;
    std::vector<MergedLink*> without;
    for (MergedLink& link : links) {
        if (link.record.id.empty() || !taken.insert(link.record.id).second) {
            without.push_back(&link);
        }
    }
    std::size_t number = 0;
    for (MergedLink* link : without) {
        do {
            link->record.id = u"rId" + to_ustring(std::to_string(++number));
        } while (!taken.insert(link->record.id).second);
    }
}

std::vector<FlowbookFilePackage::Relationship> MergedPackage::recordsOf(const std::vector<MergedLink>& links,
                                                                        const std::string& source) const {
    std::vector<MergedLink> all = links;
    for (const MergedLink& link : links) {
        const std::size_t alternative = link.part == kNoPart ? kNoPart : parts_[link.part].alternative;
        if (alternative != kNoPart) {
            MergedLink more = link;
            more.part = alternative;
            more.record.id.clear();
            all.push_back(std::move(more));
        }
    }
    giveIds(all);
    std::vector<FlowbookFilePackage::Relationship> records;
    for (MergedLink& link : all) {
        if (link.part != kNoPart && !leadsTo(link.record.target, source, foldedOf(parts_[link.part].name))) {
            link.record.target =
                parts_[link.part].name + (link.from == nullptr ? u"" : to_ustring(link.from->fragment));
        }
        records.push_back(std::move(link.record));
    }
    return records;
}

/// The bytes of parts stay in the files of the versions until they are written.
fl::Bytes MergedPackage::write() {
    PackageContent content;
    std::map<std::u16string, const Node*> nodes;
    for (MergedPart& part : parts_) {
        std::vector<FlowbookFilePackage::Relationship> records = recordsOf(part.links, foldedOf(part.name));
        content.parts.push_back(
            {std::move(part.made).value_or(fl::Bytes()), part.contentType, part.name, std::move(records)});
        if (!part.made) {
            nodes[part.name] = part.node;
        }
    }
    content.relationships = recordsOf(links_, "");
    for (MergedEntry& entry : entries_) {
        content.others[entry.name] = std::move(entry.content);
    }
    return writeContent(std::move(content), opc::interfaces::CompressionType::Normal, [&](const std::u16string& name) {
        const auto node = nodes.find(name);
        return node == nodes.end() ? fl::Bytes() : contentOf(node->second->part);
    });
}

}  // namespace flowbook::kit
