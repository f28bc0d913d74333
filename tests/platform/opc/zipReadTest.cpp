#include "opc/zippackage/ZipEntryReader.hpp"
#include "opc/zippackage/ZipIndexReader.hpp"
#include "zipTesting.hpp"

namespace opc::zippackage {
namespace {

using interfaces::OpenMode;
using support::zip64Field;
using support::ZipFile;
using support::ZipHeader;
using support::ZipItem;

class ZipReadTest : public ZipTest {};

ZipFile fileOf(const ZipItem& item) {
    ZipFile file;
    file.items = {{"first", "1"}, item, {"last", "2"}};
    return file;
}

TEST_F(ZipReadTest, RefusesContentThatIsNotAsTheIndexTells) {
    struct Case {
        const char* name;
        std::function<void(ZipItem&)> change;
        const char* message;
    };
    const auto both = [](const std::function<void(ZipHeader&)>& change) {
        return [change](ZipItem& item) { item.change(change); };
    };
    const Case deflated[] = {
        {"checksum", both([](ZipHeader& h) { h.crc ^= 1; }), "its content has the checksum"},
        {"larger than told", both([](ZipHeader& h) { h.size -= 1; }), "inflates to more than the 899 bytes"},
        {"smaller than told", both([](ZipHeader& h) { h.size += 1; }), "inflates to 900 bytes"},
        {"too small for its size", both([](ZipHeader& h) { h.size = 60000000; }), "cannot be 60000000 bytes"},
        {"not deflated", [](ZipItem& i) { i.data[0] = '\7'; }, "its deflated data is invalid"},
        {"data cut off", both([](ZipHeader& h) { h.storedSize -= 1; }), "its deflated data is invalid"},
        {"data left over",
         [](ZipItem& i) {
             i.data += "x";
             i.change([](ZipHeader& h) { h.storedSize += 1; });
         },
         "from"},
        {"unknown method", both([](ZipHeader& h) { h.method = 12; }), "compressed by method 12"},
        {"stored with two sizes", both([](ZipHeader& h) { h.method = 0; }), "not compressed, but 900 bytes"},
        {"local signature", [](ZipItem& i) { i.local.signature ^= 1; }, "not like the index"},
        {"local name", [](ZipItem& i) { i.local.name = "Item"; }, "not like the index"},
        {"longer local name", [](ZipItem& i) { i.local.name = "items"; }, "a name of 5"},
        {"local method", [](ZipItem& i) { i.local.method = 0; }, "not like the index"},
        {"local encryption", [](ZipItem& i) { i.local.flags = 1; }, "not like the index"},
        {"local checksum", [](ZipItem& i) { i.local.crc ^= 1; }, "its local header tells"},
        {"local size", [](ZipItem& i) { i.local.size ^= 1; }, "its local header tells"},
        {"local stored size", [](ZipItem& i) { i.local.storedSize ^= 1; }, "its local header tells"},
        {"no local sizes", [](ZipItem& i) { i.local.size = 0; }, "its local header tells"},
        {"descriptor, wrong local size", [](ZipItem& i) { i.local.flags = 8, i.local.size = 1; }, "header tells"},
        {"local extra fields cut off", [](ZipItem& i) { i.local.extra = "abc"; }, "extra fields of its local header"},
        {"local zip64 too short",
         [](ZipItem& i) { i.local.size = i.local.storedSize = kOnes32, i.local.extra = zip64Field({900}); },
         "extra fields of its local header"},
        {"local zip64 size", [](ZipItem& i) { i.local.size = kOnes32, i.local.extra = zip64Field({901}); }, "tells"},
        {"no room for local extra fields",
         [](ZipItem& i) {
             i.local.extra = std::string(40, '\0');
             i.data.resize(i.data.size() - 40);
         },
         "leaves no room for its data"},
    };
    for (const Case& row : deflated) {
        SCOPED_TRACE(row.name);
        ZipItem item("item", proseOf(900), true);
        row.change(item);
        put(fileOf(item).bytes());
        ZipPhysicalPackage opened = package();
        ASSERT_NO_THROW(opened.open(OpenMode::ReadOnly));
        expectError(ErrorKind::Damaged, row.message, [&] { opened.read(1); });
        expectError(ErrorKind::Damaged, "item 'item' at offset 36", [&] { opened.read(1); });
        EXPECT_EQ(toText(opened.read(2)), "2");
    }
}

TEST_F(ZipReadTest, ReadsPastAWrongChecksumOnlyToSalvage) {
    ZipItem item("item", "content");
    item.change([](ZipHeader& h) { h.crc = 1; });
    put(fileOf(item).bytes());
    ZipPhysicalPackage opened = package(u"f.zip", false);
    opened.open(OpenMode::ReadOnly);
    EXPECT_EQ(toText(opened.read(1)), "content");
}

TEST_F(ZipReadTest, GivesTrueContentOrAFailureForEveryChangedByte) {
    const std::vector<std::string> contents = {proseOf(120), "stored", proseOf(80)};
    ZipFile file;
    file.items = {{"a", contents[0], true}, {"b", contents[1]}, {"c", contents[2], true}};
    const std::string whole = file.bytes();
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const int flip : {0x01, 0x08, 0x80, 0xFF}) {
            std::string changed = whole;
            changed[at] = static_cast<char>(changed[at] ^ flip);
            put(changed);
            try {
                ZipPhysicalPackage opened = package();
                opened.open(OpenMode::ReadOnly);
                ASSERT_EQ(opened.items().size(), contents.size()) << at;
                for (std::size_t i = 0; i < contents.size(); ++i) {
                    EXPECT_EQ(toText(opened.read(i)), contents[i]) << at;
                }
            } catch (const Exception&) {  // the other permitted outcome
            }
        }
    }
}

/// Counts what is asked of a file.
class CountingFile : public foundation::storage::vfs::ReadableFile {
public:
    explicit CountingFile(std::string bytes) : bytes_(std::move(bytes)) {}
    std::uint64_t size() const override { return bytes_.size(); }
    void read(std::uint64_t offset, void* to, std::size_t count) const override {
        bytes_.copy(static_cast<char*>(to), count, offset);
        ++reads;
        bytesRead += count;
    }
    mutable std::size_t reads = 0;
    mutable std::size_t bytesRead = 0;

private:
    std::string bytes_;
};

TEST_F(ZipReadTest, ReadsSmallFilesAtOnceAndOfLargeOnesNoMoreThanIsNeeded) {
    struct Case {
        std::size_t size;
        std::size_t itemCount;
        std::size_t readsToOpen;
        std::size_t readsWithContent;
        std::size_t mostBytesToOpen;
    };
    for (const Case& row : {Case{500, 1, 1, 1, 1000}, Case{1000000, 1, 1, 3, 70000}, Case{0, 5000, 2, 3, 300000}}) {
        ZipFile file;
        for (std::size_t i = 0; i < row.itemCount; ++i) {
            file.items.emplace_back("n" + std::to_string(i), noiseOf(row.size));
        }
        CountingFile counted(file.bytes());
        ZipInput input(counted, "f.zip");
        const ZipIndex index = ZipIndexReader(input, Limits()).read();
        EXPECT_EQ(counted.reads, row.readsToOpen);
        EXPECT_LE(counted.bytesRead, row.mostBytesToOpen);
        DeflateCodec codec;
        EXPECT_EQ(toText(ZipEntryReader(input, codec, true).read(index.entries.back())), noiseOf(row.size));
        EXPECT_EQ(counted.reads, row.readsWithContent);
    }
}

}  // namespace
}  // namespace opc::zippackage
