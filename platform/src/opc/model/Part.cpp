// Handles on parts and their streams. A part's content is replaced as soon as its output stream exists; what is written
// appears in the file when the package is closed.
#include "opc/model/Part.hpp"

#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/model/PackageStore.hpp"

#include <exception>
#include <typeinfo>
#include <utility>

namespace opc::model {
namespace {

/// Bases that hold what the stream reads from: a base is made before the stream that refers to it.
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

/// A stream of stored content. It hands its bytes over instead of copying them when all of them go to a stream that
/// collects bytes: a large part is then in memory once. The exact type is asked for, as a derived class may do more in
/// write().
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

/// The new content of a part, which is the part's pending content from the start. If the stream is destroyed because an
/// exception passes, the content is half of what was meant, and the former content comes back.
class ContentReplacement {
public:
    /// @param part  what a handle has; a part that was made anew since then is meant in its place.
    ContentReplacement(std::shared_ptr<detail::PackageStore> store, const detail::PartState& part)
        : store_(std::move(store)), part_(store_->partsToChange().shared(part.name)) {
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
