#include "opc/model/PackageNotFound.hpp"
#include "opc/zippackage/ZipIndexReader.hpp"
#include "opc/zippackage/ZipWriter.hpp"
#include "zipTesting.hpp"

namespace opc::zippackage {
namespace {

using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::Replacement;
using foundation::storage::vfs::StorageErrorKind;
using interfaces::CompressionType;
using interfaces::PlannedItem;

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
    const std::string prose = proseOf(100000), noise = noiseOf(70000), letters(5000, 'x');
    const auto proseBytes = toBytes(prose), noiseBytes = toBytes(noise), none = toBytes(""), many = toBytes(letters);
    Limits limits;
    limits.ratioFreeSize = 4999;
    limits.maxRatio = 100;
    commit(package(limits), OpenMode::Create,
           {fresh("prose", proseBytes), fresh("n", noiseBytes), fresh("e", none),
            fresh("s", proseBytes, CompressionType::None), fresh("too/good", many)});
    ZipFile expected;
    expected.items = {{"prose", prose, true}, {"n", noise}, {"e", ""}, {"s", prose}, {"too/good", letters}};
    EXPECT_TRUE(stored() == expected.bytes());
    ZipPhysicalPackage opened = package(limits);
    opened.open(OpenMode::Update);
    opened.commit({});
    EXPECT_EQ(stored(), ZipFile().bytes());
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
        item.change([](ZipHeader& h) { h.flags |= 8, h.extra += zip64Field({h.size, h.storedSize}); });
        item.change([](ZipHeader& h) { h.size = h.storedSize = kOnes32; });
        item.local.crc = 0;
        item.after = "the data descriptor";
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
    const auto content = toBytes(noiseOf(100)), large = toBytes(noiseOf(151));
    Limits limits;
    limits.maxEntries = 3;
    limits.maxPartSize = 150;
    limits.maxPackageSize = 250;
    ZipFile file;
    file.items = {{"old", std::string(60, 'o')}};
    const std::string before = file.bytes();
    put(before);
    struct Row {
        OpenMode mode;
        std::vector<PlannedItem> plan;
        ErrorKind kind;
        const char* message;
    };
    const auto update = OpenMode::Update;
    const auto limit = ErrorKind::LimitExceeded, misuse = ErrorKind::Misuse;
    const Row rows[] = {
        {update, {fresh("a", content), fresh("b", content), carried(0)}, limit, "260, the limit maxPackageSize is 250"},
        {update, {fresh("a", large)}, limit, "'a' is 151, the limit maxPartSize is 150"},
        {update, {carried(0), carried(0), carried(0), carried(0)}, limit, "4, the limit maxEntries is 3"},
        {update, {fresh(std::string(20000, 'n'), content)}, limit, "4096 times maxEntries"},
        {update, {fresh("OLD", content), carried(0)}, misuse, "equivalent names"},
        {update, {fresh("/a", content)}, misuse, "'/a' is no name"},
        {update, {fresh("a/", content)}, misuse, "'a/' is no name"},
        {update, {fresh("\xC3\xA4", content)}, misuse, "is no name"},
        {update, {carried(1)}, misuse, "item 1 of 1"},
        {OpenMode::Create, {carried(0)}, misuse, "not open for reading"},
        {OpenMode::ReadOnly, {carried(0)}, misuse, "not open for writing"},
        {OpenMode::Create, {fresh("a", content)}, ErrorKind::Conflict, "f.zip"},
    };
    for (const Row& row : rows) {
        expectError(row.kind, row.message, [&] { commit(package(limits), row.mode, row.plan); });
        EXPECT_TRUE(stored() == before) << row.message;
    }
    ZipPhysicalPackage opened = package();
    expectError(misuse, "not open", [&] { opened.commit({}); });
    opened.open(update);
    expectError(misuse, "open already", [&] { opened.open(update); });
    expectError(misuse, "item 1 of 1", [&] { opened.read(1); });
    expectError(misuse, "empty", [&] { opened.backUp(u""); });
    put("changed outside");
    expectError(ErrorKind::Conflict, "f.zip", [&] { opened.commit({}); });
    EXPECT_EQ(stored(), "changed outside");
    for (int i = 0; i < 2; ++i) {  // the second time over the first backup
        EXPECT_EQ(opened.backUp(u".bak"), u"f.zip.bak");
        EXPECT_EQ(stored(u"f.zip.bak"), before) << "not the version that was opened";
        storage->put(u"f.zip.bak", toBytes("an older backup"));
    }
    opened.close();
    EXPECT_TRUE(opened.items().empty());
    expectError(misuse, "not open", [&] { opened.read(0); });
}

/// Does nothing but fail in one step.
class FailingStorage : public foundation::storage::vfs::StorageSystem {
public:
    enum class Step { Open, Read, Begin, Write, Commit };

