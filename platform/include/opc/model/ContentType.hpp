#pragma once

#include "fl/PlatformExport.hpp"

#include <string>
#include <utility>
#include <vector>

namespace opc::model {

/// A media type with parameters (RFC 7231, 3.1.1.1, as ECMA-376-2 8.1.2 takes it over): type and
/// subtype compare without regard to ASCII case, parameter names and values exactly, their order
/// does not matter. A value; the text it was made from is kept verbatim.
class PXPLATFORM_EXPORT ContentType {
public:
    /// @throws opc::Exception for text that is no media type, saying what is wrong with it.
    explicit ContentType(const std::u16string& text);

    /// Appends a parameter, quoted when it is no token.
    /// @throws opc::Exception when the name is no token or is there already, or the value cannot be
    ///         quoted (a control or non-ASCII character).
    void addParameter(const std::u16string& name, const std::u16string& value);

    bool hasParameter(const std::u16string& name) const;

    /// Without quotes. @throws opc::Exception when there is no such parameter.
    std::u16string getParameterValue(const std::u16string& name) const;

    /// All parameters, in their order.
    const std::vector<std::pair<std::u16string, std::u16string>>& getParameters() const noexcept { return parameters_; }

    /// The full text, parameters included.
    const std::u16string& toString() const noexcept { return text_; }

    /// Type, slash and subtype, in lower case.
    const std::u16string& getMediaType() const noexcept { return mediaType_; }

    PXPLATFORM_EXPORT friend bool operator==(const ContentType& a, const ContentType& b);
    friend bool operator!=(const ContentType& a, const ContentType& b) { return !(a == b); }

private:
    std::u16string text_;
    std::u16string mediaType_;
    std::vector<std::pair<std::u16string, std::u16string>> parameters_;
};

}  // namespace opc::model
