#pragma once

#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "opc/zippackage/ZipFormat.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "platform/opc/OpcTesting.hpp"
#include "support/ZipBuilder.hpp"

#include <algorithm>
#include <random>

namespace opc::zippackage {

using interfaces::OpenMode;
using std::string_literals::operator""s;
using support::BuiltEntry;
using support::zip64Field;
using support::ZipFile;
using support::ZipHeader;
using tests::toBytes;
using tests::toText;

/// Text that deflates well, but not to nothing.
inline std::string proseOf(std::size_t size) {
    std::string text;
    for (unsigned i = 0; text.size() < size; ++i) {
        text += "Line " + std::to_string(i * i % 977) + " of many.\n";
    }
    return text.substr(0, size);
}

/// Bytes that do not deflate.
inline std::string noiseOf(std::size_t size) {
    std::string text(size, '\0');
    std::generate(text.begin(), text.end(), std::mt19937());
    return text;
}

template <class Call>
void expectError(ErrorKind kind, const std::string& fragment, Call&& call) {
    tests::expectFailure(kind, {"f.zip", fragment}, call);
}

/// Containers in a storage in memory.
class ZipTest : public testing::Test {
protected:
    ZipPhysicalPackage package(const Limits& limits = Limits()) {
        return {u"f.zip", FileSystemOpsSelector(foundation::storage::vfs::StorageSystemReference(storage)), true,
                limits};
    }

    void put(const std::string& bytes) { storage->put(u"f.zip", toBytes(bytes)); }
    std::string stored(const std::u16string& name = u"f.zip") const { return toText(storage->get(name)); }

    std::shared_ptr<foundation::storage::vfs::MemoryStorage> storage =
        std::make_shared<foundation::storage::vfs::MemoryStorage>();
};

}  // namespace opc::zippackage
