#pragma once

#include "fl/PlatformExport.hpp"

namespace opc::model {

/// Makes the XML platform ready: the first one of the process loads and initialises the XML library, for good, as
/// initialising and terminating cost more than reading a small file. So documents and parsers may outlive all guards,
/// in static objects too. Safe to construct and destroy from several threads. Memory that runs out during the
/// initialisation makes all later guards of the process throw too.
/// @throws std::bad_alloc, opc::Exception of kind InputOutput that names the file when the library cannot be loaded
///         (for want of memory too); the next one tries again.
class PXPLATFORM_EXPORT XercesGuard {
public:
    XercesGuard();
    XercesGuard(const XercesGuard&) = delete;
    XercesGuard& operator=(const XercesGuard&) = delete;
    ~XercesGuard() = default;
};

}  // namespace opc::model
