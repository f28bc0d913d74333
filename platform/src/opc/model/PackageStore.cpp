// The state of one opening of a package: open, changed or not, and writable or not. Every access passes through here,
// so that a handle which outlives its package gets an error and no memory that is gone.
#include "opc/model/PackageStore.hpp"

#include "opc/Exception.hpp"
#include "opc/model/CommitPlan.hpp"

#include <utility>

namespace opc::model::detail {

using interfaces::OpenMode;

/// The package's own relationships are read at once: a damaged file then fails here, where callers expect it, and a
/// commit needs them in any case.
void PackageStore::open(OpenMode mode) {
    isUsed_ = true;
    physical().open(mode);
    mode_ = mode;
    open_ = true;
    try {
        if (mode != OpenMode::Create) {
            parts_.read();
        }
        relationships_.of(nullptr);
    } catch (...) {
        revert();
        throw;
    }
}

/// If the commit throws, the package stays open with all its changes, so that the caller may try again or save
/// elsewhere.
void PackageStore::close() {
    requireOpen();
    if (parts_.isChanged() || relationships_.isChanged()) {
        physical().commit(planCommit(container_, parts_, relationships_).entries);
    }
    revert();
}

void PackageStore::revert() noexcept {
    if (open_) {
        open_ = false;
        physical().close();
    }
}

const PartTable& PackageStore::parts() const {
    requireOpen();
    return parts_;
}

PartTable& PackageStore::partsToChange() {
    requireWritable();
    return parts_;
}

const RelationshipList& PackageStore::relationships(PartState* source) {
    requireOpen();
    return relationships_.of(source);
}

RelationshipList& PackageStore::relationshipsToChange(PartState* source) {
    requireWritable();
    return relationships_.of(source);
}

std::shared_ptr<const fl::Bytes> PackageStore::xmlContent(const PartState& part) const {
    refuseLargerXml(parts().size(part), part.name.ascii());
    std::shared_ptr<const fl::Bytes> pending = parts().pendingContent(part);
    return pending ? pending : std::make_shared<const fl::Bytes>(parts().storedContent(part));
}

void PackageStore::requireOpen() const {
    if (!open_) {
        throw Exception(ErrorKind::Misuse, "the " + container_.where() + " is not open");
    }
}

void PackageStore::requireWritable() const {
    requireOpen();
    if (mode_ == OpenMode::ReadOnly) {
        throw Exception(ErrorKind::Misuse, "the " + container_.where() + " is open for reading only");
    }
}

}  // namespace opc::model::detail
