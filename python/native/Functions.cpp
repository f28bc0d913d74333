#include "Functions.hpp"

#include "Failure.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "kit/compare/TextForm.hpp"
#include "kit/package/Strip.hpp"

namespace flowbook::python {

using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::StorageSystemReference;

fl::Bytes newFlowbook() {
    return runCall("", false, [] {
        const auto memory = std::make_shared<MemoryStorage>();
        FlowbookFileWriter writer(kName, StorageSystemReference(memory), {});
        writer.write(FlowbookFilePackage());
        writer.close(false);
        return memory->get(kName);
    });
}

namespace {

fl::Bytes copyOf(const std::string& bytes) { return {bytes.begin(), bytes.end()}; }

}  // namespace

fl::Bytes contentOf(const LocalPath& path, const std::string& name) {
    return runCall(name, true, [path] { return Source::ofPath(path).bytes(); });
}

std::string textOf(const StorageSystemReference& storage) {
    // Not by kName, which would stand in the text; the storage has one file under any name.
    return kit::textForm(u"flowbook", storage);
}

std::string textOf(const std::string& content) {
    return runCall("", true, [bytes = copyOf(content)] { return textOf(Source::ofBytes(bytes).storage()); });
}

kit::PageOptions pageOptions(const std::string& file) {
    return {file, [file](const std::string& words) { return withName(words, file); }};
}

std::optional<std::string> salvagedPage(const fl::Bytes& remains, const std::string& file, const std::string& reason) {
    auto page = kit::makeSalvagedPage(remains, kName, reason, pageOptions(file));
    return page ? std::make_optional(std::move(page->html)) : std::nullopt;
}

std::optional<std::string> damagedHtml(const std::string& remains, const std::string& file, const std::string& reason) {
    return runCall(file, true, [bytes = copyOf(remains), file, reason] { return salvagedPage(bytes, file, reason); });
}

std::string diff(const kit::NamedText& a, const kit::NamedText& b, std::size_t context) {
    return runCall("", true, [a, b, context] { return kit::unifiedDiff(a, b, context); });
}

kit::Salvaged repair(const std::string& remains) {
    return runCall("", true, [bytes = copyOf(remains)] { return kit::salvage(bytes); });
}

std::optional<fl::Bytes> stripped(const std::string& flowbook, const std::string& name) {
    return runCall(name, true, [bytes = copyOf(flowbook)] { return kit::stripped(bytes, kName); });
}

kit::MergeResult merge(const std::optional<std::string>& base, const std::string& ours, const std::string& theirs,
                       const kit::MergeOptions& options) {
    const auto version = [](const std::string& bytes) { return std::make_shared<kit::Document>(copyOf(bytes), kName); };
    return runCall("", true, [version, base, ours, theirs, options] {
        const auto ancestor = base ? version(*base) : nullptr;
        return kit::merge(ancestor.get(), *version(ours), *version(theirs), options);
    });
}

}  // namespace flowbook::python
