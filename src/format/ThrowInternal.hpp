#pragma once

#include "flowbook/FlowbookExceptions.hpp"
#include "foundation/core/except/detail/AnonymousInternalException.hpp"
#include "opc/Exception.hpp"

#include <memory>
#include <string>

namespace flowbook::detail {

/// What is thrown in the place of a bare T.
template <class T>
using Internal = foundation::core::except::detail::AnonymousInternalException<T>;

/// Attaches the kind of the package library's failure, by its name.
template <class Thrown, class Cause>
auto attachKind(Thrown& thrown, const Cause& cause, int)
    -> decltype(thrown.errorInfo()->values["kind"] = nameOf(cause.kind()), thrown.setErrorInfo(thrown.errorInfo())) {
    auto info = std::make_shared<typename decltype(thrown.errorInfo())::element_type>();
    info->values["kind"] = nameOf(cause.kind());
    thrown.setErrorInfo(std::move(info));
}

/// The failures of a host's package library may have no kinds, and its framework no place for them.
template <class Thrown, class Cause>
void attachKind(Thrown&, const Cause&, long) {}

/// The kind of a failure that the library finds itself.
struct OwnKind {
    const char* name;
    const OwnKind& kind() const noexcept { return *this; }
};
inline const char* nameOf(const OwnKind& kind) noexcept { return kind.name; }

/// Every throw of the library goes through here, so that callers may catch a failure by its class or
/// by the framework's interfaces.
template <class T>
[[noreturn]] void throwInternal(const T& error) {
    throw Internal<T>(error);
}

template <class T, class Cause>
Internal<T> withKind(const T& error, const Cause& cause) {
    Internal<T> thrown(error);
    attachKind(thrown, cause, 0);
    return thrown;
}

/// As above, with the kind of the failure that it was made from, or an OwnKind.
template <class T, class Cause>
[[noreturn]] void throwInternal(const T& error, const Cause& cause) {
    throw withKind(error, cause);
}

/// Reports a failure of the package library as the reader's own, its text kept.
[[noreturn]] inline void throwReadingFailure(const std::u16string& fileName, const opc::Exception& failure) {
    throwInternal(FlowbookFileReaderGenericException(
                      fileName, std::string("Internal Exception in reading Flowbook file : ") + failure.what()),
                  failure);
}

}  // namespace flowbook::detail
