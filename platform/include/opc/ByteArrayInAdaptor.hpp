#pragma once

#include "fl/Bytes.hpp"
#include "opc/InputStream.hpp"

namespace opc {

/// Reads a byte vector, which must outlive the adaptor and at most grow meanwhile.
class PXPLATFORM_EXPORT ByteArrayInAdaptor : public InputStream {
public:
    explicit ByteArrayInAdaptor(const fl::Bytes& bytes);
    explicit ByteArrayInAdaptor(const fl::Bytes&& temporary) = delete;

    std::size_t read(void* to, std::size_t count) override;
    void transferTo(OutputStream& out) override;

private:
    const fl::Bytes* bytes_;
    std::size_t position_ = 0;
};

}  // namespace opc
