#include "fl/i18n/ConversionError.hpp"

namespace fl::i18n {

ConversionError::ConversionError(const std::string& message, std::size_t offset)
    : std::runtime_error(message), offset_(offset) {}

ConversionError::~ConversionError() = default;

}  // namespace fl::i18n
