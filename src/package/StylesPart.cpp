#include "package/StylesPart.hpp"

#include "format/XmlTemplates.hpp"

namespace flowbook::detail {

std::string emptyStylesXml() { return format::kEmptyStylesXml; }

}  // namespace flowbook::detail
