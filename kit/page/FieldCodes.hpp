#pragma once

#include <string>
#include <string_view>

namespace flowbook::kit {

/// Where the result of a field leads.
struct FieldTarget {
    std::string address;   ///< empty for a place in the document itself, or none at all
    std::string bookmark;  ///< empty when it names none
};

/// What the code of a field says of where its result leads, such as `HYPERLINK "http://a.example/" \l "place"` and
/// `REF place \h` (ECMA-376-1, part 1, 17.16.5). Nothing for fields of other kinds.
FieldTarget targetOfField(std::string_view code);

}  // namespace flowbook::kit
