#include "kit/package/GitForm.hpp"

#include "kit/package/PackageContent.hpp"
#include "kit/package/Strip.hpp"

#include <algorithm>
#include <new>
#include <optional>

namespace flowbook::kit {

using opc::interfaces::CompressionType;

namespace {

/// Every local header and every empty archive begins like that, so nothing else needs a closer look.
bool looksLikeZip(const fl::Bytes& file) { return file.size() > 4 && file[0] == 'P' && file[1] == 'K'; }

/// What `work` gives; nothing when the file is none that it can be done with.
template <class Work>
auto ifPossible(Work work) -> decltype(work()) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return {};
    }
}

bool isFlowbook(const Document& document) { return document.form() != CodeForm::None; }

std::optional<fl::Bytes> storedForm(const Document& document) {
    if (!isFlowbook(document)) {
        return std::nullopt;
    }
    PackageContent content = readContent(document);
    const std::size_t parts = content.parts.size();
    const bool hasOthers = !content.others.empty();
    fl::Bytes stored = writeContent(std::move(content), CompressionType::None);
    // Content types are made anew, by extension where that does, and might make a part of an entry that was none.
    const bool isSame = !hasOthers || Document(stored).package().getParts().size() == parts;
    return isSame ? std::make_optional(std::move(stored)) : std::nullopt;
}

std::optional<Filtered> filtered(const fl::Bytes& file, bool strips) {
    const Document document(file);
    if (isSigned(document)) {
        return Filtered{file, "it is signed, and left as it is"};
    }
    const std::optional<fl::Bytes> rest = strips ? stripped(file) : std::nullopt;
    std::optional<fl::Bytes> stored = rest ? storedForm(Document(*rest)) : storedForm(document);
    return stored ? std::make_optional(Filtered{std::move(*stored), ""}) : std::nullopt;
}

bool isAllStored(const Document& document) {
    const auto& entries = document.container().entries();
    return std::all_of(entries.begin(), entries.end(),
                       [](const auto& entry) { return entry.size == entry.storedSize; });
}

std::optional<fl::Bytes> deflatedForm(const fl::Bytes& file) {
    const Document document(file);
    const bool isStored = isFlowbook(document) && isAllStored(document) && !isSigned(document);
    return isStored ? std::make_optional(recompressed(document, CompressionType::Normal)) : std::nullopt;
}

}  // namespace

Filtered toStoredForm(fl::Bytes file, bool strips) {
    if (!looksLikeZip(file)) {
        return {std::move(file), ""};
    }
    std::optional<Filtered> result = ifPossible([&] { return filtered(file, strips); });
    return result ? std::move(*result) : Filtered{std::move(file), ""};
}

fl::Bytes toDeflatedForm(fl::Bytes file) {
    if (!looksLikeZip(file)) {
        return file;
    }
    std::optional<fl::Bytes> deflated = ifPossible([&] { return deflatedForm(file); });
    return deflated ? std::move(*deflated) : std::move(file);
}

fl::Bytes inFormOf(fl::Bytes flowbook, const Document& model) {
    return isAllStored(model) ? recompressed(Document(std::move(flowbook)), CompressionType::None)
                              : std::move(flowbook);
}

}  // namespace flowbook::kit
