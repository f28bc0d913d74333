#include "opc/model/PackageNotFound.hpp"
#include "opc/zippackage/ZipIndexReader.hpp"
#include "opc/zippackage/ZipWriter.hpp"
#include "zipTesting.hpp"

namespace opc::zippackage {
namespace {

using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::Replacement;
using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;
using interfaces::CompressionType;
using interfaces::OpenMode;
using interfaces::PlannedItem;
using support::zip64Field;
using support::ZipFile;
using support::ZipHeader;
using support::ZipItem;

PlannedItem fresh(const std::string& name, const std::vector<unsigned char>& content,
                  CompressionType compression = CompressionType::Normal) {
    return {&content, 0, name, compression};
}

PlannedItem carried(std::size_t item) { return {nullptr, item, "", CompressionType::Normal}; }

class ZipCommitTest : public ZipTest {
protected:
    void commit(ZipPhysicalPackage package, OpenMode mode, const std::vector<PlannedItem>& plan) {
        package.open(mode);
        package.commit(plan);
    }
};

TEST_F(ZipCommitTest, WritesTheSameBytesForTheSameContent) {
    const std::string prose = proseOf(100000);
    const std::string noise = noiseOf(70000);
    const auto proseBytes = toBytes(prose), noiseBytes = toBytes(noise), none = toBytes("");
    const auto letters = toBytes(std::string(5000, 'x'));
    Limits limits;
    limits.ratioFreeSize = 4999;
    limits.maxRatio = 100;
    commit(package(limits), OpenMode::Create,
           {fresh("[Content_Types].xml", proseBytes), fresh("n", noiseBytes), fresh("e", none),
            fresh("s", proseBytes, CompressionType::None), fresh("too/good", letters)});
    ZipFile expected;
    expected.items = {{"[Content_Types].xml", prose, true},
                      {"n", noise},
                      {"e", ""},
                      {"s", prose},
                      {"too/good", std::string(5000, 'x')}};
    EXPECT_TRUE(stored() == expected.bytes());
    ASSERT_NO_THROW(package(limits).open(OpenMode::ReadOnly));

    commit(package(u"empty f.zip"), OpenMode::Create, {});
    EXPECT_EQ(stored(u"empty f.zip"), ZipFile().bytes());
}

ZipFile odd(bool described) {
    ZipFile file;
    file.comment = "comment of the file";
    file.items = {{"old", "dropped"}, {"large", noiseOf(90000)}, {"odd", "by method 12"}, {"last", proseOf(400), true}};
    for (ZipItem& item : file.items) {
        item.change([](ZipHeader& h) { h.time = 4711, h.date = 12345, h.flags = 1 << 11 | 6; });
        item.externalAttributes = 0x81A40000;
        item.internalAttributes = 1;
        item.versionMadeBy = 3 << 8 | 30;
    }
    ZipItem& item = file.items[2];
    item.comment = "comment of the item";
    item.central.extra = std::string("UT\1\0x", 5);
    item.local.extra = std::string("UT\2\0xy", 6);
    item.change([](ZipHeader& h) { h.method = 12, h.versionNeeded = 46; });
    if (described) {
        item.change([](ZipHeader& h) { h.flags |= 8; });
        item.local.crc = 0;
        item.after = "the data descriptor";
        item.change([](ZipHeader& h) {
            h.extra += zip64Field({h.size, h.storedSize}), h.size = h.storedSize = kOnes32;
        });
    }
    return file;
}

TEST_F(ZipCommitTest, CarriesOverAsItIsWhatIsNotChanged) {
    put(odd(true).bytes());
    const auto content = toBytes("fresh");
    ZipPhysicalPackage opened = package();
    opened.open(OpenMode::Update);
    opened.commit({carried(3), fresh("new", content), carried(1), carried(2)});
    ZipFile expected = odd(false);
    expected.items = {expected.items[3], ZipItem("new", "fresh"), expected.items[1], expected.items[2]};
    EXPECT_TRUE(stored() == expected.bytes());
    EXPECT_EQ(toText(opened.read(0)), "dropped") << "the old version is still open";
    expectError(ErrorKind::Conflict, "", [&] { opened.commit({}); });
    EXPECT_TRUE(stored() == expected.bytes());
}

TEST_F(ZipCommitTest, WritesZip64RecordsThatItReads) {
    DeflateCodec codec;
    const Limits limits;
    const auto content = toBytes(proseOf(500));
    for (const Zip64From& from : {Zip64From{0, 0}, Zip64From{400, kOnes16}, Zip64From{kOnes32, 2}}) {
        const auto out = storage->beginReplacement(u"f.zip", nullptr);
        ZipWriter writer("Writing f.zip: ", *out, codec, limits, from);
        writer.addContent("first", content, CompressionType::None);
        writer.addContent("second", content, CompressionType::Normal);
        writer.finish("comment");
        out->commit();
        EXPECT_NE(stored().find("PK\6\7"), std::string::npos);
        ZipPhysicalPackage opened = package();
        opened.open(OpenMode::Update);
        EXPECT_EQ(opened.read(0), content);
        EXPECT_EQ(opened.read(1), content);
        opened.commit({carried(0), carried(1)});
        ZipFile expected;
        expected.comment = "comment";
        expected.items = {{"first", proseOf(500)}, {"second", proseOf(500), true}};
        for (ZipItem& item : expected.items) {
            item.change([&](ZipHeader& h) { h.versionNeeded = from.value == kOnes32 ? 20 : 45; });
        }
        EXPECT_TRUE(stored() == expected.bytes());
        storage = std::make_shared<Storage>();
    }
}

TEST_F(ZipCommitTest, LeavesTheFileAloneWhenItRefuses) {
    const auto content = toBytes(noiseOf(100));
    Limits limits;
    limits.maxEntries = 3;
    limits.maxPartSize = 150;
    limits.maxPackageSize = 250;
    const auto large = toBytes(noiseOf(151));
    const std::string longName(20000, 'n');
    ZipFile file;
    file.items = {{"old", std::string(60, 'o')}};
    const std::string before = file.bytes();
    put(before);
    struct Case {
        std::vector<PlannedItem> plan;
        ErrorKind kind;
        const char* message;
        OpenMode mode = OpenMode::Update;
    };
    const Case rows[] = {
        {{fresh("a", content), fresh("b", content), carried(0)},
         ErrorKind::LimitExceeded,
         "260, the limit maxPackageSize is 250"},
        {{fresh("a", large)}, ErrorKind::LimitExceeded, "'a' is 151, the limit maxPartSize is 150"},
        {{carried(0), carried(0), carried(0), carried(0)}, ErrorKind::LimitExceeded, "4, the limit maxEntries is 3"},
        {{fresh(longName, content)}, ErrorKind::LimitExceeded, "4096 times maxEntries"},
        {{fresh("a", content), fresh("A", content)}, ErrorKind::Misuse, "equivalent names"},
        {{fresh("OLD", content), carried(0)}, ErrorKind::Misuse, "equivalent names"},
        {{fresh("/a", content)}, ErrorKind::Misuse, "'/a' is no name"},
        {{fresh("a/", content)}, ErrorKind::Misuse, "'a/' is no name"},
        {{fresh("\xC3\xA4", content)}, ErrorKind::Misuse, "is no name"},
        {{carried(1)}, ErrorKind::Misuse, "item 1 of 1"},
        {{carried(0)}, ErrorKind::Misuse, "not open for reading", OpenMode::Create},
        {{carried(0)}, ErrorKind::Misuse, "not open for writing", OpenMode::ReadOnly},
        {{fresh("a", content)}, ErrorKind::Conflict, "f.zip", OpenMode::Create},
    };
    for (const Case& row : rows) {
        SCOPED_TRACE(row.message);
        expectError(row.kind, row.message, [&] { commit(package(limits), row.mode, row.plan); });
        EXPECT_TRUE(stored() == before);
    }
    ZipPhysicalPackage opened = package();
    expectError(ErrorKind::Misuse, "not open", [&] { opened.commit({}); });
    opened.open(OpenMode::Update);
    expectError(ErrorKind::Misuse, "open already", [&] { opened.open(OpenMode::Update); });
    expectError(ErrorKind::Misuse, "item 1 of 1", [&] { opened.read(1); });
    put("changed outside");
    expectError(ErrorKind::Conflict, "f.zip", [&] { opened.commit({}); });
    EXPECT_EQ(stored(), "changed outside");
    opened.close();
    EXPECT_TRUE(opened.items().empty());
    expectError(ErrorKind::Misuse, "not open", [&] { opened.read(0); });
}

TEST_F(ZipCommitTest, BacksUpTheVersionThatWasOpened) {
    ZipFile file;
    file.items = {{"old", "content"}};
    const std::string before = file.bytes();
    put(before);
    ZipPhysicalPackage opened = package();
    opened.open(OpenMode::Update);
    opened.commit({});
    for (int i = 0; i < 2; ++i) {  // the second time over the first backup
        EXPECT_EQ(opened.backUp(u".bak"), u"f.zip.bak");
        EXPECT_EQ(stored(u"f.zip.bak"), before);
        storage->put(u"f.zip.bak", toBytes("an older backup"));
    }
    expectError(ErrorKind::Misuse, "empty", [&] { opened.backUp(u""); });
}

/// Fails in one operation.
class FailingStorage : public foundation::storage::vfs::StorageSystem {
public:
    enum class Step { Open, ReadFile, Begin, Write, Commit };

