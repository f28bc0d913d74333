#pragma once

#include <map>
#include <set>
#include <string>

namespace flowbook::kit {

/// The names of a package, of which none may be equal to another but for case, or begin with all segments of another
/// (ECMA-376-2, M1.11 and M1.12).
class PackageNames {
public:
    /// @returns whether the name could be taken.
    bool take(const std::string& name);

    /// Takes the name, or one that a number behind it makes free. @returns what was taken.
    std::string takeSimilar(const std::string& wanted);

    bool isFree(const std::string& name) const;

private:
    /// Orders a name directly before those that it is the beginning of: in a set without such names, only neighbours
    /// can exclude each other.
    struct BySegments {
        bool operator()(const std::string& a, const std::string& b) const;
    };

    std::set<std::string, BySegments> names_;
    std::map<std::string, std::size_t> numbers_;  ///< the last ones that made folded names free
};

}  // namespace flowbook::kit
