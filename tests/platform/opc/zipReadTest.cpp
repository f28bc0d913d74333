#include "opc/zippackage/ZipEntryReader.hpp"
#include "opc/zippackage/ZipIndexReader.hpp"
#include "zipTesting.hpp"

namespace opc::zippackage {
namespace {

class ZipReadTest : public ZipTest {
protected:
    void putAround(const ZipItem& item) {
        ZipFile file;
        file.items = {{"first", "1"}, item, {"last", "2"}};
        put(file.bytes());
    }
};

const ChangeRow<ZipItem> kRefused[] = {
    {[](ZipItem& i) { i.local.crc = i.central.crc ^= 1; }, "its content has the checksum"},
    {[](ZipItem& i) { i.local.size = i.central.size -= 1; }, "inflates to more than the 899 bytes"},
    {[](ZipItem& i) { i.local.size = i.central.size += 1; }, "inflates to 900 bytes"},
    {[](ZipItem& i) { i.local.size = i.central.size = 60000000; }, "cannot be 60000000 bytes"},
    {[](ZipItem& i) { i.data[0] = '\7'; }, "its deflated data is invalid"},
    {[](ZipItem& i) { i.data += "x", i.local.storedSize = i.central.storedSize += 1; }, "from"},
    {[](ZipItem& i) { i.local.method = i.central.method = 12; }, "compressed by method 12"},
    {[](ZipItem& i) { i.local.method = i.central.method = 0; }, "not compressed, but 900 bytes"},
    {[](ZipItem& i) { i.local.signature ^= 1; }, "not like the index"},
    {[](ZipItem& i) { i.local.name = "Item"; }, "not like the index"},
    {[](ZipItem& i) { i.local.name = "items"; }, "a name of 5"},
    {[](ZipItem& i) { i.local.method = 0; }, "not like the index"},
    {[](ZipItem& i) { i.local.flags = 1; }, "not like the index"},
    {[](ZipItem& i) { i.local.crc ^= 1; }, "its local header tells"},
    {[](ZipItem& i) { i.local.storedSize ^= 1; }, "its local header tells"},
    {[](ZipItem& i) { i.local.size = 0; }, "its local header tells"},
    {[](ZipItem& i) { i.local.flags = 8, i.local.size = 1; }, "its local header tells"},
    {[](ZipItem& i) { i.local.extra = "abc"; }, "extra fields of its local header"},
    {[](ZipItem& i) { i.local.size = i.local.storedSize = kOnes32, i.local.extra = zip64Field({900}); },
     "extra fields"},
    {[](ZipItem& i) { i.local.size = kOnes32, i.local.extra = zip64Field({901}); }, "its local header tells"},
    {[](ZipItem& i) { i.local.extra = std::string(40, '\0'), i.data.resize(i.data.size() - 40); }, "leaves no room"},
};

TEST_F(ZipReadTest, RefusesContentThatIsNotAsTheIndexTells) {
    for (const auto& row : kRefused) {
        ZipItem item("item", proseOf(900), true);
        row.change(item);
        putAround(item);
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
    putAround(item);
    ZipPhysicalPackage opened = package(Limits(), false);
    opened.open(OpenMode::ReadOnly);
    EXPECT_EQ(toText(opened.read(1)), "content");
}

TEST_F(ZipReadTest, GivesTrueContentOrAFailureForEveryChangedByte) {
    const std::vector<std::string> contents = {proseOf(120), "stored", proseOf(80)};
    ZipFile file;
    file.items = {{"a", contents[0], true}, {"b", contents[1]}, {"c", contents[2], true}};
    const std::string whole = file.bytes();
    for (std::size_t change = 0; change < 4 * whole.size(); ++change) {
        std::string changed = whole;
        changed[change / 4] = static_cast<char>(changed[change / 4] ^ "\x01\x08\x80\xFF"[change % 4]);
        put(changed);
        try {
            ZipPhysicalPackage opened = package();
            opened.open(OpenMode::ReadOnly);
            ASSERT_EQ(opened.items().size(), contents.size()) << change;
            for (std::size_t i = 0; i < contents.size(); ++i) {
                EXPECT_EQ(toText(opened.read(i)), contents[i]) << change;
            }
        } catch (const Exception&) {  // the other permitted outcome
        }
    }
}

/// Counts what is asked of a file.
struct CountingFile : foundation::storage::vfs::ReadableFile {
    explicit CountingFile(std::string content) : bytes(std::move(content)) {}
    std::uint64_t size() const override { return bytes.size(); }
    void read(std::uint64_t offset, void* to, std::size_t count) const override {
        bytes.copy(static_cast<char*>(to), count, offset);
        ++reads;
        bytesRead += count;
    }
    std::string bytes;
    mutable std::size_t reads = 0, bytesRead = 0;
};

TEST_F(ZipReadTest, ReadsSmallFilesAtOnceAndOfLargeOnesNoMoreThanIsNeeded) {
    struct Row {
        std::size_t size, itemCount, readsToOpen, readsWithContent, mostBytesToOpen;
    };
    for (const Row& row : {Row{500, 1, 1, 1, 1000}, Row{1000000, 1, 1, 3, 70000}, Row{0, 5000, 2, 3, 300000}}) {
        ZipFile file;
        for (std::size_t i = 0; i < row.itemCount; ++i) {
            file.items.emplace_back("n" + std::to_string(i), noiseOf(row.size));
        }
        CountingFile counted(file.bytes());
        ZipInput input(counted, "f.zip");
        const ZipIndex index = ZipIndexReader(input, Limits()).read();
        EXPECT_EQ(counted.reads, row.readsToOpen);
        EXPECT_LE(counted.bytesRead, row.mostBytesToOpen);
        EXPECT_EQ(toText(ZipEntryReader(input, true).read(index.entries.back())), noiseOf(row.size));
        EXPECT_EQ(counted.reads, row.readsWithContent);
    }
}

}  // namespace
}  // namespace opc::zippackage
