#pragma once

#include "inputs/Input.hpp"
#include "opc/model/Package.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "terminal/Bytes.hpp"

namespace flowbook::tool {

/// The package under a flowbook, open for reading.
class PackageView {
public:
    /// @throws opc::Exception.
    explicit PackageView(const Input& input);

    opc::model::Package& package() noexcept { return package_; }

private:
    opc::zippackage::ZipPhysicalPackage container_;
    opc::model::Package package_;
};

/// @throws opc::Exception.
Bytes contentOf(const opc::model::Part& part);

}  // namespace flowbook::tool
