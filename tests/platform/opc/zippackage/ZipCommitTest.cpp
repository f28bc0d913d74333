#include "opc/StreamHelper.hpp"
#include "opc/model/PackageNotFound.hpp"
#include "opc/zippackage/ZipIndexReader.hpp"
#include "opc/zippackage/ZipWriter.hpp"
#include "platform/opc/zippackage/ZipTesting.hpp"
#include "support/TempDir.hpp"

#include <fstream>
#include <list>
#include <sstream>
#include <unistd.h>

namespace opc::zippackage {
namespace {

namespace vfs = foundation::storage::vfs;
using interfaces::CompressionType;
using interfaces::PlannedEntry;

PlannedEntry carried(std::size_t entry) { return {nullptr, entry, "", CompressionType::Normal}; }

class ZipCommitTest : public ZipTest {
protected:
    PlannedEntry fresh(const std::string& name, const std::string& content,
                       CompressionType compression = CompressionType::Normal) {
        contents_.push_back(toBytes(content));
        return {&contents_.back(), 0, name, compression};
    }

    static void commit(ZipPhysicalPackage package, OpenMode mode, const std::vector<PlannedEntry>& plan) {
        package.open(mode);
        package.commit(plan);
    }

private:
    std::list<std::vector<unsigned char>> contents_;
};

TEST_F(ZipCommitTest, WritesTheSameBytesForTheSameContent) {
    const std::string prose = proseOf(100000), noise = noiseOf(70000), letters(5000, 'x');
    Limits limits;
    limits.ratioFreeSize = 4999;
    limits.maxRatio = 100;
    commit(package(limits), OpenMode::Create,
           {fresh("prose", prose), fresh("n", noise), fresh("e", ""), fresh("s", prose, CompressionType::None),
            fresh("too/good", letters)});
    ZipFile expected;
    expected.entries = {{"prose", prose, true}, {"n", noise}, {"e", ""}, {"s", prose}, {"too/good", letters}};
    EXPECT_TRUE(stored() == expected.bytes());
    commit(package(limits), OpenMode::Update, {});
    EXPECT_EQ(stored(), ZipFile().bytes());
}

ZipFile odd(bool described) {
    ZipFile file;
    file.comment = "comment of the file";
    file.entries = {{"old", "dropped"},
                    {"large", noiseOf(90000)},
                    {"odd", "by method 12"},
                    {"last", proseOf(400), true},
                    {"folder/", ""}};
    BuiltEntry& entry = file.entries[2];
    entry.change([](ZipHeader& h) { h.time = 4711, h.date = 12345, h.flags = 1 << 11 | 6; });
    entry.externalAttributes = 0x81A40000;
    entry.internalAttributes = 1;
    entry.versionMadeBy = 3 << 8 | 30;
    entry.comment = "comment of the entry";
    entry.central.extra = "UT\1\0x"s;
    entry.local.extra = "UT\2\0xy"s;
    entry.change([](ZipHeader& h) { h.method = 12, h.versionNeeded = 46; });
    if (described) {
        entry.change([](ZipHeader& h) { h.flags |= 8, h.extra += zip64Field({h.size, h.storedSize}); });
        entry.change([](ZipHeader& h) { h.size = h.storedSize = kOnes32; });
        entry.local.crc = 0;
        entry.after = "the data descriptor";
    }
    return file;
}

TEST_F(ZipCommitTest, CarriesOverAsItIsWhatIsNotChanged) {
    put(odd(true).bytes() + "\r\n");  // a line break that is not kept
    ZipPhysicalPackage opened = package();
    opened.open(OpenMode::Update);
    opened.commit({carried(3), fresh("new", "fresh"), carried(1), carried(2)});
    ZipFile expected = odd(false);
    const auto& old = expected.entries;
    expected.entries = {old[3], BuiltEntry("new", "fresh"), old[1], old[2], old[4]};
    EXPECT_TRUE(stored() == expected.bytes());
    EXPECT_EQ(toText(opened.read(0)), "dropped") << "the old version is still open";
    expectError(ErrorKind::Conflict, "", [&] { opened.commit({}); });
    EXPECT_TRUE(stored() == expected.bytes());
}

TEST_F(ZipCommitTest, StoresWhatWasStoredByChoice) {
    const std::string prose = proseOf(500);
    const auto isStoredAfter = [&](const std::vector<BuiltEntry>& before) {
        ZipFile file;
        file.entries = before;
        put(file.bytes());
        commit(package(), OpenMode::Update, {fresh("a", prose)});
        ZipFile expected;
        expected.entries = {{"a", prose}};
        return stored() == expected.bytes();
    };
    EXPECT_TRUE(isStoredAfter({{"a", proseOf(400)}, {"b", prose, true}}));
    EXPECT_TRUE(isStoredAfter({{"a", ""}, {"b", noiseOf(9)}}));
    EXPECT_FALSE(isStoredAfter({{"a", ""}, {"b", prose, true}}));
    EXPECT_FALSE(isStoredAfter({{"a", prose, true}, {"b", prose}}));
    EXPECT_FALSE(isStoredAfter({{"b", prose}}));
}

TEST_F(ZipCommitTest, CarriesOverWhatFollowsEachOtherAndWhatDoesNot) {
    ZipFile whole;
    std::string content = noiseOf(80000);
    std::transform(content.begin(), content.end(), content.begin(), [](char c) { return static_cast<char>(c | 0x0F); });
    for (const char* const name : {"0", "1", "2", "3"}) {
        whole.entries.emplace_back(name, name + content, true);
    }
    for (const std::vector<std::size_t>& order : {std::vector<std::size_t>{0, 1, 2, 3}, {0, 2}, {1, 0, 3}, {2}}) {
        put(whole.bytes());
        std::vector<PlannedEntry> plan;
        ZipFile expected;
        for (const std::size_t position : order) {
            plan.push_back(carried(position));
            expected.entries.push_back(whole.entries[position]);
        }
        commit(package(), OpenMode::Update, plan);
        EXPECT_TRUE(stored() == expected.bytes()) << order.size();
    }
}

TEST_F(ZipCommitTest, WritesZip64RecordsThatItReads) {
    DeflateCodec codec;
    const Limits limits;
    const auto content = toBytes(proseOf(500));
    for (const Zip64From& from : {Zip64From{0, 0}, Zip64From{400, kOnes16}, Zip64From{kOnes32, 2}}) {
        SCOPED_TRACE(from.value);
        const auto out = storage->beginReplacement(u"f.zip", nullptr);
        ZipWriter writer("Writing f.zip: ", *out, codec, limits, from);
        writer.addContent("first", content, CompressionType::None);
        writer.addContent("second", content, CompressionType::Normal);
        writer.finish("comment");
        out->commit();
        EXPECT_NE(stored().find("PK\6\7"), std::string::npos);
        commit(package(), OpenMode::Update, {carried(0), carried(1)});
        ZipFile expected;
        expected.comment = "comment";
        expected.entries = {{"first", proseOf(500)}, {"second", proseOf(500), true}};
        for (BuiltEntry& entry : expected.entries) {
            entry.change([&](ZipHeader& h) { h.versionNeeded = from.value == kOnes32 ? 20 : 45; });
        }
        EXPECT_TRUE(stored() == expected.bytes());
        storage = std::make_shared<vfs::MemoryStorage>();
    }
}

TEST_F(ZipCommitTest, LeavesTheFileAloneWhenItRefuses) {
    const std::string content = noiseOf(100);
    Limits limits;
    limits.maxEntries = 3;
    limits.maxPartSize = 150;
    limits.maxPackageSize = 250;
    ZipFile file;
    file.entries = {{"old", std::string(60, 'o')}};
    const std::string before = file.bytes();
    put(before);
    const auto update = OpenMode::Update;
    const auto limit = ErrorKind::LimitExceeded, misuse = ErrorKind::Misuse;
    const struct {
        OpenMode mode;
        std::vector<PlannedEntry> plan;
        ErrorKind kind;
        const char* message;
    } rows[] = {
        {update, {fresh("a", content), fresh("b", content), carried(0)}, limit, "260, the limit maxPackageSize is 250"},
        {update, {fresh("a", noiseOf(151))}, limit, "'a' is 151, the limit maxPartSize is 150"},
        {update, {carried(0), carried(0), carried(0), carried(0)}, limit, "4, the limit maxEntries is 3"},
        {update, {fresh(std::string(20000, 'n'), content)}, limit, "4096 times maxEntries"},
        {update, {fresh("OLD", content), carried(0)}, misuse, "equivalent names"},
        {update, {fresh("/a", content)}, misuse, "'/a' is no name"},
        {update, {fresh("a/", content)}, misuse, "'a/' is no name"},
        {update, {fresh("\xE4", content)}, misuse, "is no name"},
        {update, {carried(1)}, misuse, "entry 1 of 1"},
        {OpenMode::Create, {carried(0)}, misuse, "not open for reading"},
        {OpenMode::ReadOnly, {carried(0)}, misuse, "not open for writing"},
        {OpenMode::Create, {fresh("a", content)}, ErrorKind::Conflict, "f.zip"},
    };
    for (const auto& row : rows) {
        expectError(row.kind, row.message, [&] { commit(package(limits), row.mode, row.plan); });
        EXPECT_TRUE(stored() == before) << row.message;
    }
    ZipPhysicalPackage opened = package();
    expectError(misuse, "not open", [&] { opened.commit({}); });
    opened.open(update);
    expectError(misuse, "open already", [&] { opened.open(update); });
    expectError(misuse, "entry 1 of 1", [&] { opened.read(1); });
    put("changed outside");
    expectError(ErrorKind::Conflict, "f.zip", [&] { opened.commit({}); });
    EXPECT_EQ(stored(), "changed outside");
    opened.close();
    EXPECT_TRUE(opened.entries().empty());
    expectError(misuse, "not open", [&] { opened.read(0); });
}

/// Stored content full of records that end a container, each for another size of what comes after it.
TEST_F(ZipCommitTest, WhatItWritesCanBeReadWhateverIsStoredInIt) {
    constexpr std::size_t kRecords = 600;
    ZipFile file;
    file.entries = {{"a", "x"}, {"forged", std::string(kRecords * kEndSize, ' ')}, {"b", "x"}};
    const std::string blank = file.bytes();
    const std::size_t after = blank.size() - blank.find(std::string(kEndSize, ' ')) - kRecords * kEndSize;
    std::string forged;
    for (std::size_t left = kRecords; left != 0; --left) {
        const std::size_t comment = after + (left - 1) * kEndSize + left;
        forged +=
            "PK\5\6"s + std::string(kEndSize - 6, '\0') + static_cast<char>(comment) + static_cast<char>(comment >> 8);
    }
    file.entries[1] = {"forged", forged};
    for (const std::size_t more : {1, 20, 300}) {
        put(file.bytes());
        ZipPhysicalPackage opened = package();
        opened.open(OpenMode::Update);
        opened.commit({carried(0), carried(1), carried(2), fresh(std::string(more, 'n'), "y")});
        ZipPhysicalPackage again = package();
        ASSERT_NO_THROW(again.open(OpenMode::Update)) << more;
        EXPECT_TRUE(toText(again.read(1)) == forged) << more;
    }
}

TEST_F(ZipCommitTest, NoticesWhatWasWrittenWithTheTimeSetBack) {
    const support::TempDir folder;
    ZipFile file;
    file.entries = {{"a", noiseOf(200000)}, {"b", noiseOf(100000)}};
    const std::string old = file.bytes();
    const auto path = folder.path("f.zip");
    for (const std::size_t at : {old.size(), std::size_t{1000}, old.size() - 60}) {  // none, what is carried, the index
        folder.put("f.zip", old);
        ZipPhysicalPackage opened(folder.name("f.zip"), FileSystemOpsSelector(), true, Limits());
        opened.open(OpenMode::Update);
        ::usleep(10'000);  // file times have the resolution of the kernel's tick
        const auto time = std::filesystem::last_write_time(path);
        if (at < old.size()) {
            std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).seekp(static_cast<long>(at)).put('!');
        }
        std::filesystem::last_write_time(path, time);
        const auto commit = [&] { opened.commit({carried(0), carried(1), fresh("n", "y")}); };
        if (at < old.size()) {
            expectError(ErrorKind::Conflict, "changed since it was opened", commit);
        } else {
            EXPECT_NO_THROW(commit());
        }
    }
}

struct FailingStorage : vfs::MemoryStorage {
    std::unique_ptr<vfs::Replacement> beginReplacement(const std::u16string&, const vfs::ReadableFile*) override {
        throw vfs::StorageError(kind, "the storage's reason, f.zip");
    }
    vfs::StorageErrorKind kind;
};

TEST_F(ZipCommitTest, PassesOnTheReasonsOfTheStorage) {
    using Kind = vfs::StorageErrorKind;
    const auto failing = std::make_shared<FailingStorage>();
    storage = failing;
    EXPECT_THROW(package().open(OpenMode::Update), model::PackageNotFound);
    put(ZipFile().bytes());
    ZipPhysicalPackage opened = package();
    opened.open(OpenMode::Update);
    const auto other = ErrorKind::InputOutput;
    const std::pair<Kind, ErrorKind> rows[] = {
        {Kind::NoSpace, other}, {Kind::Conflict, ErrorKind::Conflict}, {Kind::NotDurable, ErrorKind::NotDurable}};
    for (const auto& [kind, expected] : rows) {
        failing->kind = kind;
        expectError(expected, "the storage's reason", [&] { opened.commit({}); });
    }
}

TEST(StreamHelperTest, CopiesAllPiecesAndTellsWhenTheTargetFails) {
    struct : InputStream {
        std::size_t read(void* to, std::size_t) override {
            return static_cast<std::size_t>(text.readsome(static_cast<char*>(to), 2));
        }
        std::istringstream text{"in pieces"};
    } pieces;
    std::ostringstream out;
    EXPECT_TRUE(StreamHelper::copyStreamToStream(pieces, out));
    EXPECT_EQ(out.str(), "in pieces");
    out.setstate(std::ios::badbit);
    EXPECT_FALSE(StreamHelper::copyStreamToStream(pieces, out));
}

}  // namespace
}  // namespace opc::zippackage
