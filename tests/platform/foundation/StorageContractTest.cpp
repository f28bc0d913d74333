#include "foundation/storage/vfs/LocalStorage.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "foundation/storage/vfs/hasIRIPrefix.hpp"
#include "support/TempDir.hpp"

#include <functional>
#include <gtest/gtest.h>

using namespace foundation::storage::vfs;

namespace {

/// One kind of storage, with a folder that the local one works in.
struct Backend {
    explicit Backend(const std::string& kind) {
        if (kind == "Local") {
            storage = std::make_unique<LocalStorage>();
        }
    }

    auto open(const std::string& file) const { return storage->openForReading(folder.name(file)); }
    auto begin(const std::string& file, const std::string& content, const ReadableFile* old = nullptr) const {
        auto replacement = storage->beginReplacement(folder.name(file), old);
        replacement->write(content.data(), content.size());
        return replacement;
    }
    void create(const std::string& file, const std::string& content) const { begin(file, content)->commit(); }
    bool exists(const std::string& file) const { return storage->exists(folder.name(file)); }
    std::string get(const std::string& file) const { return read(*open(file)); }

    static std::string read(const ReadableFile& file) {
        std::string content(file.size(), '\0');
        file.read(0, content.data(), content.size());
        return content;
    }

    support::TempDir folder;
    std::unique_ptr<StorageSystem> storage = std::make_unique<MemoryStorage>();
};

void expectFailure(StorageErrorKind kind, const std::function<void()>& work) {
    try {
        work();
        ADD_FAILURE() << "did not fail";
    } catch (const StorageError& error) {
        EXPECT_EQ(error.kind(), kind) << error.what();
    }
}

class StorageContract : public testing::TestWithParam<const char*> {
protected:
    const Backend in_{GetParam()};
};

TEST_P(StorageContract, CreatesAndReplacesByACommitOnly) {
    const std::string file = "caf\u00E9 \U0001F600.tqx";
    const auto creation = in_.begin(file, "old");
    EXPECT_FALSE(in_.exists(file)) << "visible before the commit";
    creation->commit();
    ASSERT_TRUE(in_.exists(file));

    const auto old = in_.open(file);
    const auto replacement = in_.begin(file, "new", old.get());
    replacement->write(" content", 8);
    EXPECT_EQ(in_.get(file), "old") << "replaced before the commit";
    replacement->commit();
    replacement->discard();
    EXPECT_EQ(in_.read(*old), "old") << "an opened file keeps its version";
    EXPECT_THROW(replacement->commit(), StorageError);
    EXPECT_THROW(replacement->write("x", 1), StorageError);

    const auto discarded = in_.begin("other", "discarded");
    discarded->discard();
    EXPECT_THROW(discarded->commit(), StorageError);
    in_.begin("other", "destroyed").reset();
    EXPECT_FALSE(in_.exists("other"));
    EXPECT_EQ(in_.get(file), "new content");
}

TEST_P(StorageContract, RefusesWhatIsNotThereAnyMoreOrYet) {
    in_.create("file", "old");
    const auto old = in_.open("file");
    const auto late = in_.begin("file", "late", old.get());
    const auto lateNew = in_.begin("new", "late");
    in_.begin("file", "sooner", old.get())->commit();
    in_.create("new", "sooner");
    expectFailure(StorageErrorKind::Conflict, [&] { late->commit(); });
    expectFailure(StorageErrorKind::Conflict, [&] { lateNew->commit(); });
    expectFailure(StorageErrorKind::Conflict, [&] { in_.begin("file", "", old.get()); });
    expectFailure(StorageErrorKind::Conflict, [&] { in_.begin("new", ""); });
    expectFailure(StorageErrorKind::NotFound, [&] { in_.open("absent"); });
    const Backend other(GetParam() == std::string("Local") ? "Memory" : "Local");
    other.create("file", "old");
    expectFailure(StorageErrorKind::Other, [&] { in_.begin("file", "foreign", other.open("file").get()); });
    EXPECT_EQ(in_.get("file"), "sooner");
    EXPECT_EQ(in_.get("new"), "sooner");
}

TEST_P(StorageContract, ReadsExactlyWhatIsAsked) {
    in_.create("file", "0123456789");
    const auto file = in_.open("file");
    std::string bytes(4, '\0');
    file->read(3, bytes.data(), 4);
    EXPECT_EQ(bytes, "3456");
    file->read(10, bytes.data(), 0);
    for (const std::uint64_t offset : {7ULL, 10ULL, 11ULL, ~0ULL, ~1ULL}) {
        EXPECT_THROW(file->read(offset, bytes.data(), 4), StorageError) << offset;
    }
}

TEST_P(StorageContract, AppendsFromFiles) {
    std::string content;
    while (content.size() < 700'000) {  // more than any buffer holds
        content += std::to_string(content.size());
    }
    in_.create("source", content);
    const auto source = in_.open("source");
    for (const char* const kind : {"Local", "Memory"}) {
        const Backend target(kind);
        const auto replacement = target.begin("copy", "<");
        replacement->append(*source, 5, 10);
        replacement->append(*source, 1, 600'000);
        replacement->write(content.data(), 300'000);
        replacement->append(*source, content.size(), 0);
        replacement->commit();
        const auto expected = "<" + content.substr(5, 10) + content.substr(1, 600'000) + content.substr(0, 300'000);
        EXPECT_TRUE(target.get("copy") == expected) << "into " << kind;
        EXPECT_THROW(target.begin("bad", "")->append(*source, 1, content.size()), StorageError);
    }
}

INSTANTIATE_TEST_SUITE_P(Storages, StorageContract, testing::Values("Local", "Memory"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST(IRIPrefix, NeedsASchemeAndTwoSlashes) {
    for (const char16_t* const address : {u"file:///a", u"X+1-2.3://", u"h://x"}) {
        EXPECT_TRUE(hasIRIPrefix(address));
    }
    for (const char16_t* const path : {u"", u"/a://b", u"://b", u"1a://b", u"a:/b", u"a b://c", u"\u00E9://c"}) {
        EXPECT_FALSE(hasIRIPrefix(path));
    }
}

}  // namespace
