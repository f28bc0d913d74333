#pragma once

namespace opc::interfaces {

enum class CompressionType {
    None = 0,   ///< stored as it is
    Normal = 1  ///< deflated, at the ordinary balance of speed and size
};

}  // namespace opc::interfaces
