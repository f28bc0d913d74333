#include "opc/xml/dom/XercesOutput.hpp"

namespace opc::model {
namespace {

constexpr std::size_t kBlockSize = std::size_t{64} << 10;

}  // namespace

void XercesOutput::write(std::string_view bytes) {
    if (block_.size() + bytes.size() > kBlockSize) {
        finish();
    }
    if (bytes.size() >= kBlockSize) {
        out_->write(bytes.data(), bytes.size());
        return;
    }
    block_.append(bytes);
}

void XercesOutput::finish() {
    if (!block_.empty()) {
        out_->write(block_.data(), block_.size());
        block_.clear();
    }
}

void XercesOutput::writeChars(const XMLByte* bytes, XMLSize_t count, xercesc::XMLFormatter* /*formatter*/) {
    write({reinterpret_cast<const char*>(bytes), count});
}

}  // namespace opc::model
