#pragma once

#include "foundation/core/except/IException.hpp"

namespace foundation::core::except {

/// What a library throws of its own accord, as opposed to what user code raises.
class PXPLATFORM_EXPORT IInternalException : public IException {
public:
    ~IInternalException() override;

protected:
    IInternalException() = default;
    IInternalException(const IInternalException&) = default;
    IInternalException& operator=(const IInternalException&) = default;
};

}  // namespace foundation::core::except
