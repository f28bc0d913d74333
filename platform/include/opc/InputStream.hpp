#pragma once

#include "opc/OutputStream.hpp"

namespace opc {

/// A source of bytes, read once from start to end. One object is used by one thread at a time.
class PXPLATFORM_EXPORT InputStream {
public:
    virtual ~InputStream() = default;

    /// Reads up to `count` bytes and returns how many; 0 only at the end (or for a count of 0).
    /// @throws opc::Exception, std::bad_alloc.
    virtual std::size_t read(void* to, std::size_t count) = 0;

    /// Hands all remaining bytes to `out`. A stream that holds its bytes in memory does it in one
    /// write. @throws what read() and write() throw.
    virtual void transferTo(OutputStream& out);

protected:
    InputStream() = default;
    InputStream(const InputStream&) = default;
    InputStream& operator=(const InputStream&) = default;
};

}  // namespace opc
