#pragma once

#include "fl/PlatformExport.hpp"

#include <cstddef>

namespace opc {

/// A sink of bytes. One object is used by one thread at a time.
class PXPLATFORM_EXPORT OutputStream {
public:
    virtual ~OutputStream() = default;

    /// Takes all `count` bytes. @throws opc::Exception, std::bad_alloc.
    virtual void write(const void* from, std::size_t count) = 0;

protected:
    OutputStream() = default;
    OutputStream(const OutputStream&) = default;
    OutputStream& operator=(const OutputStream&) = default;
};

}  // namespace opc
