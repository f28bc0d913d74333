#pragma once

namespace opc::interfaces {

enum class OpenMode {
    ReadOnly = 0,  ///< the file must exist; nothing is ever written
    Create = 1,    ///< a new package; the file must not exist when it is committed
    Update = 2     ///< the file must exist; a commit replaces it
};

}  // namespace opc::interfaces
