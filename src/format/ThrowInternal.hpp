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

/// Reports a failure of the platform as one of this library's classes, with its text, its kind and its part.
/// @param doing  stands before the text.
template <class T>
[[noreturn]] void throwFor(const std::exception& failure, const std::u16string& fileName, const char* doing) {
    T error(fileName, std::string(doing) + failure.what(), kindOf(failure));
    error.setPart(partOf(failure));
    throwInternal(error);
}

/// Reports a failure of the package library as the reader's own.
[[noreturn]] inline void throwReadingFailure(const std::u16string& fileName, const opc::Exception& failure) {
    throwFor<FlowbookFileReaderGenericException>(failure, fileName, "Internal Exception in reading Flowbook file : ");
}

}  // namespace flowbook::detail
