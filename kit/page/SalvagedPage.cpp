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

std::optional<SavedVersion> saveVersion(const fl::Bytes& remains, const std::u16string& name,
                                        const std::string& reason) {
    Salvaged salvaged = salvage(remains);
    if (!salvaged.flowbook) {
        return std::nullopt;
    }
    SavedVersion saved{Document(std::move(*salvaged.flowbook), name), {reason, wordsOf(salvaged.lost), {}}};
    saved.damage.code = remainsOfCode(saved.document);
    const std::vector<std::string> rebuilt = wordsOf(salvaged.rebuilt);
    saved.damage.losses.insert(saved.damage.losses.end(), rebuilt.begin(), rebuilt.end());
    return saved;
}

std::optional<Page> makeSalvagedPage(const fl::Bytes& remains, const std::u16string& name, const std::string& reason,
                                     PageOptions options) {
    std::optional<SavedVersion> saved = saveVersion(remains, name, reason);
    if (!saved) {
        return std::nullopt;
    }
    options.damage = std::move(saved->damage);
    return makePage(saved->document, options);
}

}  // namespace flowbook::kit
