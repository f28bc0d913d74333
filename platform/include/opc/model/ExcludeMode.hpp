#pragma once

namespace opc::model {

/// Which relationships a listing leaves out.
enum class ExcludeMode { None = 0, External = 1, Internal = 2 };

}  // namespace opc::model
