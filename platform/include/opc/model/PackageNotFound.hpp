#pragma once

#include "opc/Exception.hpp"

namespace opc::model {

/// There is no file to open as a package.
class PXPLATFORM_EXPORT PackageNotFound : public Exception {
public:
    explicit PackageNotFound(const std::string& message);
    ~PackageNotFound() override;
};

}  // namespace opc::model
