#pragma once

#include "fl/PlatformExport.hpp"

namespace opc::model {

/// Keeps the XML platform initialised while it lives. The first one initialises it, for good:
/// initialising and terminating costs more than reading a small file, so it lasts until the library
/// is unloaded, and beyond that while any guard lives (one in a static object, say). Safe to construct
/// and destroy from several threads. Memory that runs out during the initialisation makes all later guards
/// of the process throw too. @throws std::bad_alloc, opc::Exception.
class PXPLATFORM_EXPORT XercesGuard {
public:
    XercesGuard();
    XercesGuard(const XercesGuard&) = delete;
    XercesGuard& operator=(const XercesGuard&) = delete;
    ~XercesGuard();
};

}  // namespace opc::model
