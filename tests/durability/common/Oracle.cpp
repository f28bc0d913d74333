#include "durability/common/Oracle.hpp"

#include <stdexcept>

namespace durability {

using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::StorageSystemReference;

namespace {

const std::u16string kName = u"memory://oracle.tqx";

std::shared_ptr<MemoryStorage> storageWith(const Content& content) {
    auto storage = std::make_shared<MemoryStorage>();
    if (content) {
        storage->put(kName, *content);
    }
    return storage;
}

}  // namespace

Oracle::Oracle(const Scenario& scenario) : old_(scenario.old()) {
    const StorageSystemReference storage(storageWith(old_));
    if (scenario.save(storage, kName) != Outcome::Saved) {
        throw std::runtime_error(std::string("the undisturbed save fails: ") + scenario.name);
    }
    new_ = describe(storage, kName);
}

bool Oracle::isNew(const Content& content) const {
    try {
        return describe(StorageSystemReference(storageWith(content)), kName) == new_;
    } catch (const std::exception&) {
        return false;
    }
}

bool Oracle::accepts(Outcome outcome, const Content& content) const {
    switch (outcome) {
    case Outcome::Saved:
    case Outcome::NotConfirmed:
        return isNew(content);
    case Outcome::OutOfMemory:
        return isOld(content) || isNew(content);
    case Outcome::Undocumented:
        return false;
    default:
        return isOld(content);
    }
}

}  // namespace durability
