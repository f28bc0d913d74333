#pragma once

#include "opc/Exception.hpp"

namespace opc::model {

/// The package has no part of that name.
class PXPLATFORM_EXPORT PartNotFound : public Exception {
public:
    explicit PartNotFound(const std::string& message, std::string_view part = {});
    ~PartNotFound() override;
};

}  // namespace opc::model
