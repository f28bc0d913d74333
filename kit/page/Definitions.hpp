#pragma once

#include "kit/document/Document.hpp"
#include "kit/page/Faults.hpp"
#include "kit/page/Lists.hpp"
#include "kit/page/Styles.hpp"

#include <string>
#include <vector>

namespace flowbook::kit {

/// What the parts beside a document define for its text: styles and lists.
class Definitions {
public:
    explicit Definitions(const Document& document);

    const Styles& styles() const noexcept { return styles_; }
    const Numbering& numbering() const noexcept { return numbering_; }

    /// Why something that they define is not known.
    const std::vector<PageFault>& faults() const noexcept { return faults_; }

private:
    XmlTree read(const Document& document, const std::vector<opc::model::Relationship>& all, std::string_view type);
    XmlTree readStyles(const Document& document);

    std::vector<PageFault> faults_;
    XmlTree styleTree_;
    XmlTree numberingTree_;
    Styles styles_;
    Numbering numbering_;
};

}  // namespace flowbook::kit
