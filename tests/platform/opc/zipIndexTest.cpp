#include "zipTesting.hpp"

namespace opc::zippackage {
namespace {

using interfaces::OpenMode;
using support::zip64Field;
using support::ZipFile;
using support::ZipHeader;
using support::ZipItem;

constexpr std::uint32_t kOnes = 0xFFFFFFFF;

ZipFile sampleFile() {
    ZipFile file;
    file.items = {{"[Content_Types].xml", proseOf(300), true}, {"a/b.txt", "stored text"}, {"a/c", proseOf(900), true}};
    return file;
}

/// A change to the sample file, and what the failure tells.
struct FileCase {
    const char* name;
    void (*change)(ZipFile& f);
    const char* message = "";
};

/// A change to the second item of the sample file.
struct ItemCase {
    const char* name;
    void (*change)(ZipItem& i);
    const char* message;
};

class ZipIndexTest : public ZipTest {
protected:
    void putChanged(const FileCase& row) {
        ZipFile file = sampleFile();
        file.zip64 = zip64;
        row.change(file);
        put(file.bytes());
    }

    void putChanged(const ItemCase& row) {
        ZipFile file = sampleFile();
        row.change(file.items[1]);
        put(file.bytes());
    }

    template <class Row>
    void expectRefused(const Row& row, ErrorKind kind = ErrorKind::Damaged, const Limits& limits = Limits()) {
        SCOPED_TRACE(row.name);
        putChanged(row);
        expectError(kind, row.message, [&] { package(limits).open(OpenMode::ReadOnly); });
    }

