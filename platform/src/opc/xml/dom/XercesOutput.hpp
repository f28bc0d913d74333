#pragma once

#include "opc/OutputStream.hpp"

#include <cstddef>
#include <string>
#include <string_view>
#include <xercesc/framework/XMLFormatter.hpp>

namespace opc::model {

/// Gathers the many small writes of the XML library into large ones.
class XercesOutput final : public xercesc::XMLFormatTarget {
public:
    explicit XercesOutput(OutputStream& out) : out_(&out) {}

    void write(std::string_view bytes);

    /// Writes what is gathered; the library's own flush() does not, as it comes after failures too.
    void finish();

    void writeChars(const XMLByte* bytes, XMLSize_t count, xercesc::XMLFormatter* formatter) override;

private:
    OutputStream* out_;
    std::string block_;
};

}  // namespace opc::model
