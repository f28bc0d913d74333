#pragma once

#include "fl/Bytes.hpp"
#include "opc/OutputStream.hpp"

namespace opc {

/// Appends to a byte vector, which must outlive the adaptor.
class PXPLATFORM_EXPORT ByteArrayOutAdaptor : public OutputStream {
public:
    explicit ByteArrayOutAdaptor(fl::Bytes& bytes);

    void write(const void* from, std::size_t count) override;

    /// Appends all of `bytes`; an empty vector becomes what `bytes` was, which spares a copy. `bytes` is left valid.
    /// @throws std::bad_alloc, with nothing changed.
    void take(fl::Bytes&& bytes);

private:
    fl::Bytes* bytes_;
};

}  // namespace opc
