#pragma once

#include "opc/InputStream.hpp"

#include <vector>

namespace opc {

/// Reads a byte vector, which must outlive the adaptor and not change meanwhile.
class PXPLATFORM_EXPORT ByteArrayInAdaptor : public InputStream {
public:
    explicit ByteArrayInAdaptor(const std::vector<unsigned char>& bytes);

    std::size_t read(void* to, std::size_t count) override;
    void transferTo(OutputStream& out) override;

private:
    const std::vector<unsigned char>* bytes_;
    std::size_t position_ = 0;
};

}  // namespace opc
