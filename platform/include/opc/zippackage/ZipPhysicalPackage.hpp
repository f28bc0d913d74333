#pragma once

#include "opc/FileSystemOpsSelector.hpp"
#include "opc/interfaces/IPhysicalPackage.hpp"

#include <memory>

namespace opc::zippackage {

/// A package's zip container. Reading follows the zip specification (APPNOTE 6.3) as far as
/// ECMA-376-2 Annex C permits it, and refuses every file that two readers could understand
/// differently: prepended data, several end records, overlapping or equivalent entries, second names.
/// Only a line break may follow the end; the next commit drops it.
class PXPLATFORM_EXPORT ZipPhysicalPackage : public interfaces::IPhysicalPackage {
public:
    /// @param verifyContent  hosts pass true. Contents are verified in either case.
    ZipPhysicalPackage(const std::u16string& fileName, const FileSystemOpsSelector& selector, bool verifyContent,
                       const Limits& limits = Limits());
    ~ZipPhysicalPackage() override;
    ZipPhysicalPackage(const ZipPhysicalPackage&) = delete;
    ZipPhysicalPackage& operator=(const ZipPhysicalPackage&) = delete;

    void open(interfaces::OpenMode mode) override;
    const std::vector<interfaces::PhysicalEntry>& entries() const override;
    fl::Bytes read(std::size_t position) const override;
    void commit(const std::vector<interfaces::PlannedEntry>& plan) override;
    void close() noexcept override;
    const std::string& displayName() const noexcept override;
    const Limits& limits() const noexcept override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace opc::zippackage
