#pragma once

#include "kit/document/XmlTree.hpp"
#include "kit/page/Markup.hpp"

namespace flowbook::kit {

enum class FormulaPlace { InText, Apart };

/// Writes a formula of Office Math (ECMA-376-1, part 1, 22.1) as MathML. What has no counterpart there is a row of what
/// it holds, so that all text of the formula is on the page.
void writeFormula(Markup& out, const XmlNode& formula, FormulaPlace place);

/// Whether the element is a formula: "oMath", or "oMathPara", which holds some.
bool isFormula(const XmlNode& node);

}  // namespace flowbook::kit
