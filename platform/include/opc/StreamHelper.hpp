#pragma once

#include "opc/InputStream.hpp"
#include "opc/OutputStream.hpp"

#include <ostream>

namespace opc {

class PXPLATFORM_EXPORT StreamHelper {
public:
    StreamHelper() = delete;

    /// Copies everything that is left of `in`. Always true: failures are thrown.
    static bool copyStreamToStream(InputStream& in, OutputStream& out);

    /// As above. False when `out` went bad; what it had taken by then is its own business.
    static bool copyStreamToStream(InputStream& in, std::ostream& out);
};

}  // namespace opc