    FailingStorage(Step step, StorageErrorKind kind, std::string bytes) : step_(step), kind_(kind), bytes_(bytes) {}

    foundation::storage::vfs::StorageGuarantees guarantees() const noexcept override { return {}; }
    bool exists(const std::u16string&) const override { return false; }
    std::unique_ptr<ReadableFile> openForReading(const std::u16string&) const override {
        pass(Step::Open);
        return std::make_unique<Handle>(*this);
    }
    std::unique_ptr<Replacement> beginReplacement(const std::u16string&, const ReadableFile*) override {
        pass(Step::Begin);
        return std::make_unique<Handle>(*this);
    }

private:
    struct Handle : ReadableFile, Replacement {
        explicit Handle(const FailingStorage& given) : owner(given) {}
        std::uint64_t size() const override { return owner.bytes_.size(); }
        void read(std::uint64_t offset, void* to, std::size_t count) const override {
            owner.pass(Step::Read);
            owner.bytes_.copy(static_cast<char*>(to), count, offset);
        }
        void write(const void*, std::size_t) override { owner.pass(Step::Write); }
        void commit() override { owner.pass(Step::Commit); }
        void discard() noexcept override {}
        const FailingStorage& owner;
    };

    void pass(Step step) const {
        if (step == step_) {
            throw foundation::storage::vfs::StorageError(kind_, "the storage's reason, f.zip");
        }
    }

    Step step_;
    StorageErrorKind kind_;
    std::string bytes_;
};

TEST_F(ZipCommitTest, PassesOnTheReasonsOfTheStorage) {
    using Step = FailingStorage::Step;
    ZipFile file;
    file.items = {{"large", noiseOf(200000)}};
    const std::string bytes = file.bytes();
    struct Row {
        Step step;
        StorageErrorKind kind;
        ErrorKind expected, expectedOfBackup;
    };
    const Row rows[] = {
        {Step::Open, StorageErrorKind::NotFound, ErrorKind::NotFound, ErrorKind::NotFound},
        {Step::Open, StorageErrorKind::AccessDenied, ErrorKind::InputOutput, ErrorKind::InputOutput},
        {Step::Read, StorageErrorKind::Other, ErrorKind::InputOutput, ErrorKind::InputOutput},
        {Step::Begin, StorageErrorKind::NotFound, ErrorKind::InputOutput, ErrorKind::InputOutput},
        {Step::Write, StorageErrorKind::NoSpace, ErrorKind::InputOutput, ErrorKind::InputOutput},
        {Step::Commit, StorageErrorKind::Conflict, ErrorKind::Conflict, ErrorKind::InputOutput},
        {Step::Commit, StorageErrorKind::NotDurable, ErrorKind::NotDurable, ErrorKind::InputOutput},
    };
    for (const Row& row : rows) {
        const auto expectReason = [&](ErrorKind kind, auto action) {
            const auto failing = std::make_shared<FailingStorage>(row.step, row.kind, bytes);
            ZipPhysicalPackage opened(u"f.zip", selector(failing), true);
            expectError(kind, "the storage's reason", [&] { opened.open(OpenMode::Update), action(opened); });
        };
        expectReason(row.expected, [](auto& package) { package.commit({carried(0)}); });
        expectReason(row.expectedOfBackup, [](auto& package) { package.backUp(u".bak"); });
    }
    EXPECT_THROW(package().open(OpenMode::Update), model::PackageNotFound);
}

}  // namespace
}  // namespace opc::zippackage
