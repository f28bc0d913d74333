#pragma once

#include "flowbook/FlowbookExceptions.hpp"
#include "format/ThrowInternal.hpp"
#include "opc/Exception.hpp"

#include <string>

namespace flowbook::detail {

/// Reports a failure of the package library as the reader's own, its text kept.
[[noreturn]] inline void throwReadingFailure(const std::u16string& fileName, const opc::Exception& failure) {
    throwInternal(FlowbookFileReaderGenericException(
                      fileName, std::string("Internal Exception in reading Flowbook file : ") + failure.what()),
                  failure);
}

}  // namespace flowbook::detail
