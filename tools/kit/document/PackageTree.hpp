#pragma once

#include "opc/model/Package.hpp"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace flowbook::kit {

/// The relationships of a package in the order of a walk from the root, depth first, each part entered once.
class PackageTree {
public:
    enum class Target {
        Part,      ///< shown here for the first time; its relationships follow
        Seen,      ///< a part that was shown before
        External,  ///< outside the package
        Dangling   ///< no part of the package
    };

    struct Row {
        std::size_t depth;
        std::string source;  ///< a part name; "/" for the package
        opc::model::Relationship relationship;
        Target kind;
        std::optional<opc::model::Part> part;  ///< of an internal target that is there
    };

    /// @throws opc::Exception when a relationships part is malformed.
    explicit PackageTree(const opc::model::Package& package);

    const std::vector<Row>& rows() const noexcept { return rows_; }

    /// The parts that no relationship leads to.
    std::vector<opc::model::Part> unreached() const;

private:
    struct Step {
        std::size_t depth;
        std::string source;
        opc::model::Relationship relationship;
    };

    void plan(std::size_t depth, const std::string& source, const opc::model::RelationshipSource& relationships);
    Row follow(Step step);
    std::optional<opc::model::Part> find(const opc::model::Relationship& relationship) const;

    const opc::model::Package* package_;
    std::vector<Step> pending_;
    std::vector<Row> rows_;
    std::set<std::string> seen_;  ///< folded part names
};

}  // namespace flowbook::kit
