#pragma once

#include "fl/PlatformExport.hpp"

#include <string>

namespace opc::model {

/// A URI reference (RFC 3986). Characters that a URI must not hold (spaces, non-ASCII) are
/// percent-encoded as UTF-8 on construction (RFC 3987, 3.1). An immutable value.
class PXPLATFORM_EXPORT URI {
public:
    /// @throws opc::Exception for text that is no URI reference even then (a lone surrogate, a control
    ///         character, a "%" without two hexadecimal digits).
    explicit URI(const std::u16string& text);

    /// This reference resolved against `base` (RFC 3986, 5.2), dot segments removed.
    URI resolvedAgainst(const URI& base) const;

    bool hasScheme() const noexcept { return !scheme_.empty(); }
    bool hasAuthority() const noexcept { return hasAuthority_; }
    bool hasQuery() const noexcept { return hasQuery_; }

    /// ASCII, still percent-encoded.
    const std::string& path() const noexcept { return path_; }

    /// The whole reference, fragment included.
    std::u16string toString() const;

private:
    URI() = default;
    void parse(std::string text);

    std::string scheme_;
    std::string authority_;
    std::string path_;
    std::string query_;
    std::string fragment_;
    bool hasAuthority_ = false;
    bool hasQuery_ = false;
    bool hasFragment_ = false;
};

}  // namespace opc::model
