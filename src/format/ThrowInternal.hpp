#pragma once

#include "flowbook/FlowbookExceptions.hpp"
#include "foundation/core/except/detail/AnonymousInternalException.hpp"
#include "opc/Exception.hpp"

#include <string>

namespace flowbook::detail {

/// The class that is thrown in the place of a bare T. It is a T and has the framework's interfaces as well.
template <class T>
using Internal = foundation::core::except::detail::AnonymousInternalException<T>;

/// Throws an exception of this library. Every throw of the library uses this function, so that callers may catch a
/// failure by its class or by the framework's interfaces.
template <class T>
[[noreturn]] void throwInternal(const T& error) {
    throw Internal<T>(error);
}

/// Reports a failure of the package library as the reader's own, its text kept.
[[noreturn]] inline void throwReadingFailure(const std::u16string& fileName, const opc::Exception& failure) {
    throwInternal(FlowbookFileReaderGenericException(
        fileName, std::string("Internal Exception in reading Flowbook file : ") + failure.what(), kindOf(failure)));
}

}  // namespace flowbook::detail
