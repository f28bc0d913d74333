#include "Functions.hpp"

#include "Failure.hpp"
#include "Source.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"

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

kit::Salvaged repair(const std::string& remains) {
    return runCall("", true, [bytes = fl::Bytes(remains.begin(), remains.end())] { return kit::salvage(bytes); });
}

}  // namespace flowbook::python