    FailingStorage(Step step, StorageErrorKind kind, std::string bytes)
        : step_(step), kind_(kind), bytes_(std::move(bytes)) {}

    void pass(Step step) const {
        if (step == step_) {
            throw StorageError(kind_, "the storage's reason, f.zip");
        }
    }

    foundation::storage::vfs::StorageGuarantees guarantees() const noexcept override { return {}; }
    bool exists(const std::u16string&) const override { return false; }
    std::unique_ptr<ReadableFile> openForReading(const std::u16string&) const override {
        pass(Step::Open);
        return std::make_unique<File>(*this);
    }
    std::unique_ptr<Replacement> beginReplacement(const std::u16string&, const ReadableFile*) override {
        pass(Step::Begin);
        return std::make_unique<Discarding>(*this);
    }

private:
    struct File : ReadableFile {
        explicit File(const FailingStorage& owner) : owner_(owner) {}
        std::uint64_t size() const override { return owner_.bytes_.size(); }
        void read(std::uint64_t offset, void* to, std::size_t count) const override {
            owner_.pass(Step::ReadFile);
            owner_.bytes_.copy(static_cast<char*>(to), count, offset);
        }
        const FailingStorage& owner_;
    };
    struct Discarding : Replacement {
        explicit Discarding(const FailingStorage& owner) : owner_(owner) {}
        void write(const void*, std::size_t) override { owner_.pass(Step::Write); }
        void commit() override { owner_.pass(Step::Commit); }
        void discard() noexcept override {}
        const FailingStorage& owner_;
    };

