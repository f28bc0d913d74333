#include "kit/package/Salvage.hpp"
#include "kit/page/Page.hpp"

namespace flowbook::kit {

namespace {

/// What is left of the code that salvage() found damaged and replaced by empty code; empty when that did not happen.
fl::Bytes remainsOfCode(const Document& document) {
    try {
        const std::optional<opc::model::Part> code = document.codePart();
        if (!code) {
            return {};
        }
        const opc::model::PartName name(u"/damaged" + code->getName().toString());
        return document.package().hasPart(name) ? contentOf(document.package().getPart(name)) : fl::Bytes();
    } catch (const opc::Exception&) {
        return {};  // A name that no part can have, or content that cannot be read.
    }
}

}  // namespace

std::optional<Page> makeSalvagedPage(const fl::Bytes& remains, const std::u16string& name, const std::string& reason,
                                     PageOptions options) {
    Salvaged salvaged = salvage(remains);
    if (!salvaged.flowbook) {
        return std::nullopt;
    }
    const Document document(std::move(*salvaged.flowbook), name);
    PageDamage damage{reason, std::move(salvaged.lost), remainsOfCode(document)};
    damage.losses.insert(damage.losses.end(), salvaged.rebuilt.begin(), salvaged.rebuilt.end());
    options.damage = std::move(damage);
    return makePage(document, options);
}

}  // namespace flowbook::kit
