#pragma once

#include "fl/Bytes.hpp"
#include "opc/interfaces/IPhysicalPackage.hpp"
#include "opc/model/Entries.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace opc::model::detail {

/// The container that a package lies in: reads its entries within the limits, and names file and part for messages.
class Container {
public:
    explicit Container(interfaces::IPhysicalPackage& physical) : physical_(&physical), name_(physical.displayName()) {}

    interfaces::IPhysicalPackage& physical() const noexcept { return *physical_; }
    const Limits& limits() const noexcept { return physical_->limits(); }

    /// "package 'x'", for messages; also good when the container is gone.
    std::string where() const { return "package '" + name_ + "'"; }

    /// "package 'x', part '/y'".
    std::string where(std::string_view partName) const;

    const std::string& name() const noexcept { return name_; }

    /// Bytes of the content, and bytes that it takes up in the container.
    std::uint64_t size(const Entries& entries) const { return total(entries, &interfaces::PhysicalEntry::size); }
    std::uint64_t storedSize(const Entries& entries) const {
        return total(entries, &interfaces::PhysicalEntry::storedSize);
    }

    /// What the entries hold, one after the other.
    /// @param name  the part's, for the message. @throws opc::Exception, also of kind LimitExceeded.
    fl::Bytes read(const Entries& entries, std::string_view name) const;

    /// As above, for package XML, which is held to the limit for that.
    fl::Bytes readXml(const Entries& entries, std::string_view name) const;

    /// @throws opc::Exception of kind LimitExceeded.
    void refuseLargerXml(std::uint64_t size, std::string_view name) const;
    void refuseLongerName(std::string_view name) const;

private:
    fl::Bytes readPieces(const Entries& entries, std::string_view name) const;
    std::uint64_t total(const Entries& entries, std::uint64_t interfaces::PhysicalEntry::*member) const;
    void refuseLarger(std::uint64_t size, std::uint64_t limit, const char* limitName, std::string_view name) const;

    interfaces::IPhysicalPackage* physical_;
    std::string name_;  ///< a copy, as handles may outlive the container
};

}  // namespace opc::model::detail
