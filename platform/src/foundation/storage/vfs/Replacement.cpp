#include "foundation/storage/vfs/Replacement.hpp"

#include <algorithm>
#include <vector>

namespace foundation::storage::vfs {

void Replacement::append(const ReadableFile& source, std::uint64_t offset, std::uint64_t count) {
    constexpr std::uint64_t kAtOnce = std::uint64_t{64} << 10;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(std::min(count, kAtOnce)));
    while (count != 0) {
        const auto size = static_cast<std::size_t>(std::min(count, kAtOnce));
        source.read(offset, bytes.data(), size);
        write(bytes.data(), size);
        offset += size;
        count -= size;
    }
}

}  // namespace foundation::storage::vfs
