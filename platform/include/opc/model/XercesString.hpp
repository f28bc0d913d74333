#pragma once

#include <string>
#include <type_traits>
#include <xercesc/util/XercesDefs.hpp>

namespace opc::model {

static_assert(std::is_same_v<XMLCh, char16_t>, "Xerces-C must be built with char16_t as XMLCh");

/// A string of the XML library: UTF-16, as std::u16string is.
class XercesString {
public:
    XercesString() = default;
    explicit XercesString(std::u16string text) : text_(std::move(text)) {}
    /// @param text  null-terminated; null stands for the empty string.
    explicit XercesString(const XMLCh* text) : text_(text == nullptr ? u"" : text) {}

    const XMLCh* c_str() const noexcept { return text_.c_str(); }
    const std::u16string& toString() const noexcept { return text_; }

private:
    std::u16string text_;
};

}  // namespace opc::model
