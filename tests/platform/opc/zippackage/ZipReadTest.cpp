#include "platform/opc/zippackage/ZipTesting.hpp"

#include <tuple>

namespace opc::zippackage {
namespace {

/// A change to a file or an entry, and what the failure tells.
template <class Changed>
using Row = std::pair<void (*)(Changed&), const char*>;

template <class Change>
std::string sampleWith(const Change& change) {
    ZipFile file;
    file.entries = {
        {"[Content_Types].xml", proseOf(300), true}, {"a/b.txt", "stored text"}, {"a/c", proseOf(900), true}};
    change(file);
    return file.bytes();
}

class ZipReadTest : public ZipTest {
protected:
    void expectRefused(const std::string& bytes, const char* message, ErrorKind kind = ErrorKind::Damaged,
                       std::size_t entry = 2) {
        put(bytes);
        ZipPhysicalPackage opened = package(limits);
        expectError(kind, message, [&] { opened.open(OpenMode::ReadOnly), opened.read(entry); });
    }

    Limits limits;
};

const Row<ZipFile> kRefused[] = {
    {[](ZipFile& f) { f.before = "x"; }, "does not end where the end record begins"},
    {[](ZipFile& f) { f.entries[0].offset = 1; }, "data was put before it"},
    {[](ZipFile& f) { f.after = "x"; }, "does not end with the file"},
    {[](ZipFile& f) { f.after = "\n\n"; }, "does not end with the file"},
    {[](ZipFile& f) { f.after = "\n\r"; }, "does not end with the file"},
    {[](ZipFile& f) { f.comment = "c", f.after = "\r\nx"; }, "does not end with the file"},
    {[](ZipFile& f) { f.comment = "PK\5\6" + std::string(18, '\0'), f.after = "\n"; }, "several end records"},
    {[](ZipFile& f) { f.comment = "PK\5\6 is a mark"; }, "several end records"},
    {[](ZipFile& f) { f.entries[2].comment = "PK\5\6" + std::string(16, '\0') + "\26\0"s; }, "several end records"},
    {[](ZipFile& f) { f.entries.clear(), f.before = "junk", f.forged[92] = "\4"; }, "no entries, but 4 bytes"},
    {[](ZipFile& f) { f.forged[84] = "\4\0\4"s; }, "cannot have 4 entries"},
    {[](ZipFile& f) { f.entries[0].comment.resize(46), f.afterDirectory = "PK\1\2", f.forged[84] = "\4\0\4"s; },
     "record 4"},
    {[](ZipFile& f) { f.afterDirectory = "x"; }, "1 bytes are left in the index"},
    {[](ZipFile& f) { f.entries[1].offset = 60; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.entries[2].central.storedSize += 1; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.entries[2].offset = 0x7FFFFFFF; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.entries.emplace_back("d/", "").offset = 40; }, "reaches beyond offset"},
    {[](ZipFile& f) { f.entries.emplace_back("d/", "x"); }, "the folder 'd/' has a content"},
    {[](ZipFile& f) { f = {}, f.beforeEnd = "PK\6\7\0\0\0\0\xC8"s + std::string(7, '\xFF') + "\1\0\0\0"s; },
     "zip64 locator names"},
    {[](ZipFile& f) {
         f.entries.clear(), f.zip64 = true, f.forged[88] = std::string(8, '\xFF');
         f.forged[40] = "\x9\0\0\0\0\0\0\0\xF7"s + std::string(7, '\xFF');
     },
     "does not end where"},
    {[](ZipFile& f) { f.zip64 = true, f.forged[24] = "\4\0\0\0\0\0\0\0\4"s; }, "zip64 end record at"},
};

/// Changes of the last entry.
const Row<BuiltEntry> kRefusedEntries[] = {
    {[](BuiltEntry& i) { i.local.crc = i.central.crc = 0xA0B0C; }, "the index says 0x000a0b0c"},
    {[](BuiltEntry& i) { i.local.size = i.central.size -= 1; }, "inflates to more than the 899 bytes"},
    {[](BuiltEntry& i) { i.local.size = i.central.size += 1; }, "inflates to 900 bytes"},
    {[](BuiltEntry& i) { i.local.size = i.central.size = 60000000; }, "cannot be 60000000 bytes"},
    {[](BuiltEntry& i) { i.data[0] = '\7'; }, "its deflated data is invalid"},
    {[](BuiltEntry& i) { i.data += "x", i.local.storedSize = i.central.storedSize += 1; }, "from"},
    {[](BuiltEntry& i) { i.local.method = i.central.method = 12; }, "compressed by method 12"},
    {[](BuiltEntry& i) { i.local.method = i.central.method = 0; }, "not compressed, but 900 bytes"},
    {[](BuiltEntry& i) { i.local.flags = 8, i.local.size = 1; }, "its local header says"},
    {[](BuiltEntry& i) { i.local.crc = 0; }, "its local header says"},
    {[](BuiltEntry& i) { i.local.extra = "abc"; }, "extra fields of its local header"},
    {[](BuiltEntry& i) { i.local.size = i.local.storedSize = kOnes32, i.local.extra = zip64Field({9}); },
     "extra fields"},
    {[](BuiltEntry& i) { i.local.size = kOnes32, i.local.extra = zip64Field({901}); }, "its local header says"},
    {[](BuiltEntry& i) { i.local.extra = std::string(40, '\0'), i.data.resize(i.data.size() - 40); }, "leaves no room"},
    {[](BuiltEntry& i) { i.central.extra = "UT\1"; }, "malformed extra fields"},
    {[](BuiltEntry& i) { i.central.extra = "UT\2\0x"s; }, "malformed extra fields"},
    {[](BuiltEntry& i) { i.central.extra = zip64Field({}) + zip64Field({}); }, "malformed extra fields"},
    {[](BuiltEntry& i) { i.central.extra = "up\6\0\1crc.b"s; }, "gives it another name"},
    {[](BuiltEntry& i) { i.local.extra = "up\6\0\1crc.b"s; }, "gives it another name"},
    {[](BuiltEntry& i) { i.local.extra = "up\0\0"s; }, "gives it another name"},
    {[](BuiltEntry& i) { i.local.extra = "up\x8\0\1crc.a/cup\6\0\1crc.b"s; }, "extra fields of its local header"},
    {[](BuiltEntry& i) { i.central.extra = zip64Field({900}); }, "zip64 field that does not fit"},
    {[](BuiltEntry& i) { i.central.size = kOnes32, i.central.extra = zip64Field({}); },
     "zip64 field that does not fit"},
    {[](BuiltEntry& i) { i.central.storedSize = kOnes32, i.central.extra = zip64Field({1000}); },
     "reaches beyond offset"},
};

/// A mark, a value, what the failure tells, and the places in the last record with that mark where the value is
/// refused.
const std::tuple<std::string, char, const char*, std::vector<std::size_t>> kGuarded[] = {
    {"PK\3\4", 'w', "not like the index", {0, 6, 8, 30}},
    {"PK\3\4", 'w', "its local header says", {14, 18, 22}},
    {"PK\3\4", 'w', "its local header with a name of 119", {26}},
    {"PK\3\4", 'w', "extra fields of 30464 bytes leaves no room", {29}},
    {"PK\1\2", 'w', "record 3 of the index is missing", {0}},
    {"PK\1\2", '\x01', "is encrypted", {8}},
    {"PK\1\2", '\x40', "is encrypted", {8}},
    {"PK\1\2", '\x20', "is encrypted", {9}},
    {"PK\1\2", 'w', "longer than the index", {28, 30, 32}},
    {"PK\1\2", 'w', "in another file", {34}},
    {"PK\5\6", 'w', "several files", {4, 6, 8}},
    {"PK\5\6", 'w', "does not end where", {16}},
    {"PK\6\7", 'w', "zip64 locator names", {4, 8, 16}},
    {"PK\6\6", 'w', "zip64 end record at", {0, 4, 16, 20, 24, 40, 48}},
};

const std::pair<std::string, const char*> kRefusedNames[] = {
    {"", "the entry name '' is empty"},
    {"a~\0b"s, "'a~\\x00b' contains NUL"},
    {"a\\b", "a backslash"},
    {"/a", "is absolute"},
    {"C:/a", "is absolute"},
    {"a/../b", "a relative segment"},
    {"./a", "a relative segment"},
    {"a//b", "an empty segment"},
    {"a\xC0\xAF", "is not UTF-8"},
    {"A/C", "equivalent names"},
};

TEST_F(ZipReadTest, RefusesWhatReadersCouldUnderstandDifferently) {
    for (const auto& [change, message] : kRefused) {
        expectRefused(sampleWith(change), message);
    }
    for (const auto& row : kRefusedEntries) {
        expectRefused(sampleWith([&](ZipFile& f) { row.first(f.entries[2]); }), row.second);
    }
    for (const auto& [mark, value, message, places] : kGuarded) {
        for (const std::size_t place : places) {
            std::string bytes = sampleWith([zip64 = mark[2] == '\6'](ZipFile& f) { f.zip64 = zip64; });
            bytes[bytes.rfind(mark) + place] = value;
            expectRefused(bytes, message);
        }
    }
    for (const auto& row : kRefusedNames) {
        const auto rename = [&](ZipHeader& h) { h.name = row.first; };
        expectRefused(sampleWith([&](ZipFile& f) { f.entries[1].change(rename); }), row.second);
    }
}

const Row<ZipFile> kBeyondLimits[] = {
    {[](ZipFile& f) { f.forged[84] = "\xE8\xFD\xE8\xFD"; }, "is 65000, the limit maxEntries is 3"},
    {[](ZipFile& f) { f.entries[0].comment.assign(13000, 'c'); }, "is 12288"},
    {[](ZipFile& f) { f.entries[1].central.size = 2001; }, "'a/b.txt' is 2001, the limit maxPartSize is 2000"},
    {[](ZipFile& f) { f.entries[1].central.storedSize = 2001; }, "is 2001, the limit maxPartSize is 2000"},
    {[](ZipFile& f) { f.entries[1].central.size = 1991, f.entries[1].central.storedSize = 199; }, "maxRatio is 10"},
    {[](ZipFile& f) { f.entries[1].central.size = f.entries[1].central.storedSize = 1801; }, "maxPackageSize is 3000"},
};

TEST_F(ZipReadTest, HoldsTheLimitsBeforeReadingContent) {
    limits.maxEntries = 3;
    limits.maxPartSize = 2000;
    limits.maxPackageSize = 3000;
    limits.maxRatio = 10;
    limits.ratioFreeSize = 1500;
    for (const auto& [change, message] : kBeyondLimits) {
        expectRefused(sampleWith(change), message, ErrorKind::LimitExceeded);
    }
    const auto within = [](ZipFile& f) { f.entries[1].central.size = 1800, f.entries[1].central.storedSize = 180; };
    expectRefused(sampleWith(within), "reaches beyond");
}

const Row<ZipFile> kAccepted[] = {
    {[](ZipFile& f) { f.zip64 = true, f.comment = std::string(65535, 'c'), f.after = "\r\n"; }, "comment"},
    {[](ZipFile& f) { f.after = "\n"; }, "line feed at the end"},
    {[](ZipFile& f) { f.comment = "c\n", f.after = "\r"; }, "carriage return at the end"},
    {[](ZipFile& f) { f.entries[2].change([](ZipHeader& h) { h.extra = "up\x8\0\1crc.a/c"s; }); }, "the name again"},
    {[](ZipFile& f) { f.entries[1] = BuiltEntry("z.zip", ZipFile().bytes()); }, "zip in the zip"},
    {[](ZipFile& f) { f.entries.emplace_back("a/", ""); }, "folder"},
    {[](ZipFile& f) { f.entries[0].after = "gap"; }, "gap"},
    {[](ZipFile& f) { f.entries.emplace_back("large", noiseOf(200000)); }, "file of several blocks"},
    {[](ZipFile& f) { f.entries[0].comment = f.entries[1].comment = std::string(60000, 'c'); },
     "index of several blocks"},
    {[](ZipFile& f) {
         std::swap(f.entries[0].central, f.entries[1].central);
         f.entries[0].offset = static_cast<std::uint32_t>(49 + f.entries[0].data.size()), f.entries[1].offset = 0;
     },
     "index in another order"},
    {[](ZipFile& f) { f.entries[1].central.extra = "UT\1\0x"s; }, "unknown extra field"},
    {[](ZipFile& f) { f.entries[1].local.extra = "UT\1\1" + std::string(257, 'x'); }, "long local extra field"},
    {[](ZipFile& f) {
         f.entries.emplace_back("empty", "").data = "\3\0"s;
         f.entries.back().change([](ZipHeader& h) { h.method = 8, h.storedSize = 2; });
     },
     "empty deflated entry"},
    {[](ZipFile& f) {
         for (BuiltEntry& i : f.entries) {
             i.change([](ZipHeader& h) { h.flags = 8; });
             i.local.crc = i.local.size = i.local.storedSize = 0, i.after = "sixteen bytes...";
         }
     },
     "data descriptors"},
    {[](ZipFile& f) {
         f.zip64 = true, f.forged[84] = "\xFF\xFF\xFF\xFF";
         for (BuiltEntry& i : f.entries) {
             i.change([](ZipHeader& h) { h.extra = zip64Field({h.size, h.storedSize}); });
             i.change([](ZipHeader& h) { h.size = h.storedSize = kOnes32; });
         }
     },
     "zip64"},
    {[](ZipFile& f) {
         f.entries[0].central.extra = "\1\0\14"s + std::string(13, '\0');
         f.entries[0].offset = kOnes32, f.entries[0].disk = kOnes16;
     },
     "zip64 offset and disk"},
};

TEST_F(ZipReadTest, AcceptsWhatIsUnusualButClear) {
    for (const auto& [change, name] : kAccepted) {
        SCOPED_TRACE(name);
        put(sampleWith(change));
        ZipPhysicalPackage opened = package();
        opened.open(OpenMode::ReadOnly);
        std::size_t known = 0;
        for (std::size_t i = 0; i < opened.entries().size(); ++i) {
            const std::string content = toText(opened.read(i));
            EXPECT_NE(opened.entries()[i].name, "a/");
            known += content == proseOf(300) || content == proseOf(900) ? 1 : 0;
        }
        EXPECT_EQ(known, 2U);
    }
}

TEST_F(ZipReadTest, GivesTrueContentInAnyOrder) {
    constexpr std::size_t kCount = 400;  // far more than is held of the end, or read ahead
    const auto contentOf = [](std::size_t i) { return std::to_string(i) + noiseOf(i % 100 == 99 ? 9000 : 10 * i); };
    ZipFile file;
    for (std::size_t i = 0; i != kCount; ++i) {
        file.entries.emplace_back(std::to_string(i), contentOf(i));
    }
    put(file.bytes());
    ZipPhysicalPackage opened = package();
    opened.open(OpenMode::ReadOnly);
    for (const std::size_t step : {std::size_t{1}, std::size_t{3}, kCount - 1}) {  // onwards, with gaps, and backwards
        for (std::size_t i = 0; i != kCount; ++i) {
            const std::size_t at = (i * step) % kCount;
            EXPECT_TRUE(toText(opened.read(at)) == contentOf(at)) << at;
        }
    }
}

TEST_F(ZipReadTest, GivesTrueContentOrAFailureForEveryByteChangedOrCutOff) {
    const auto givesAll = [&](const std::string& bytes) {
        put(bytes);
        ZipPhysicalPackage opened = package();
        try {
            opened.open(OpenMode::ReadOnly);
            EXPECT_EQ(opened.entries().size(), 3U);
            EXPECT_EQ(toText(opened.read(0)) + toText(opened.read(1)) + toText(opened.read(2)),
                      proseOf(120) + "b" + proseOf(80));
            return true;
        } catch (const Exception&) {
            return false;
        }
    };
    ZipFile file;
    file.entries = {{"a", proseOf(120), true}, {"b", "b"}, {"c", proseOf(80), true}};
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
