#include "opc/StreamHelper.hpp"

namespace opc {
namespace {

class StandardStreamAdaptor : public OutputStream {
public:
    explicit StandardStreamAdaptor(std::ostream& out) : out_(out) {}

    void write(const void* from, std::size_t count) override {
        out_.write(static_cast<const char*>(from), static_cast<std::streamsize>(count));
    }

private:
    std::ostream& out_;
};

}  // namespace

bool StreamHelper::copyStreamToStream(InputStream& in, OutputStream& out) {
    in.transferTo(out);
    return true;
}

bool StreamHelper::copyStreamToStream(InputStream& in, std::ostream& out) {
    StandardStreamAdaptor adaptor(out);
    in.transferTo(adaptor);
    return !out.fail();
}

}  // namespace opc
