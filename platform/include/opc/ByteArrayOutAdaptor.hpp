#pragma once

#include "fl/Bytes.hpp"
#include "opc/OutputStream.hpp"

namespace opc {

/// Appends to a byte vector, which must outlive the adaptor.
class PXPLATFORM_EXPORT ByteArrayOutAdaptor : public OutputStream {
public:
    explicit ByteArrayOutAdaptor(fl::Bytes& bytes);

    void write(const void* from, std::size_t count) override;

private:
    fl::Bytes* bytes_;
};

}  // namespace opc
