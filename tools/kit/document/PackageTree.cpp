#include "kit/document/PackageTree.hpp"

#include "opc/Exception.hpp"

namespace flowbook::kit {

using opc::model::Part;
using opc::model::PartName;
using opc::model::Relationship;
using opc::model::TargetMode;

// Not recursive: a hostile package may chain as many parts as the limits permit.
PackageTree::PackageTree(const opc::model::Package& package) : package_(&package) {
    plan(0, "/", package);
    while (!pending_.empty()) {
        Step step = std::move(pending_.back());
        pending_.pop_back();
        rows_.push_back(follow(std::move(step)));
        const Row& row = rows_.back();
        if (row.kind == Target::Part) {
            plan(row.depth + 1, row.part->getName().ascii(), *row.part);
        }
    }
}

void PackageTree::plan(std::size_t depth, const std::string& source,
                       const opc::model::RelationshipSource& relationships) {
    const std::vector<Relationship> all = relationships.getRelationships(opc::model::ExcludeMode::None);
    for (auto each = all.rbegin(); each != all.rend(); ++each) {
        pending_.push_back({depth, source, *each});
    }
}

PackageTree::Row PackageTree::follow(Step step) {
    Row row{step.depth, std::move(step.source), std::move(step.relationship), Target::External, std::nullopt};
    if (row.relationship.getTargetMode() == TargetMode::External) {
        return row;
    }
    row.part = find(row.relationship);
    if (!row.part) {
        row.kind = Target::Dangling;
    } else {
        row.kind = seen_.insert(row.part->getName().folded()).second ? Target::Part : Target::Seen;
    }
    return row;
}

std::optional<Part> PackageTree::find(const Relationship& relationship) const {
    try {
        const PartName name(relationship.getTargetURI());
        return package_->hasPart(name) ? std::make_optional(package_->getPart(name)) : std::nullopt;
    } catch (const opc::Exception&) {
        return std::nullopt;  // The target is no part name.
    }
}

std::vector<Part> PackageTree::unreached() const {
    std::vector<Part> parts;
    for (const Part& part : package_->getParts()) {
        if (seen_.count(part.getName().folded()) == 0) {
            parts.push_back(part);
        }
    }
    return parts;
}

}  // namespace flowbook::kit
