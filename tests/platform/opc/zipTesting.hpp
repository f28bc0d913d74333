#pragma once

#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "opc/Exception.hpp"
#include "opc/zippackage/ZipFormat.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "support/ZipBuilder.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace opc::zippackage {

using interfaces::OpenMode;
using support::zip64Field;
using support::ZipFile;
using support::ZipHeader;
using support::ZipItem;
using namespace std::string_literals;

inline std::vector<unsigned char> toBytes(const std::string& text) { return {text.begin(), text.end()}; }
inline std::string toText(const std::vector<unsigned char>& bytes) { return {bytes.begin(), bytes.end()}; }

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
    std::generate(text.begin(), text.end(),
                  [random = std::mt19937()]() mutable { return static_cast<char>(random()); });
    return text;
}

/// Containers in a storage in memory.
class ZipTest : public testing::Test {
protected:
    ZipPhysicalPackage package(const Limits& limits = Limits(), bool verify = true) {
        return {u"f.zip", FileSystemOpsSelector(foundation::storage::vfs::StorageSystemReference(storage)), verify,
                limits};
    }

    void put(const std::string& bytes) { storage->put(u"f.zip", toBytes(bytes)); }
    std::string stored(const std::u16string& name = u"f.zip") const { return toText(storage->get(name)); }

    std::shared_ptr<foundation::storage::vfs::MemoryStorage> storage =
        std::make_shared<foundation::storage::vfs::MemoryStorage>();
};

template <class Action>
void expectError(ErrorKind kind, const std::string& fragment, Action&& action) {
    try {
        action();
        ADD_FAILURE() << "no failure; expected: " << fragment;
    } catch (const Exception& error) {
        const std::string what = error.what();
        EXPECT_EQ(error.kind(), kind) << what;
        EXPECT_TRUE(what.find(fragment) != what.npos && what.find("f.zip") != what.npos) << what << "\n" << fragment;
    }
}

}  // namespace opc::zippackage
