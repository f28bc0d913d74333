#include "Functions.hpp"

#include "Failure.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
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
