#include "foundation/core/except/IInternalException.hpp"

namespace foundation::core::except {

IInternalException::~IInternalException() = default;

}  // namespace foundation::core::except
