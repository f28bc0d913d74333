#pragma once

#include "foundation/storage/vfs/StorageError.hpp"
#include "opc/Exception.hpp"

#include <string>
#include <utility>

namespace opc {

ErrorKind errorKindOf(const foundation::storage::vfs::StorageError& error) noexcept;

/// Runs `action`; a failure of the storage leaves as opc::Exception, with `doing` before its text.
template <class Action>
decltype(auto) translatingStorageErrors(const std::string& doing, Action&& action) {
    try {
        return std::forward<Action>(action)();
    } catch (const foundation::storage::vfs::StorageError& error) {
        throw Exception(errorKindOf(error), doing + error.what());
    }
}

}  // namespace opc
