#pragma once

#include "kit/package/PackageContent.hpp"
#include "kit/package/PackageNames.hpp"
#include "kit/package/Salvage.hpp"

#include <map>
#include <set>

namespace flowbook::kit {

/// A package that grows from what is found in a damaged file, and the account of what became of it.
class SalvagedPackage {
public:
    SalvagedPackage();

    /// @param name  which must have been taken.
    void addPart(const std::string& name, std::u16string type, fl::Bytes content);

    /// Adds a part of bytes below a folder, to which no relationship leads. @returns its name.
    std::string addAside(const std::string& folder, const std::string& entry, fl::Bytes content);

    /// Null for what is no part. Adding a part makes the pointer invalid.
    const FlowbookFilePackage::Part* find(const std::string& partName) const;

    /// Empty for what is no part.
    const fl::Bytes& contentOf(const std::string& partName) const;

    void reportLost(const std::string& partName, const std::string& words);
    bool isReportedLost(const std::string& partName) const;

    /// Whether a part was added by addAside().
    bool isAside(const std::string& partName) const { return asides_.count(partName) != 0; }

    /// Leaves out the relationships of a source that no package can hold. @returns whether there are any.
    bool dropFaulty(std::vector<FlowbookFilePackage::Relationship>& records, const std::string& source);

    /// Whether a package file can be read and holds just this package.
    bool isThatOf(const fl::Bytes& file) const;

    /// Makes the file, of as much as the limits permit, and reports what that leaves out.
    void write();

    PackageContent content;
    PackageNames names;
    Salvaged account;

private:
    bool tryToWrite(const PackageContent& tried);
    void dropUnwritable();
    void findUnwritable(std::size_t begin, std::size_t end, std::vector<bool>& isFaulty);
    void dropBeyondLimits();
    std::size_t countOfMostEntries() const;
    std::size_t countThatFits();
    PackageContent firstOf(std::size_t count) const;
    void putCodeFirst();
    void indexParts();
    void reportDropped(const std::string& name);
    std::size_t size() const { return content.parts.size() + content.others.size(); }

    std::map<std::string, std::size_t> partsByName_;  ///< by folded names
    std::set<std::string> reportedLost_;              ///< folded names of what is lost
    std::set<std::string> asides_;
    std::set<std::string> dropped_;  ///< names of what was found and cannot be written
    std::string fault_;              ///< why it could not be written the last time
    const fl::Bytes none_;
};

}  // namespace flowbook::kit