    Step step_;
    StorageErrorKind kind_;
    std::string bytes_;
};

TEST_F(ZipCommitTest, PassesOnTheReasonsOfTheStorage) {
    using Step = FailingStorage::Step;
    ZipFile file;
    file.items = {{"large", noiseOf(200000)}};
    struct Case {
        Step step;
        StorageErrorKind kind;
        ErrorKind expected;
        ErrorKind expectedOfBackup;
    };
    const Case rows[] = {
        {Step::Open, StorageErrorKind::NotFound, ErrorKind::NotFound, ErrorKind::NotFound},
        {Step::Open, StorageErrorKind::AccessDenied, ErrorKind::InputOutput, ErrorKind::InputOutput},
        {Step::ReadFile, StorageErrorKind::Other, ErrorKind::InputOutput, ErrorKind::InputOutput},
        {Step::Begin, StorageErrorKind::NotFound, ErrorKind::InputOutput, ErrorKind::InputOutput},
        {Step::Write, StorageErrorKind::NoSpace, ErrorKind::InputOutput, ErrorKind::InputOutput},
        {Step::Commit, StorageErrorKind::Conflict, ErrorKind::Conflict, ErrorKind::InputOutput},
        {Step::Commit, StorageErrorKind::NotDurable, ErrorKind::NotDurable, ErrorKind::InputOutput},
    };
    for (const Case& row : rows) {
        const auto failing = std::make_shared<FailingStorage>(row.step, row.kind, file.bytes());
        const auto run = [&](auto&& action) {
            ZipPhysicalPackage opened(u"f.zip", selector(failing), true);
            opened.open(OpenMode::Update);
            action(opened);
        };
        const char* reason = "the storage's reason";
        expectError(row.expected, reason, [&] { run([](auto& p) { p.commit({carried(0)}); }); });
        expectError(row.expectedOfBackup, reason, [&] { run([](auto& p) { p.backUp(u".bak"); }); });
    }
    EXPECT_THROW(package(u"missing").open(OpenMode::Update), model::PackageNotFound);
}

}  // namespace
}  // namespace opc::zippackage
