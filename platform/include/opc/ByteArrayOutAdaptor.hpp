#pragma once

#include "opc/OutputStream.hpp"

#include <vector>

namespace opc {

/// Appends to a byte vector, which must outlive the adaptor.
class PXPLATFORM_EXPORT ByteArrayOutAdaptor : public OutputStream {
public:
    explicit ByteArrayOutAdaptor(std::vector<unsigned char>& bytes);

    void write(const void* from, std::size_t count) override;

private:
    std::vector<unsigned char>* bytes_;
};

}  // namespace opc
