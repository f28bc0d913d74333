#pragma once

#include "fl/PlatformExport.hpp"

#include <cstddef>
#include <stdexcept>
#include <string>

namespace fl::i18n {

/// Text that is not well-formed in the encoding it claims. what() names the encoding and the offset.
class PXPLATFORM_EXPORT ConversionError : public std::runtime_error {
public:
    /// @param offset  where the first malformed sequence begins, in code units of the source (bytes
    ///                for UTF-8, 16-bit units for UTF-16).
    ConversionError(const std::string& message, std::size_t offset);
    ~ConversionError() override;

    std::size_t offset() const noexcept { return offset_; }

private:
    std::size_t offset_;
};

}  // namespace fl::i18n
