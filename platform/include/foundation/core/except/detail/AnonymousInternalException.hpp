#pragma once

#include "foundation/core/except/Exception.hpp"

namespace foundation::core::except::detail {

/// What is thrown in the place of a bare T: caught as T, as any base of T, and through the
/// framework's interfaces.
template <class T>
class AnonymousInternalException : public Exception<IInternalException, T, void> {
public:
    explicit AnonymousInternalException(const T& error) : Exception<IInternalException, T, void>(error) {}

    std::unique_ptr<IException> clone() const override { return std::make_unique<AnonymousInternalException>(*this); }

    [[noreturn]] void rethrow() const override { throw *this; }
};

}  // namespace foundation::core::except::detail
