#include "inputs/PackageView.hpp"

#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/StreamHelper.hpp"

namespace flowbook::tool {

PackageView::PackageView(const Input& input)
    : container_(input.name(), opc::FileSystemOpsSelector(input.storage()), true), package_(container_) {
    package_.open(opc::interfaces::OpenMode::ReadOnly);
}

Bytes contentOf(const opc::model::Part& part) {
    Bytes bytes;
    opc::ByteArrayOutAdaptor out(bytes);
    opc::StreamHelper::copyStreamToStream(*part.getInputStream(), out);
    return bytes;
}

}  // namespace flowbook::tool
