#pragma once

#include "opc/model/URI.hpp"

#include <string>
#include <string_view>

namespace opc::model {

/// The name of a part (ECMA-376-2, 4th edition, 9.1.1): ASCII, beginning with a slash. Names compare
/// without regard to ASCII case (M1.12). An immutable value.
class PXPLATFORM_EXPORT PartName {
public:
    /// @throws opc::Exception naming the rule (M1.1, M1.3 to M1.10) that the text breaks.
    explicit PartName(const std::u16string& text);

    /// The part that a resolved target addresses: its path, the fragment and percent-encoded
    /// unreserved characters aside. @throws opc::Exception when the URI has a scheme, an authority or a
    /// query, or its path is no part name.
    explicit PartName(const URI& uri);

    /// Whether `text` (ASCII, with its leading slash) obeys the grammar.
    static bool isValid(std::string_view text) noexcept;

    URI getURI() const;
    std::u16string toString() const;

    const std::string& ascii() const noexcept { return text_; }

    /// The form under which equivalent names are equal.
    std::string folded() const;

    friend bool operator==(const PartName& a, const PartName& b) { return a.folded() == b.folded(); }
    friend bool operator!=(const PartName& a, const PartName& b) { return !(a == b); }

private:
    std::string text_;
};

}  // namespace opc::model
