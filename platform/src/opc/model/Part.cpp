#include "opc/model/Part.hpp"

#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/model/PackageStore.hpp"

#include <exception>
#include <typeinfo>
#include <utility>

namespace opc::model {
namespace {

struct KeptBytes {
    std::shared_ptr<const fl::Bytes> bytes;
};

class PendingContentStream : private KeptBytes, public ByteArrayInAdaptor {
public:
    explicit PendingContentStream(std::shared_ptr<const fl::Bytes> content)
        : KeptBytes{std::move(content)}, ByteArrayInAdaptor(*bytes) {}
};

struct OwnBytes {
    fl::Bytes bytes;
};

/// Hands its bytes over instead of copying them, where nothing was read from it before and the caller collects bytes.
class StoredContentStream : private OwnBytes, public ByteArrayInAdaptor {
public:
    explicit StoredContentStream(fl::Bytes content) : OwnBytes{std::move(content)}, ByteArrayInAdaptor(bytes) {}

    std::size_t read(void* to, std::size_t count) override {
        isWhole_ = false;
        return ByteArrayInAdaptor::read(to, count);
    }

    void transferTo(OutputStream& out) override {
        if (isWhole_ && typeid(out) == typeid(ByteArrayOutAdaptor)) {
            static_cast<ByteArrayOutAdaptor&>(out).take(std::move(bytes));
            bytes.clear();
        } else {
            ByteArrayInAdaptor::transferTo(out);
        }
    }

private:
    bool isWhole_ = true;
};

/// The new content of a part, in its place from the start.
class ContentReplacement {
public:
    /// @param part  what a handle has; a part that was made anew since then is meant in its place.
    ContentReplacement(std::shared_ptr<detail::PackageStore> store, const detail::PartState& part)
        : store_(std::move(store)), part_(store_->partsToChange().shared(part.name.folded())) {
        former_ = store_->partsToChange().replaceContent(*part_, content_);
    }
    ContentReplacement(const ContentReplacement&) = delete;
    ContentReplacement& operator=(const ContentReplacement&) = delete;

    ~ContentReplacement() {
        if (std::uncaught_exceptions() > exceptionsBefore_) {
            detail::PartTable::restoreContent(*part_, content_, std::move(former_));
        }
    }

    fl::Bytes& content() noexcept { return *content_; }

private:
    std::shared_ptr<detail::PackageStore> store_;
    std::shared_ptr<detail::PartState> part_;
    std::shared_ptr<fl::Bytes> content_ = std::make_shared<fl::Bytes>();
    std::shared_ptr<fl::Bytes> former_;
    int exceptionsBefore_ = std::uncaught_exceptions();
};

/// Writing to a part that was deleted meanwhile has no effect.
class ContentOutputStream : private ContentReplacement, public ByteArrayOutAdaptor {
public:
    ContentOutputStream(const std::shared_ptr<detail::PackageStore>& store, const detail::PartState& part)
        : ContentReplacement(store, part), ByteArrayOutAdaptor(content()) {}
};

}  // namespace

const PartName& Part::getName() const noexcept { return partState()->name; }

ContentType Part::getContentType() const { return store().parts().current(*partState()).type->get(); }

std::uint64_t Part::getSize() const { return store().parts().size(*partState()); }

std::uint64_t Part::getStoredSize() const { return store().parts().storedSize(*partState()); }

std::unique_ptr<InputStream> Part::getInputStream() const {
    const detail::PartTable& parts = store().parts();
    if (auto pending = parts.pendingContent(*partState())) {
        return std::make_unique<PendingContentStream>(std::move(pending));
    }
    return std::make_unique<StoredContentStream>(parts.storedContent(*partState()));
}

std::unique_ptr<OutputStream> Part::getOutputStream() {
    return std::make_unique<ContentOutputStream>(sharedStore(), *partState());
}

}  // namespace opc::model
