#pragma once

#include "foundation/core/except/detail/AnonymousInternalException.hpp"

namespace flowbook::detail {

/// Every throw of the library goes through here, so that callers may catch a failure by its class or
/// by the framework's interfaces.
template <class T>
[[noreturn]] void throwInternal(const T& error) {
    throw foundation::core::except::detail::AnonymousInternalException<T>(error);
}

}  // namespace flowbook::detail
