#include "platform/opc/zipTesting.hpp"

namespace opc::zippackage {
namespace {

/// A change to a file or an item, and what the failure tells.
template <class Changed>
using Row = std::pair<void (*)(Changed&), const char*>;

ZipFile sampleFile() {
    ZipFile file;
    file.items = {{"[Content_Types].xml", proseOf(300), true}, {"a/b.txt", "stored text"}, {"a/c", proseOf(900), true}};
    return file;
}

class ZipReadTest : public ZipTest {
protected:
    void expectRefused(const std::string& bytes, const char* message, ErrorKind kind = ErrorKind::Damaged) {
        put(bytes);
        ZipPhysicalPackage opened = package(limits);
        expectError(kind, message, [&] { opened.open(OpenMode::ReadOnly), opened.read(2); });
    }

    Limits limits;
};

const Row<ZipFile> kRefused[] = {
    {[](ZipFile& f) { f.before = "x"; }, "does not end where the end record begins"},
    {[](ZipFile& f) { f.items = {f.items[1]}, f.items[0].offset = 1, f.before = "x", f.forged[92] = "\x31"; },
     "data was put before it"},
    {[](ZipFile& f) { f.after = "x"; }, "does not end with the file"},
    {[](ZipFile& f) { f.comment = "PK\5\6 is a mark"; }, "several end records"},
    {[](ZipFile& f) { f.items[2].comment = "PK\5\6" + std::string(16, '\0') + "\26\0"s; }, "several end records"},
    {[](ZipFile& f) { f.items.clear(), f.before = "junk", f.forged[92] = "\4"; }, "no items, but 4 bytes"},
    {[](ZipFile& f) { f.forged[84] = "\4\0\4"s; }, "cannot have 4 items"},
    {[](ZipFile& f) { f.items[0].comment.resize(46), f.afterDirectory = "PK\1\2", f.forged[84] = "\4\0\4"s; },
     "record 4 of the index is missing"},
    {[](ZipFile& f) { f.afterDirectory = "x"; }, "1 bytes are left in the index"},
    {[](ZipFile& f) { f.items[1].offset = 60; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.items[2].central.storedSize += 1; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.items[2].offset = 0x7FFFFFFF; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.items.emplace_back("d/", "").offset = 40; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.items.emplace_back("d/", "x"); }, "the folder 'd/' has a content"},
    {[](ZipFile& f) { f = {}, f.beforeEnd = "PK\6\7\0\0\0\0\xC8"s + std::string(7, '\xFF') + "\1\0\0\0"s; },
     "zip64 locator tells"},
    {[](ZipFile& f) {
         f.items.clear(), f.zip64 = true, f.forged[88] = std::string(8, '\xFF');
         f.forged[40] = "\x9\0\0\0\0\0\0\0\xF7"s + std::string(7, '\xFF');
     },
     "does not end where"},
    {[](ZipFile& f) { f.zip64 = true, f.forged[24] = "\4\0\0\0\0\0\0\0\4"s; }, "zip64 end record at"},
};

/// Changes of the last item.
const Row<ZipItem> kRefusedItems[] = {
    {[](ZipItem& i) { i.local.crc = i.central.crc ^= 1; }, "item 'a/c' at offset "},
    {[](ZipItem& i) { i.local.size = i.central.size -= 1; }, "inflates to more than the 899 bytes"},
    {[](ZipItem& i) { i.local.size = i.central.size += 1; }, "inflates to 900 bytes"},
    {[](ZipItem& i) { i.local.size = i.central.size = 60000000; }, "cannot be 60000000 bytes"},
    {[](ZipItem& i) { i.data[0] = '\7'; }, "its deflated data is invalid"},
    {[](ZipItem& i) { i.data += "x", i.local.storedSize = i.central.storedSize += 1; }, "from"},
    {[](ZipItem& i) { i.local.method = i.central.method = 12; }, "compressed by method 12"},
    {[](ZipItem& i) { i.local.method = i.central.method = 0; }, "not compressed, but 900 bytes"},
    {[](ZipItem& i) { i.local.flags = 8, i.local.size = 1; }, "its local header tells"},
    {[](ZipItem& i) { i.local.extra = "abc"; }, "extra fields of its local header"},
    {[](ZipItem& i) { i.local.size = i.local.storedSize = kOnes32, i.local.extra = zip64Field({900}); },
     "extra fields"},
    {[](ZipItem& i) { i.local.size = kOnes32, i.local.extra = zip64Field({901}); }, "its local header tells"},
    {[](ZipItem& i) { i.local.extra = std::string(40, '\0'), i.data.resize(i.data.size() - 40); }, "leaves no room"},
    {[](ZipItem& i) { i.central.extra = "UT\1"; }, "malformed extra fields"},
    {[](ZipItem& i) { i.central.extra = "UT\2\0x"s; }, "malformed extra fields"},
    {[](ZipItem& i) { i.central.extra = zip64Field({}) + zip64Field({}); }, "malformed extra fields"},
    {[](ZipItem& i) { i.central.extra = zip64Field({900}); }, "zip64 field that does not fit"},
    {[](ZipItem& i) { i.central.size = kOnes32, i.central.extra = zip64Field({}); }, "zip64 field that does not fit"},
    {[](ZipItem& i) { i.central.storedSize = kOnes32, i.central.extra = zip64Field({1000}); }, "reaches beyond offset"},
};

/// Places in the last record with a mark where another value is refused.
const struct {
    const char* mark;
    char value;
    const char* message;
    std::vector<std::size_t> places;
} kGuarded[] = {
    {"PK\3\4", 'w', "not like the index", {0, 6, 8, 30}},
    {"PK\3\4", 'w', "its local header tells", {14, 18, 22}},
    {"PK\3\4", 'w', "its local header with a name of 119", {26}},
    {"PK\1\2", 'w', "record 3 of the index is missing", {0}},
    {"PK\1\2", '\x01', "is encrypted", {8}},
    {"PK\1\2", '\x40', "is encrypted", {8}},
    {"PK\1\2", '\x20', "is encrypted", {9}},
    {"PK\1\2", 'w', "longer than the index", {28, 30, 32}},
    {"PK\1\2", 'w', "in another file", {34}},
    {"PK\5\6", 'w', "several files", {4, 6, 8}},
    {"PK\5\6", 'w', "does not end where", {16}},
    {"PK\6\7", 'w', "zip64 locator tells", {4, 8, 16}},
    {"PK\6\6", 'w', "zip64 end record at", {0, 4, 16, 20, 24, 40, 48}},
};

const std::pair<std::string, const char*> kRefusedNames[] = {
    {"", "the item name '' is empty"}, {"a\0b"s, "'a\\x00b' contains NUL"},
    {"a\\b", "a backslash"},           {"/a", "is absolute"},
    {"C:/a", "is absolute"},           {"a/../b", "a relative segment"},
    {"./a", "a relative segment"},     {"a//b", "an empty segment"},
    {"a\xC0\xAF", "is not UTF-8"},     {"A/C", "equivalent names"},
};

TEST_F(ZipReadTest, RefusesWhatReadersCouldUnderstandDifferently) {
    for (const auto& [change, message] : kRefused) {
        ZipFile file = sampleFile();
        change(file);
        expectRefused(file.bytes(), message);
    }
    for (const auto& [change, message] : kRefusedItems) {
        ZipFile file = sampleFile();
        change(file.items[2]);
        expectRefused(file.bytes(), message);
    }
    for (const auto& row : kGuarded) {
        for (const std::size_t place : row.places) {
            ZipFile file = sampleFile();
            file.zip64 = row.mark[2] == '\6';
            std::string bytes = file.bytes();
            bytes[bytes.rfind(row.mark) + place] = row.value;
            expectRefused(bytes, row.message);
        }
    }
    for (const auto& [name, message] : kRefusedNames) {
        ZipFile file = sampleFile();
        file.items[1].change([&name = name](ZipHeader& h) { h.name = name; });
        expectRefused(file.bytes(), message);
    }
}

const Row<ZipFile> kBeyondLimits[] = {
    {[](ZipFile& f) { f.forged[84] = "\xE8\xFD\xE8\xFD"; }, "is 65000, the limit maxEntries is 3"},
    {[](ZipFile& f) { f.items[0].comment.assign(13000, 'c'); }, "is 12288"},
    {[](ZipFile& f) { f.items[1].central.size = 2001; }, "'a/b.txt' is 2001, the limit maxPartSize is 2000"},
    {[](ZipFile& f) { f.items[1].central.storedSize = 2001; }, "is 2001, the limit maxPartSize is 2000"},
    {[](ZipFile& f) { f.items[1].central.size = 1991, f.items[1].central.storedSize = 199; }, "maxRatio is 10"},
    {[](ZipFile& f) { f.items[1].change([](ZipHeader& h) { h.size = h.storedSize = 1801; }); },
     "is 3001, the limit max"},
};

TEST_F(ZipReadTest, HoldsTheLimitsBeforeReadingContent) {
    limits.maxEntries = 3;
    limits.maxPartSize = 2000;
    limits.maxPackageSize = 3000;
    limits.maxRatio = 10;
    limits.ratioFreeSize = 1500;
    ZipFile file;
    for (const auto& [change, message] : kBeyondLimits) {
        change(file = sampleFile());
        expectRefused(file.bytes(), message, ErrorKind::LimitExceeded);
    }
    file = sampleFile();  // just within all of them
    file.items[1].central.size = 1800;
    file.items[1].central.storedSize = 180;
    expectRefused(file.bytes(), "reaches beyond");
}

const Row<ZipFile> kAccepted[] = {
    {[](ZipFile& f) { f.comment = std::string(65535, 'c'); }, "comment"},
    {[](ZipFile& f) { f.items[1] = ZipItem("z.zip", sampleFile().bytes()); }, "zip in the zip"},
    {[](ZipFile& f) { f.items.emplace_back("a/", ""); }, "folder"},
    {[](ZipFile& f) { f.items[0].after = "gap"; }, "gap"},
    {[](ZipFile& f) { f.items.emplace_back("large", noiseOf(200000)); }, "file of several blocks"},
    {[](ZipFile& f) { f.items[0].comment = f.items[1].comment = std::string(60000, 'c'); }, "index of several blocks"},
    {[](ZipFile& f) {
         std::swap(f.items[0].central, f.items[1].central);
         f.items[0].offset = static_cast<std::uint32_t>(49 + f.items[0].data.size()), f.items[1].offset = 0;
     },
     "index in another order"},
    {[](ZipFile& f) { f.items[1].central.extra = "UT\1\0x"s; }, "unknown extra field"},
    {[](ZipFile& f) { f.items[1].local.extra = "UT\1\1" + std::string(257, 'x'); }, "long local extra field"},
    {[](ZipFile& f) {
         f.items.emplace_back("empty", "").data = "\3\0"s;
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
         f.zip64 = true, f.forged[84] = "\xFF\xFF\xFF\xFF";
         for (ZipItem& i : f.items) {
             i.change([](ZipHeader& h) { h.extra = zip64Field({h.size, h.storedSize}); });
             i.change([](ZipHeader& h) { h.size = h.storedSize = kOnes32; });
         }
     },
     "zip64"},
    {[](ZipFile& f) {
         f.items[0].central.extra = "\1\0\14"s + std::string(13, '\0');
         f.items[0].offset = kOnes32, f.items[0].disk = kOnes16;
     },
     "zip64 offset and disk"},
};

TEST_F(ZipReadTest, AcceptsWhatIsUnusualButClear) {
    for (const auto& [change, name] : kAccepted) {
        SCOPED_TRACE(name);
        ZipFile file = sampleFile();
        change(file);
        put(file.bytes());
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

TEST_F(ZipReadTest, ReadsPastAWrongChecksumOnlyToSalvage) {
    ZipFile file = sampleFile();
    file.items[1].change([](ZipHeader& h) { h.crc = 1; });
    put(file.bytes());
    for (const bool verify : {true, false}) {
        ZipPhysicalPackage opened = package(limits, verify);
        opened.open(OpenMode::ReadOnly);
        EXPECT_EQ(toText(opened.read(2)), proseOf(900));
        if (verify) {
            expectError(ErrorKind::Damaged, "its content has the checksum", [&] { opened.read(1); });
        } else {
            EXPECT_EQ(toText(opened.read(1)), "stored text");
        }
    }
}

TEST_F(ZipReadTest, GivesTrueContentOrAFailureForEveryByteChangedOrCutOff) {
    const std::vector<std::string> contents = {proseOf(120), "stored", proseOf(80)};
    const auto givesAll = [&](const std::string& bytes) {
        put(bytes);
        try {
            ZipPhysicalPackage opened = package();
            opened.open(OpenMode::ReadOnly);
            EXPECT_EQ(opened.items().size(), contents.size());
            for (std::size_t i = 0; i < contents.size(); ++i) {
                EXPECT_EQ(toText(opened.read(i)), contents[i]);
            }
            return true;
        } catch (const Exception&) {
            return false;
        }
    };
    ZipFile file;
    file.items = {{"a", contents[0], true}, {"b", contents[1]}, {"c", contents[2], true}};
    const std::string whole = file.bytes();
    EXPECT_TRUE(givesAll(whole));
    for (std::size_t at = 0; at < whole.size(); ++at) {
        SCOPED_TRACE(at);
        EXPECT_FALSE(givesAll(whole.substr(0, at)));
        for (const char bits : {'\x01', '\x08', '\x80', '\xFF'}) {
            std::string changed = whole;
            changed[at] = static_cast<char>(changed[at] ^ bits);
            givesAll(changed);
        }
    }
}

}  // namespace
}  // namespace opc::zippackage
