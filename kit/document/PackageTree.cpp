#include "kit/document/PackageTree.hpp"

#include "opc/Exception.hpp"

#include <utility>

namespace flowbook::kit {

using opc::model::Part;
using opc::model::PartName;
using opc::model::Relationship;
using opc::model::TargetMode;

// Not recursive: a hostile package may chain as many parts as the limits permit.
void PackageTree::walk(const ShowRow& show, const ReportFailure& report) {
    enter("/", *package_, report);
    while (!levels_.empty()) {
        Level& level = levels_.back();
        if (level.next == level.relationships.size()) {
            levels_.pop_back();
            continue;
        }
        const Row row = follow(level);
        show(row);
        if (row.kind == Target::Part) {
            const Part part = *row.part;
            enter(part.getName().ascii(), part, report);
        }
    }
}

void PackageTree::enter(const std::string& source, const opc::model::RelationshipSource& relationships,
                        const ReportFailure& report) {
    try {
        levels_.push_back({source, relationships.getRelationships(opc::model::ExcludeMode::None)});
    } catch (const opc::Exception&) {
        report();
    }
}

PackageTree::Row PackageTree::follow(Level& level) {
    const Relationship& relationship = level.relationships[level.next++];
    Row row{levels_.size() - 1, level.source, relationship, Target::External, nullptr};
    if (relationship.getTargetMode() == TargetMode::External) {
        return row;
    }
    if (Found* found = find(level, relationship)) {
        row.part = &found->part;
        row.kind = std::exchange(found->isShown, true) ? Target::Seen : Target::Part;
    } else {
        row.kind = Target::Dangling;
    }
    return row;
}

PackageTree::Found* PackageTree::find(Level& level, const Relationship& relationship) {
    const auto [found, isNew] = level.found.try_emplace(relationship.getTarget(), nullptr);
    if (isNew) {
        found->second = find(relationship);
    }
    return found->second;
}

PackageTree::Found* PackageTree::find(const Relationship& relationship) {
    try {
        const PartName name(relationship.getTargetURI());
        return package_->hasPart(name)
                   ? &found_.try_emplace(name.folded(), Found{package_->getPart(name)}).first->second
                   : nullptr;
    } catch (const opc::Exception&) {
        return nullptr;  // The target is no part name.
    }
}

std::vector<Part> PackageTree::unreached() const {
    std::vector<Part> parts;
    for (const Part& part : package_->getParts()) {
        if (found_.count(part.getName().folded()) == 0) {
            parts.push_back(part);
        }
    }
    return parts;
}

}  // namespace flowbook::kit
