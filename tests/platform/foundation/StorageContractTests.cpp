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
    support::TempDir folder;
    std::unique_ptr<StorageSystem> storage;
    std::u16string prefix;
};

std::unique_ptr<Backend> makeBackend(const std::string& kind) {
    auto backend = std::make_unique<Backend>();
    if (kind == "Local") {
        backend->storage = std::make_unique<LocalStorage>();
        backend->prefix = backend->folder.name("");
    } else {
        backend->storage = std::make_unique<MemoryStorage>();
    }
    return backend;
}

StorageErrorKind kindOfFailure(const std::function<void()>& work) {
    try {
        work();
    } catch (const StorageError& error) {
        return error.kind();
    }
    throw std::logic_error("did not fail");
}

class StorageContract : public testing::TestWithParam<const char*> {
protected:
    std::u16string name(const std::u16string& file) const { return backend_->prefix + file; }

    std::string readAll(const ReadableFile& file) const {
        std::string content(file.size(), '\0');
        file.read(0, content.data(), content.size());
        return content;
    }
    std::string get(const std::u16string& file) const { return readAll(*storage().openForReading(name(file))); }

    std::unique_ptr<Replacement> begin(const std::u16string& file, const ReadableFile* replaced,
                                       const std::string& content) const {
        auto replacement = storage().beginReplacement(name(file), replaced);
        replacement->write(content.data(), content.size());
        return replacement;
    }
    void create(const std::u16string& file, const std::string& content) const {
        begin(file, nullptr, content)->commit();
    }

    StorageSystem& storage() const { return *backend_->storage; }

    const std::unique_ptr<Backend> backend_ = makeBackend(GetParam());
};

TEST_P(StorageContract, CreatesAndReplaces) {
    const std::u16string file = u"caf\u00E9 \U0001F600.tqx";
    EXPECT_FALSE(storage().exists(name(file)));
    const auto creation = begin(file, nullptr, "old");
    EXPECT_FALSE(storage().exists(name(file))) << "visible before the commit";
    creation->commit();
    ASSERT_TRUE(storage().exists(name(file)));

    const auto old = storage().openForReading(name(file));
    const auto replacement = begin(file, old.get(), "new");
    replacement->write(" content", 8);
    EXPECT_EQ(get(file), "old") << "replaced before the commit";
    replacement->commit();
    replacement->discard();
    EXPECT_EQ(get(file), "new content");
    EXPECT_EQ(readAll(*old), "old") << "an opened file keeps its version";
    EXPECT_THROW(replacement->commit(), StorageError);
    EXPECT_THROW(replacement->write("x", 1), StorageError);
    EXPECT_EQ(get(file), "new content");
}

TEST_P(StorageContract, DiscardAndDestructionLeaveTheOldFile) {
    create(u"file", "old");
    const auto old = storage().openForReading(name(u"file"));
    const auto replacement = begin(u"file", old.get(), "new");
    replacement->discard();
    EXPECT_THROW(replacement->commit(), StorageError);
    begin(u"file", old.get(), "new").reset();
    begin(u"other", nullptr, "new").reset();
    EXPECT_EQ(get(u"file"), "old");
    EXPECT_FALSE(storage().exists(name(u"other")));
}

TEST_P(StorageContract, ChangesByOthersAreConflicts) {
    create(u"file", "old");
    const auto old = storage().openForReading(name(u"file"));
    const auto late = begin(u"file", old.get(), "late");
    const auto lateNew = begin(u"new", nullptr, "late");
    begin(u"file", old.get(), "sooner")->commit();
    create(u"new", "sooner");
    const std::vector<std::function<void()>> attempts = {
        [&] { late->commit(); },
        [&] { lateNew->commit(); },
        [&] { begin(u"file", old.get(), ""); },
        [&] { begin(u"new", nullptr, ""); },
    };
    for (const auto& attempt : attempts) {
        EXPECT_EQ(kindOfFailure(attempt), StorageErrorKind::Conflict);
    }
    EXPECT_EQ(get(u"file"), "sooner");
    EXPECT_EQ(get(u"new"), "sooner");
}

TEST_P(StorageContract, AbsentFileIsNotFound) {
    EXPECT_EQ(kindOfFailure([&] { storage().openForReading(name(u"absent")); }), StorageErrorKind::NotFound);
}

TEST_P(StorageContract, FileOfAnotherStorageIsRefused) {
    const auto other = makeBackend(GetParam() == std::string("Local") ? "Memory" : "Local");
    other->storage->beginReplacement(other->prefix + u"file", nullptr)->commit();
    create(u"file", "old");
    const auto foreign = other->storage->openForReading(other->prefix + u"file");
    EXPECT_THROW(begin(u"file", foreign.get(), "new"), StorageError);
}

TEST_P(StorageContract, ReadsExactlyWhatIsAsked) {
    create(u"file", "0123456789");
    const auto file = storage().openForReading(name(u"file"));
    std::string bytes(4, '\0');
    file->read(3, bytes.data(), 4);
    EXPECT_EQ(bytes, "3456");
    file->read(10, bytes.data(), 0);
    const std::uint64_t huge = ~std::uint64_t{0};
    for (const std::uint64_t offset : {std::uint64_t{7}, std::uint64_t{10}, std::uint64_t{11}, huge, huge - 1}) {
        EXPECT_THROW(file->read(offset, bytes.data(), 4), StorageError) << offset;
    }
}

TEST_P(StorageContract, AppendsFromFiles) {
    std::string content(700'000, '\0');  // more than any buffer holds
    for (std::size_t at = 0; at != content.size(); ++at) {
        content[at] = static_cast<char>(at * 31 >> 7);
    }
    create(u"source", content);
    const auto source = storage().openForReading(name(u"source"));
    for (const char* const kind : {"Local", "Memory"}) {
        const auto target = makeBackend(kind);
        const auto replacement = target->storage->beginReplacement(target->prefix + u"copy", nullptr);
        replacement->write("<", 1);
        replacement->append(*source, 5, 10);
        replacement->append(*source, 1, 600'000);
        replacement->write(content.data(), 300'000);
        replacement->append(*source, 700'000, 0);
        replacement->commit();
        EXPECT_TRUE(readAll(*target->storage->openForReading(target->prefix + u"copy")) ==
                    "<" + content.substr(5, 10) + content.substr(1, 600'000) + content.substr(0, 300'000))
            << "into " << kind;
        EXPECT_THROW(target->storage->beginReplacement(target->prefix + u"bad", nullptr)->append(*source, 1, 700'000),
                     StorageError);
    }
}

INSTANTIATE_TEST_SUITE_P(Storages, StorageContract, testing::Values("Local", "Memory"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST(IRIPrefix, NeedsASchemeAndTwoSlashes) {
    for (const char16_t* const address : {u"file:///a", u"X+1-2.3://", u"h://x"}) {
        EXPECT_TRUE(hasIRIPrefix(address));
    }
    for (const char16_t* const path :
         {u"", u"/a://b", u"://b", u"1a://b", u"a:/b", u"a b://c", u"\u00E9://c", u"abc"}) {
        EXPECT_FALSE(hasIRIPrefix(path));
    }
}

}  // namespace
