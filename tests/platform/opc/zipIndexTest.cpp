#include "zipTesting.hpp"

namespace opc::zippackage {
namespace {

using FileRow = ChangeRow<ZipFile>;
using ItemRow = ChangeRow<ZipItem>;  // a change to the second item

ZipFile sampleFile() {
    ZipFile file;
    file.items = {{"[Content_Types].xml", proseOf(300), true}, {"a/b.txt", "stored text"}, {"a/c", proseOf(900), true}};
    return file;
}

ZipFile changed(const FileRow& row) {
    ZipFile file = sampleFile();
    row.change(file);
    return file;
}

ZipFile changed(const ItemRow& row) {
    ZipFile file = sampleFile();
    row.change(file.items[1]);
    return file;
}

class ZipIndexTest : public ZipTest {
protected:
    void expectRefused(const ZipFile& file, const char* message) {
        put(file.bytes());
        expectError(expected, message, [&] { package(limits).open(OpenMode::ReadOnly); });
    }

    template <class Rows>
    void expectAllRefused(const Rows& rows) {
        for (const auto& row : rows) {
            expectRefused(changed(row), row.message);
        }
    }

    ErrorKind expected = ErrorKind::Damaged;
    Limits limits;
};

const FileRow kRefusedFiles[] = {
    {[](ZipFile& f) { f.before = "x"; }, "does not end where the end record begins"},
    {[](ZipFile& f) { f.items = {f.items[1]}, f.items[0].offset = 1, f.before = "x", f.lie.directoryOffset = 1; },
     "data was put before it"},
    {[](ZipFile& f) { f.after = "x"; }, "does not end with the file"},
    {[](ZipFile& f) { f.comment = "PK\5\6 is a mark"; }, "several end records"},
    {[](ZipFile& f) { f.items[2].comment = "PK\5\6" + std::string(16, '\0') + std::string("\26", 2); },
     "several end records"},
    {[](ZipFile& f) { f.items.clear(), f.before = "junk", f.lie.directoryOffset = 4; }, "no items, but 4 bytes"},
    {[](ZipFile& f) { f.lie.count = f.lie.countHere = 1; }, "cannot have 4 items"},
    {[](ZipFile& f) { f.items[0].comment.resize(46), f.afterDirectory = "PK\1\2", f.lie.count = f.lie.countHere = 1; },
     "record 4 of the index is missing"},
    {[](ZipFile& f) { f.afterDirectory = "x"; }, "1 bytes are left in the index"},
    {[](ZipFile& f) { f.items[1].offset = 60; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.items[2].central.storedSize += 1; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.items[2].offset = 0x7FFFFFFF; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.items.emplace_back("d/", "").offset = 40; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.items.emplace_back("d/", "x"); }, "the folder 'd/' has a content"},
    {[](ZipFile& f) {
         f = {}, f.beforeEnd = std::string("PK\6\7\0\0\0\0\xC8\xFF\xFF\xFF\xFF\xFF\xFF\xFF\1\0\0\0", 20);
     },
     "zip64 locator tells"},
    {[](ZipFile& f) {
         f.items.clear(), f.zip64 = true, f.lie.directorySize = f.lie.directoryOffset = kOnes32;
         f.lie.directorySize64 = 9, f.lie.directoryOffset64 = -9;
     },
     "does not end where"},
};

using Lies = support::ZipEndLies;

/// Fields of the end records that are refused when one is added to them.
const struct {
    bool zip64;
    const char* message;
    std::vector<std::int64_t Lies::*> fields;
} kRefusedLies[] = {
    {false, "several files", {&Lies::disk, &Lies::directoryDisk, &Lies::countHere}},
    {false, "does not end where", {&Lies::directoryOffset}},
    {true, "zip64 locator tells", {&Lies::offset64, &Lies::locatorDisk, &Lies::disks}},
    {true, "zip64 end record at", {&Lies::signature64, &Lies::size64, &Lies::disk64, &Lies::directoryDisk64}},
    {true, "zip64 end record at", {&Lies::countHere64, &Lies::directorySize64, &Lies::directoryOffset64}},
};

const ItemRow kRefusedItems[] = {
    {[](ZipItem& i) { i.central.signature ^= 1; }, "record 2 of the index is missing"},
    {[](ZipItem& i) { i.disk = 1; }, "in another file"},
    {[](ZipItem& i) { i.central.flags = 1; }, "is encrypted"},
    {[](ZipItem& i) { i.central.flags = 1 << 6; }, "is encrypted"},
    {[](ZipItem& i) { i.central.flags = 1 << 13; }, "is encrypted"},
    {[](ZipItem& i) { i.central.extra = "UT\1"; }, "malformed extra fields"},
    {[](ZipItem& i) { i.central.extra = std::string("UT\2\0x", 5); }, "malformed extra fields"},
    {[](ZipItem& i) { i.central.extra = zip64Field({}) + zip64Field({}); }, "malformed extra fields"},
    {[](ZipItem& i) { i.central.extra = zip64Field({11}); }, "zip64 field that does not fit"},
    {[](ZipItem& i) { i.central.size = i.central.storedSize = kOnes32, i.central.extra = zip64Field({11}); },
     "zip64 field that does not fit"},
    {[](ZipItem& i) { i.central.storedSize = kOnes32, i.central.extra = zip64Field({1000}); }, "reaches beyond offset"},
};

const std::pair<std::string, const char*> kRefusedNames[] = {
    {"", "the item name '' is empty"}, {std::string("a\0b", 3), "'a\\x00b' contains NUL"},
    {"a\\b", "a backslash"},           {"/a", "is absolute"},
    {"C:/a", "is absolute"},           {"a/../b", "a relative segment"},
    {"./a", "a relative segment"},     {"a//b", "an empty segment"},
    {"a\xC0\xAF", "is not UTF-8"},     {"A/C", "equivalent names"},
};

TEST_F(ZipIndexTest, RefusesWhatReadersCouldUnderstandDifferently) {
    expectAllRefused(kRefusedFiles);
    expectAllRefused(kRefusedItems);
    for (const auto& row : kRefusedLies) {
        for (const auto field : row.fields) {
            ZipFile file = sampleFile();
            file.zip64 = row.zip64;
            file.lie.*field = 1;
            expectRefused(file, row.message);
        }
    }
    ZipFile file = sampleFile();
    file.zip64 = true;
    file.lie.countHere64 = file.lie.count64 = 1;
    expectRefused(file, "zip64 end record at");
    file = sampleFile();
    for (const auto& [name, message] : kRefusedNames) {
        file.items[1].change([&name = name](ZipHeader& h) { h.name = name; });
        expectRefused(file, message);
    }
    std::string longRecord = sampleFile().bytes();
    longRecord[longRecord.size() - 22 - 49 + 32] = 1;  // the size of the last record's comment
    put(longRecord);
    expectError(expected, "longer than the index", [&] { package().open(OpenMode::ReadOnly); });
}

const FileRow kBeyondLimits[] = {
    {[](ZipFile& f) { f.lie.count = f.lie.countHere = 64997; }, "is 65000, the limit maxEntries is 3"},
    {[](ZipFile& f) { f.items[0].comment.assign(13000, 'c'); }, "is 12288"},
    {[](ZipFile& f) { f.items[1].central.size = 2001; }, "'a/b.txt' is 2001, the limit maxPartSize is 2000"},
    {[](ZipFile& f) { f.items[1].central.storedSize = 2001; }, "is 2001, the limit maxPartSize is 2000"},
    {[](ZipFile& f) { f.items[1].central.size = 1991, f.items[1].central.storedSize = 199; }, "maxRatio is 10"},
    {[](ZipFile& f) { f.items[1].change([](ZipHeader& h) { h.size = h.storedSize = 1801; }); },
     "is 3001, the limit max"},
};

TEST_F(ZipIndexTest, HoldsTheLimitsBeforeReadingContent) {
    limits.maxEntries = 3;
    limits.maxPartSize = 2000;
    limits.maxPackageSize = 3000;
    limits.maxRatio = 10;
    limits.ratioFreeSize = 1500;
    expected = ErrorKind::LimitExceeded;
    expectAllRefused(kBeyondLimits);
    expected = ErrorKind::Damaged;  // just within all of them
    ZipFile file = sampleFile();
    file.items[1].central.size = 1800;
    file.items[1].central.storedSize = 180;
    expectRefused(file, "reaches beyond");
}

const FileRow kAccepted[] = {
    {[](ZipFile& f) { f.comment = std::string(65535, 'c'); }, "comment"},
    {[](ZipFile& f) { f.items[1] = ZipItem("z.zip", sampleFile().bytes()); }, "zip in the zip"},
    {[](ZipFile& f) { f.items.emplace_back("a/", ""); }, "folder"},
    {[](ZipFile& f) { f.items[0].after = "gap"; }, "gap"},
    {[](ZipFile& f) {
         std::swap(f.items[0].central, f.items[1].central);
         f.items[0].offset = static_cast<std::uint32_t>(49 + f.items[0].data.size()), f.items[1].offset = 0;
     },
     "index in another order"},
    {[](ZipFile& f) { f.items[1].central.extra = std::string("UT\1\0x", 5); }, "unknown extra field"},
    {[](ZipFile& f) { f.items[1].local.extra = "UT\1\1" + std::string(257, 'x'); }, "long local extra field"},
    {[](ZipFile& f) {
         f.items.emplace_back("empty", "").data = std::string("\3\0", 2);
         f.items.back().change([](ZipHeader& h) { h.method = 8, h.storedSize = 2; });
     },
     "empty deflated item"},
    {[](ZipFile& f) {
         for (ZipItem& i : f.items) {
             i.change([](ZipHeader& h) { h.flags = 8; });
             i.local.crc = i.local.size = i.local.storedSize = 0, i.after = "sixteen bytes...";
         }
     },
     "data descriptors"},
    {[](ZipFile& f) {
         f.zip64 = true, f.lie.count = f.lie.countHere = kOnes16 - 3;
         for (ZipItem& i : f.items) {
             i.change([](ZipHeader& h) { h.extra = zip64Field({h.size, h.storedSize}); });
             i.change([](ZipHeader& h) { h.size = h.storedSize = kOnes32; });
         }
     },
     "zip64"},
    {[](ZipFile& f) {
         f.items[0].central.extra = std::string("\1\0\14", 3) + std::string(13, '\0');
         f.items[0].offset = kOnes32, f.items[0].disk = kOnes16;
     },
     "zip64 offset and disk"},
};

TEST_F(ZipIndexTest, AcceptsWhatIsUnusualButClear) {
    for (const FileRow& row : kAccepted) {
        SCOPED_TRACE(row.message);
        put(changed(row).bytes());
        ZipPhysicalPackage opened = package();
        opened.open(OpenMode::ReadOnly);
        std::size_t known = 0;
        for (std::size_t i = 0; i < opened.items().size(); ++i) {
            const std::string content = toText(opened.read(i));
            EXPECT_EQ(content.size(), opened.items()[i].size);
            EXPECT_NE(opened.items()[i].name, "a/");
            known += content == proseOf(300) || content == proseOf(900) ? 1 : 0;
        }
        EXPECT_EQ(known, 2U);
    }
}

TEST_F(ZipIndexTest, RefusesEveryTruncation) {
    const std::string whole = sampleFile().bytes();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        put(whole.substr(0, size));
        EXPECT_THROW(package().open(OpenMode::ReadOnly), Exception) << size;
    }
}

}  // namespace
}  // namespace opc::zippackage
