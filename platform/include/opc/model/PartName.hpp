#pragma once

#include "opc/model/URI.hpp"

#include <optional>
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

    /// The name that `text` (ASCII, with its leading slash) is; nothing when it breaks a rule.
    static std::optional<PartName> parse(std::string_view text);

    /// Whether `text` is a name.
    static bool isValid(std::string_view text) noexcept;

    URI getURI() const;
    std::u16string toString() const;

    const std::string& ascii() const noexcept { return text_; }

    /// The form under which equivalent names are equal.
    const std::string& folded() const noexcept { return folded_.empty() ? text_ : folded_; }

    friend bool operator==(const PartName& a, const PartName& b) { return a.folded() == b.folded(); }
    friend bool operator!=(const PartName& a, const PartName& b) { return !(a == b); }

private:
    struct Checked {};
    PartName(Checked, std::string_view text);

    std::string text_;
    std::string folded_;  ///< empty when the text itself is folded
};

}  // namespace opc::model
