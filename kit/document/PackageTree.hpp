#pragma once

#include "opc/model/Package.hpp"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// A walk over the relationships of a package from the root, depth first, each part entered once. It
/// hands out row by row: how much memory it takes is in proportion to the file, not to what is shown.
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
        std::string_view source;  ///< a part name; "/" for the package
        const opc::model::Relationship& relationship;
        Target kind;
        const opc::model::Part* part;  ///< of an internal target that is there, else null
    };

    using ShowRow = std::function<void(const Row&)>;
    /// Called, with an exception being handled, for a relationships part that cannot be read.
    using ReportFailure = std::function<void()>;

    explicit PackageTree(const opc::model::Package& package) : package_(&package) {}

    void walk(const ShowRow& show, const ReportFailure& report);

    /// The parts that no relationship led to.
    std::vector<opc::model::Part> unreached() const;

private:
    struct Found {
        opc::model::Part part;
        bool isShown = false;
    };

    /// A source and what is left to show of it.
    struct Level {
        std::string source;
        std::vector<opc::model::Relationship> relationships;
        std::size_t next = 0;
        std::map<std::u16string_view, Found*> found{};  ///< by target text; null: no part
    };

    void enter(const std::string& source, const opc::model::RelationshipSource& relationships,
               const ReportFailure& report);
    Row follow(Level& level);
    Found* find(Level& level, const opc::model::Relationship& relationship);
    Found* find(const opc::model::Relationship& relationship);

    const opc::model::Package* package_;
    std::vector<Level> levels_;
    std::map<std::string, Found> found_;  ///< by folded name: names may be long, and reached from everywhere
};

}  // namespace flowbook::kit
