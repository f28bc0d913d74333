#include "opc/InputStream.hpp"

#include <array>

namespace opc {

void InputStream::transferTo(OutputStream& out) {
    std::array<unsigned char, 16384> buffer;
    while (const std::size_t count = read(buffer.data(), buffer.size())) {
        out.write(buffer.data(), count);
    }
}

}  // namespace opc
