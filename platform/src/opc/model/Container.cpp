// Reads entries of the physical package for the model, and holds them to the limits before memory is taken. Messages
// name the package and the part, which the physical package does not know.
#include "opc/model/Container.hpp"

#include "opc/Exception.hpp"
#include "opc/MessageText.hpp"

namespace opc::model::detail {

std::string Container::where(std::string_view partName) const { return where() + ", part " + shown(partName); }

fl::Bytes Container::read(const Entries& entries, std::string_view name) const {
    try {
        return entries.size() == 1 ? physical_->read(entries[0]) : readPieces(entries, name);
    } catch (Exception& failure) {
        failure.setPart(name);  // in the place of the piece that is at fault
        throw;
    }
}

fl::Bytes Container::readPieces(const Entries& entries, std::string_view name) const {
    refuseLarger(size(entries), limits().maxPartSize, "maxPartSize", name);
    fl::Bytes whole;
    for (const std::size_t entry : entries) {
        const fl::Bytes piece = physical_->read(entry);
        whole.insert(whole.end(), piece.begin(), piece.end());
    }
    return whole;
}

fl::Bytes Container::readXml(const Entries& entries, std::string_view name) const {
    refuseLargerXml(size(entries), name);
    return read(entries, name);
}

void Container::refuseLargerXml(std::uint64_t size, std::string_view name) const {
    refuseLarger(size, limits().maxPackageXmlSize, "maxPackageXmlSize", name);
}

void Container::refuseLongerName(std::string_view name) const {
    if (name.size() > limits().maxNameLength) {
        throw Exception(ErrorKind::LimitExceeded,
                        where(name) + ": the " + std::to_string(name.size()) +
                            " bytes of its name are more than the limit maxNameLength of " +
                            std::to_string(limits().maxNameLength) + " permits",
                        name);
    }
}

std::uint64_t Container::total(const Entries& entries, std::uint64_t interfaces::PhysicalEntry::*member) const {
    std::uint64_t sum = 0;
    for (const std::size_t entry : entries) {
        sum += physical_->entries()[entry].*member;
    }
    return sum;
}

void Container::refuseLarger(std::uint64_t size, std::uint64_t limit, const char* limitName,
                             std::string_view name) const {
    if (size > limit) {
        throw Exception(ErrorKind::LimitExceeded,
                        where(name) + ": its " + std::to_string(size) + " bytes are more than the limit " + limitName +
                            " of " + std::to_string(limit) + " permits",
                        name);
    }
}

}  // namespace opc::model::detail
