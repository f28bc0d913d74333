// Loads the module with the tables for lower case at the first text that is not ASCII. The tables are part of a library
// of 30 MB, which most processes never need.
#include "fl/Module.hpp"
#include "fl/i18n/tables/UnicodeLower.hpp"

#include <stdexcept>
#include <type_traits>

namespace fl::i18n {
namespace {

using Lower = decltype(&pxplatform_unicode_lower);
static_assert(std::is_trivially_destructible_v<Lower>);

Lower load() {
    try {
        return reinterpret_cast<Lower>(functionOfModule(PXPLATFORM_TABLES_MODULE, "pxplatform_unicode_lower"));
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string("cannot load the tables for lower case ") + error.what());
    }
}

}  // namespace

std::size_t unicodeLower(std::u16string_view text, std::u16string& to) {
    static const Lower loaded = load();
    return loaded(&text, &to);
}

}  // namespace fl::i18n
