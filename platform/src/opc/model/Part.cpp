#include "opc/model/Part.hpp"

#include "opc/model/PackageStore.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

namespace opc::model {
namespace {

using Bytes = detail::PackageStore::Bytes;

/// Keeps the bytes that it reads alive.
class ContentInputStream : public InputStream {
public:
    explicit ContentInputStream(std::shared_ptr<const Bytes> bytes) : bytes_(std::move(bytes)) {}

    std::size_t read(void* to, std::size_t count) override {
        const std::size_t taken = std::min(count, bytes_->size() - position_);
        if (taken != 0) {
            std::memcpy(to, bytes_->data() + position_, taken);
            position_ += taken;
        }
        return taken;
    }

    void transferTo(OutputStream& out) override {
        const std::size_t start = std::exchange(position_, bytes_->size());
        if (start != position_) {
            out.write(bytes_->data() + start, position_ - start);
        }
    }

private:
    std::shared_ptr<const Bytes> bytes_;
    std::size_t position_ = 0;
};

/// Writes the content of a part; harmless, if useless, when the part is gone.
class ContentOutputStream : public OutputStream {
public:
    explicit ContentOutputStream(std::shared_ptr<Bytes> bytes) : bytes_(std::move(bytes)) {}

    void write(const void* from, std::size_t count) override {
        const auto* first = static_cast<const unsigned char*>(from);
        bytes_->insert(bytes_->end(), first, first + count);
    }

private:
    std::shared_ptr<Bytes> bytes_;
};

}  // namespace

Part::Part(std::shared_ptr<detail::PackageStore> store, const PartName& name)
    : RelationshipSource(std::move(store), name.folded()), name_(name) {}

ContentType Part::getContentType() const { return *store().part(sourceKey()).type; }

std::uint64_t Part::getSize() const { return store().size(sourceKey()); }

std::uint64_t Part::getStoredSize() const { return store().storedSize(sourceKey()); }

std::unique_ptr<InputStream> Part::getInputStream() const {
    return std::make_unique<ContentInputStream>(store().content(sourceKey()));
}

std::unique_ptr<OutputStream> Part::getOutputStream() {
    return std::make_unique<ContentOutputStream>(store().replaceContent(sourceKey()));
}

}  // namespace opc::model