    bool zip64 = false;
};

const FileCase kRefusedFiles[] = {
    {"prepended data", [](ZipFile& f) { f.before = "x"; }, "does not end where the end record begins"},
    {"prepended data, offsets adjusted",
     [](ZipFile& f) { f.items = {f.items[1]}, f.items[0].offset = 1, f.before = "x", f.lie.directoryOffset = 1; },
     "data was put before it"},
    {"appended data", [](ZipFile& f) { f.after = "x"; }, "does not end with the file"},
    {"end record in the comment", [](ZipFile& f) { f.comment = ZipFile().bytes(); }, "several end records"},
    {"end mark in the comment", [](ZipFile& f) { f.comment = "PK\5\6 is a mark"; }, "several end records"},
    {"second end record that fits",
     [](ZipFile& f) { f.items[2].comment = std::string("PK\5\6", 4) + std::string(16, '\0') + std::string("\26", 2); },
     "several end records"},
    {"data between index and end", [](ZipFile& f) { f.beforeEnd = "x"; }, "does not end where"},
    {"no items, but data", [](ZipFile& f) { f.items.clear(), f.before = "junk", f.lie.directoryOffset = 4; },
     "no items, but 4 bytes"},
    {"fewer items told", [](ZipFile& f) { f.lie.count = f.lie.countHere = -1; }, "bytes are left in the index"},
    {"more items told", [](ZipFile& f) { f.lie.count = f.lie.countHere = 1; }, "cannot have 4 items"},
    {"a comment in place of a record",
     [](ZipFile& f) { f.items[2].comment = std::string(50, 'c'), f.lie.count = f.lie.countHere = 1; },
     "record 4 of the index is missing"},
    {"record cut off",
     [](ZipFile& f) {
         f.items[0].comment.assign(46, 'c'), f.afterDirectory = "PK\1\2", f.lie.count = f.lie.countHere = 1;
     },
     "record 4 of the index is missing"},
    {"index offset", [](ZipFile& f) { f.lie.directoryOffset = 1; }, "does not end where"},
    {"index larger than the file",
     [](ZipFile& f) { f.lie.directorySize = 0x80000000, f.lie.directoryOffset = -0x80000000LL; }, "does not end where"},
    {"several disks", [](ZipFile& f) { f.lie.disk = 1; }, "several files"},
    {"index on another disk", [](ZipFile& f) { f.lie.directoryDisk = 1; }, "several files"},
    {"items on other disks", [](ZipFile& f) { f.lie.countHere = -1; }, "several files"},
    {"bytes behind the records", [](ZipFile& f) { f.afterDirectory = "x"; }, "1 bytes are left in the index"},
    {"item in an item", [](ZipFile& f) { f.items[1].offset = 60; }, "reaches beyond offset"},
    {"item in the index", [](ZipFile& f) { f.items[2].central.storedSize += 1; }, "reaches beyond offset"},
    {"item beyond the file", [](ZipFile& f) { f.items[2].offset = 0x7FFFFFFF; }, "reaches beyond offset"},
    {"folder over an item", [](ZipFile& f) { f.items.emplace_back("d/", "").offset = 40; }, "reaches beyond offset"},
    {"folder with content", [](ZipFile& f) { f.items.emplace_back("d/", "x"); }, "the folder 'd/' has a content"},
    {"zip64 locator without a record",
     [](ZipFile& f) {
         f = {}, f.beforeEnd = std::string("PK\6\7\0\0\0\0\xC8\xFF\xFF\xFF\xFF\xFF\xFF\xFF\1\0\0\0", 20);
     },
     "zip64 locator tells"},
};

const FileCase kRefusedZip64[] = {
    {"locator of another place", [](ZipFile& f) { f.lie.offset64 = 1; }, "zip64 locator tells"},
    {"locator of another disk", [](ZipFile& f) { f.lie.locatorDisk = 1; }, "zip64 locator tells"},
    {"locator of several disks", [](ZipFile& f) { f.lie.disks = 1; }, "zip64 locator tells"},
    {"signature", [](ZipFile& f) { f.lie.signature64 = 1; }, "zip64 end record at"},
    {"record size", [](ZipFile& f) { f.lie.size64 = 1; }, "zip64 end record at"},
    {"disk", [](ZipFile& f) { f.lie.disk64 = 1; }, "zip64 end record at"},
    {"index disk", [](ZipFile& f) { f.lie.directoryDisk64 = 1; }, "zip64 end record at"},
    {"count here", [](ZipFile& f) { f.lie.countHere64 = 1; }, "zip64 end record at"},
    {"count", [](ZipFile& f) { f.lie.countHere64 = f.lie.count64 = 1; }, "zip64 end record at"},
    {"index size", [](ZipFile& f) { f.lie.directorySize64 = 1; }, "zip64 end record at"},
    {"index offset", [](ZipFile& f) { f.lie.directoryOffset64 = 1; }, "zip64 end record at"},
    {"index nowhere",
     [](ZipFile& f) {
         f.items.clear();
         f.lie.directorySize = f.lie.directoryOffset = kOnes;
         f.lie.directorySize64 = 9, f.lie.directoryOffset64 = -9;
     },
     "does not end where"},
};

const ItemCase kRefusedItems[] = {
    {"record signature", [](ZipItem& i) { i.central.signature ^= 1; }, "record 2 of the index"},
    {"item in another file", [](ZipItem& i) { i.disk = 1; }, "in another file"},
    {"encrypted", [](ZipItem& i) { i.central.flags = 1; }, "is encrypted"},
    {"strongly encrypted", [](ZipItem& i) { i.central.flags = 1 << 6; }, "is encrypted"},
    {"masked header", [](ZipItem& i) { i.central.flags = 1 << 13; }, "is encrypted"},
    {"extra field cut off", [](ZipItem& i) { i.central.extra = "UT\1"; }, "malformed extra fields"},
    {"extra field too long",
     [](ZipItem& i) {
         i.central.extra = {'U', 'T', 2, 0, 'x'};
     },
     "malformed extra fields"},
    {"two zip64 fields", [](ZipItem& i) { i.central.extra = zip64Field({}) + zip64Field({}); }, "malformed extra"},
    {"zip64 without need", [](ZipItem& i) { i.central.extra = zip64Field({11}); }, "zip64 field that does not fit"},
    {"zip64 too short",
     [](ZipItem& i) { i.central.size = i.central.storedSize = kOnes, i.central.extra = zip64Field({11}); },
     "zip64 field that does not fit"},
    {"zip64 size beyond the next item",
     [](ZipItem& i) { i.central.storedSize = kOnes, i.central.extra = zip64Field({1000}); }, "reaches beyond offset"},
};

const std::pair<std::string, const char*> kRefusedNames[] = {
    {"", "the item name '' is empty"}, {std::string("a\0b", 3), "'a\\x00b' contains NUL"},
    {"a\\b", "a backslash"},           {"/a", "is absolute"},
    {"C:/a", "is absolute"},           {"a/../b", "a relative segment"},
    {"a/..", "a relative segment"},    {"../", "a relative segment"},
    {"./a", "a relative segment"},     {"a//b", "an empty segment"},
    {"a\xC0\xAF", "is not UTF-8"},     {"a/c", "equivalent names, 'a/c' and 'a/c'"},
    {"A/C", "equivalent names"},
};

TEST_F(ZipIndexTest, RefusesWhatReadersCouldUnderstandDifferently) {
    for (const FileCase& row : kRefusedFiles) {
        expectRefused(row);
    }
    for (const ItemCase& row : kRefusedItems) {
        expectRefused(row);
    }
    zip64 = true;
    for (const FileCase& row : kRefusedZip64) {
        expectRefused(row);
    }
    ZipFile file = sampleFile();
    for (const auto& [name, message] : kRefusedNames) {
        file.items[1].change([&name = name](ZipHeader& h) { h.name = name; });
        put(file.bytes());
        expectError(ErrorKind::Damaged, message, [&] { package().open(OpenMode::ReadOnly); });
    }
    std::string longRecord = sampleFile().bytes();
    longRecord[longRecord.size() - 22 - 49 + 32] = 1;  // the size of the last record's comment
    put(longRecord);
    expectError(ErrorKind::Damaged, "longer than the index", [&] { package().open(OpenMode::ReadOnly); });
}

TEST_F(ZipIndexTest, HoldsTheLimitsBeforeReadingContent) {
    Limits limits;
    limits.maxEntries = 3;
    limits.maxPartSize = 2000;
    limits.maxPackageSize = 3000;
    limits.maxRatio = 10;
    limits.ratioFreeSize = 1500;
    const FileCase files[] = {
        {"entries", [](ZipFile& f) { f.items.emplace_back("d", ""); }, "is 4, the limit maxEntries is 3"},
        {"untrue entries", [](ZipFile& f) { f.lie.count = f.lie.countHere = 64997; }, "is 65000, the limit maxEntries"},
        {"index", [](ZipFile& f) { f.items[0].comment.assign(13000, 'c'); }, "is 12288"},
    };
    for (const FileCase& row : files) {
        expectRefused(row, ErrorKind::LimitExceeded, limits);
    }
    const ItemCase items[] = {
        {"part", [](ZipItem& i) { i.central.size = 2001; }, "'a/b.txt' is 2001, the limit maxPartSize is 2000"},
        {"stored part", [](ZipItem& i) { i.central.storedSize = 2001; }, "is 2001, the limit maxPartSize is 2000"},
        {"ratio", [](ZipItem& i) { i.central.size = 1991, i.central.storedSize = 199; }, "the limit maxRatio is 10"},
        {"package", [](ZipItem& i) { i.central.size = i.central.storedSize = 1801; }, "is 3001, the limit maxPackage"},
    };
    for (const ItemCase& row : items) {
        expectRefused(row, ErrorKind::LimitExceeded, limits);
    }
    const ItemCase within = {"all of it", [](ZipItem& i) { i.central.size = 1800, i.central.storedSize = 180; },
                             "reaches beyond"};
    expectRefused(within, ErrorKind::Damaged, limits);
}

const FileCase kAccepted[] = {
    {"plain", [](ZipFile&) {}},
    {"comment", [](ZipFile& f) { f.comment = std::string(65535, 'c'); }},
    {"zip in the zip", [](ZipFile& f) { f.items[1] = ZipItem("z.zip", sampleFile().bytes()); }},
    {"folder", [](ZipFile& f) { f.items.emplace_back("a/", ""); }},
    {"gap", [](ZipFile& f) { f.items[0].after = "gap"; }},
    {"index in another order",
     [](ZipFile& f) {
         std::swap(f.items[0].central, f.items[1].central);
         f.items[0].offset = static_cast<std::uint32_t>(49 + f.items[0].data.size());
         f.items[1].offset = 0;
     }},
    {"unknown extra field",
     [](ZipFile& f) {
         f.items[1].central.extra = {'U', 'T', 1, 0, 'x'};
     }},
    {"long local extra field", [](ZipFile& f) { f.items[1].local.extra = "UT\1\1" + std::string(257, 'x'); }},
    {"empty deflated item",
     [](ZipFile& f) {
         f.items.emplace_back("empty", "").data = std::string("\3\0", 2);
         f.items.back().change([](ZipHeader& h) { h.method = 8, h.storedSize = 2; });
     }},
    {"data descriptors",
     [](ZipFile& f) {
         for (ZipItem& i : f.items) {
             i.change([](ZipHeader& h) { h.flags = 8; });
             i.local.crc = i.local.size = i.local.storedSize = 0;
             i.after = "sixteen bytes...";
         }
     }},
    {"zip64",
     [](ZipFile& f) {
         f.zip64 = true;
         f.lie.count = f.lie.countHere = 0xFFFF - 3;
         for (ZipItem& i : f.items) {
             i.change([](ZipHeader& h) {
                 h.extra = zip64Field({h.size, h.storedSize}), h.size = h.storedSize = kOnes;
             });
         }
     }},
    {"zip64 offset and disk",
     [](ZipFile& f) {
         f.items[0].central.extra = std::string("\1\0\14", 3) + std::string(13, '\0');
         f.items[0].offset = kOnes;
         f.items[0].disk = 0xFFFF;
     }},
};

TEST_F(ZipIndexTest, AcceptsWhatIsUnusualButClear) {
    for (const FileCase& row : kAccepted) {
        SCOPED_TRACE(row.name);
        putChanged(row);
        ZipPhysicalPackage opened = package();
        opened.open(OpenMode::ReadOnly);
        std::size_t known = 0;
        for (std::size_t i = 0; i < opened.items().size(); ++i) {
            const std::string content = toText(opened.read(i));
            EXPECT_EQ(content.size(), opened.items()[i].size);
            known += content == proseOf(300) || content == proseOf(900) ? 1 : 0;
            EXPECT_NE(opened.items()[i].name, "a/");
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
