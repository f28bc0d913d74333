#pragma once

namespace opc::model {

enum class TargetMode {
    Internal = 0,  ///< the target is a part of the package
    External = 1   ///< the target is outside the package and never followed
};

}  // namespace opc::model
