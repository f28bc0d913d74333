#include "flowbook/FlowbookFileUtils.hpp"
#include "foundation/release_info/ReleaseInfo.hpp"
#include "foundation/storage/vfs/LocalStorage.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/FileSystemOpsSelector.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "support/Flowbooks.hpp"
#include "support/TempDir.hpp"
#include "writer/RichCodeDocument.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <thread>

namespace flowbook {
namespace {

using foundation::storage::vfs::StorageSystemReference;
using opc::pxservices::CoreProperties;
using support::Book;
using support::Lines;
using support::matches;
using support::outcome;
using support::text;
using Work = void (*)(FlowbookFileWriter&);

TEST(Writer, ChangesTheFileOnlyByClosing) {
    for (const Book& book : {Book(), Book("one_paragraph")}) {
        const auto content = [&] { return book.exists() ? book.get() : support::Bytes(); };
        const support::Bytes before = content();
        for (const std::string end : {"destroyed", "reverted", "committed"}) {
            {
                FlowbookFileWriter writer = book.writer();
                writer.setTARMICCode(u"changed");
                if (end != "destroyed") {
                    writer.close(end == "reverted");
                }
                EXPECT_EQ(writer.getBackupFileName(), u"");
            }
            EXPECT_EQ(content() == before, end != "committed") << end;
        }
        EXPECT_EQ(book.reader().getTARMICCode(), u"changed");
    }
}

/// Mostly for the thread sanitizer: threads share storages, and below them the pools of parsers and decompressors.
TEST(Writer, WorksBesideOtherWritersAndReaders) {
    const Book shared("graph");
    const Lines inventory = shared.inventory();
    const auto work = [&](const std::u16string& ownName, const StorageSystemReference& storage) {
        for (char16_t round = u'a'; round != u'k'; ++round) {
            FlowbookFileWriter writer(ownName, storage, {});
            writer.setTARMICCode(ownName + round);
            writer.setTitle(ownName + round);
            writer.close(false);
            const FlowbookFileReader reader(ownName, storage);
            EXPECT_EQ(reader.getTARMICCode() + reader.getTitle(), ownName + round + ownName + round);
            const support::Bytes document = support::bytes(text(reader.getRichTARMICCode()));
            opc::ByteArrayInAdaptor stream(document);
            EXPECT_EQ(FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(stream), ownName + round);
            EXPECT_EQ(shared.inventory(), inventory);
        }
    };
    const support::TempDir folder;
    const StorageSystemReference local(std::make_shared<foundation::storage::vfs::LocalStorage>());
    std::vector<std::thread> threads;
    for (const std::string name : {"1.tqx", "2.tqx"}) {
        threads.emplace_back(work, folder.name(name), local);
        threads.emplace_back(work, u"mem://" + folder.name(name), shared.storage());
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(Writer, OpensAnyNameAndTellsItAsGiven) {
    const std::string cannotOpen = "FlowbookFileReaderGenericException: Internal Exception in reading TQX file : *";
    const support::TempDir folder;
    folder.put("damaged.zip", "not a zip");
    std::filesystem::create_directory(folder.path("sub"));
    const std::u16string damaged = folder.name("sub/../damaged.zip");
    EXPECT_PRED2(matches, cannotOpen, outcome([&] { return FlowbookFileWriter(damaged, {}), "opened"; }, damaged));
    FlowbookFileWriter creating(folder.name("new.zip"), {});
    folder.put("new.zip", "of others");
    EXPECT_PRED2(matches, "FlowbookFileWriterGenericException: *",
                 outcome([&] { return creating.close(false), "closed"; }, folder.name("new.zip")));
    EXPECT_EQ(folder.get("new.zip"), "of others");
    std::filesystem::remove(folder.path("new.zip"));
    creating.close(false);
    EXPECT_NE(folder.get("new.zip"), "") << "once the cause is gone, the writer still has its version";
    // A plain name that the storage has and the machine's file system has not cannot be made canonical.
    const std::u16string plain = u"no such folder/book.tqx";
    const auto memory = std::make_shared<foundation::storage::vfs::MemoryStorage>();
    memory->put(plain, support::fixture("one_paragraph"));
    const StorageSystemReference storage(memory);
    EXPECT_PRED2(matches, cannotOpen, outcome([&] { return FlowbookFileWriter(plain, storage, {}), ""; }, plain));
}

TEST(Writer, RelativeNamesMeanWhatTheyMeantWhenItWasBuilt) {
    const support::TempDir folder;
    const std::filesystem::path before = std::filesystem::current_path();
    for (const char* const name : {"caf\u00E9", "not UTF-8: \xE9\xFF"}) {
        std::filesystem::create_directory(folder.path(name));
        for (const std::u16string code : {u"new", u"updated"}) {
            std::filesystem::current_path(folder.path(name));
            FlowbookFileWriter writer(u"book.tqx", {});
            std::filesystem::current_path(before);
            writer.setTARMICCode(code);
            writer.close(false);
            std::filesystem::current_path(folder.path(name));
            EXPECT_EQ(FlowbookFileReader(u"book.tqx").getTARMICCode(), code) << name;
            std::filesystem::current_path(before);
        }
    }
}

struct EmptyHandedStorage : foundation::storage::vfs::MemoryStorage {
    std::unique_ptr<foundation::storage::vfs::ReadableFile> openForReading(const std::u16string&) const override {
        return nullptr;
    }
    std::unique_ptr<foundation::storage::vfs::Replacement>
    beginReplacement(const std::u16string&, const foundation::storage::vfs::ReadableFile*) override {
        return nullptr;
    }
};

TEST(Writer, AStorageThatHandsOutNothingIsAnError) {
    const auto storage = std::make_shared<EmptyHandedStorage>();
    const StorageSystemReference reference(storage);
    FlowbookFileWriter creating(Book::kName, reference, {});
    EXPECT_PRED2(matches, "FlowbookFileWriterGenericException: *", outcome([&] { return creating.close(false), ""; }));
    storage->put(Book::kName, {});
    const auto update = [&] { return FlowbookFileWriter(Book::kName, reference, {}), ""; };
    EXPECT_PRED2(matches, "FlowbookFileReaderGenericException: *", outcome(update));
}

std::string documentOf(const std::string& content) {
    return R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?><w:document xmlns:w=)"
           R"("http://schemas.openxmlformats.org/wordprocessingml/2006/main"><w:body><w:p><w:pPr>)"
           R"(<w:pStyle w:val="code"/></w:pPr><w:r>)" +
           content + "</w:r></w:p></w:body></w:document>";
}

TEST(Writer, CodeComesBackAsItWasWrittenFromThisDocument) {
    const auto cdata = [](const std::string& content) { return "<w:t><![CDATA[" + content + "]]></w:t>"; };
    const std::u16string encoded(u"a\0b\u0085\u200B", 5);
    const std::tuple<std::u16string, std::u16string, std::string> cases[] = {
        {u"", u"", "<w:t/>"},
        {u"a\r\nb\rc\t", u"a\nb\nc\t", cdata("a\r\nb\rc\t")},
        {encoded, u"a\uFFFDb\uFFFD\uFFFD", cdata("a\uFFFDb\uFFFD\uFFFD")},
        {u"\n\n", u"\n\n", cdata("\n\n")},
        {u" <&\u00E4\U0001F600 ", u" <&\u00E4\U0001F600 ", cdata(" <&\u00E4\U0001F600 ")},
        {u"<![CDATA[x]]> &amp;", u"<![CDATA[x]]> &amp;", cdata("<![CDATA[x]]]]><![CDATA[> &amp;")},
        {u"]]>", u"]]>", cdata("]]]]><![CDATA[>")},
        {u"]]]>>]]>]]", u"]]]>>]]>]]", cdata("]]]]]><![CDATA[>>]]]]><![CDATA[>]]")},
    };
    for (const auto& [code, read, content] : cases) {
        const Book book;
        book.update([&code = code](FlowbookFileWriter& writer) { writer.setTARMICCode(code); });
        EXPECT_EQ(book.reader().getTARMICCode(), read);
        EXPECT_EQ(text(book.reader().getRichTARMICCode()), documentOf(content));
        EXPECT_EQ(text(detail::richCodeByDom(FlowbookFileUtils::encodeControlCharacters(code))), documentOf(content));
    }
}

/// Gives some bytes and then fails.
class FailingStream : public opc::InputStream {
public:
    std::size_t read(void* to, std::size_t count) override {
        return count_++ == 0 ? (std::memset(to, 'x', std::min<std::size_t>(count, 3)), 3)
                             : throw std::runtime_error("the stream failed");
    }

private:
    int count_ = 0;
};

TEST(Writer, RefusedCallsChangeNothing) {
    for (const std::string name : {"", "one_paragraph", "encrypted", "graph"}) {
        const Book book = name.empty() ? Book() : Book(name);
        book.update([](FlowbookFileWriter&) {});
        const Lines before = book.inventory();
        FlowbookFileWriter writer = book.writer();
        for (const std::u16string lone : {u"\xD800", u"a\xDC00z"}) {
            EXPECT_PRED2(matches, "opc::*", outcome([&] { return writer.setTARMICCode(lone), "written"; }));
        }
        FailingStream stream;
        EXPECT_ANY_THROW(writer.setEncryptedRichTARMICCode(stream));
        writer.close(false);
        EXPECT_EQ(book.inventory(), before) << name;
    }
    const Book book;
    book.update([](FlowbookFileWriter& writer) {
        FailingStream stream;
        EXPECT_ANY_THROW(writer.setEncryptedRichTARMICCode(stream));
        writer.setTARMICCode(u"not the first bytes");
    });
    EXPECT_EQ(book.reader().getTARMICCode(), u"not the first bytes");
}

void setEncrypted(FlowbookFileWriter& writer) {
    const support::Bytes content = support::bytes("old");
    opc::ByteArrayInAdaptor in(content);
    writer.setEncryptedRichTARMICCode(in);
}

TEST(Writer, AChangeOfFormKeepsWhatBelongsToThePart) {
    const Book book("graph");
    book.update([](FlowbookFileWriter& writer) {
        FlowbookFilePackage::Part document{support::bytes("<doc/>"), u"text/xml", u"/tarmic/document.xml", {}};
        document.relationships = {{u"x:self", u"#here", u"self", true},
                                  {u"x:i", u"../media/image%31.png#a", u"img7", true},
                                  {u"x:l", u"mailto:a@example.com", u"", false}};
        std::vector<FlowbookFilePackage::Part> parts = {
            document, {support::bytes("png"), u"image/png", u"/media/image1.png", {}}};
        std::vector<FlowbookFilePackage::Relationship> package = {
            {support::longType(u"document"), u"tarmic/document.xml", u"", true}};
        const FlowbookFilePackage snapshot(parts, package);
        for (const bool more : {true, true, false}) {
            writer.write(snapshot);
            writer.setTARMICCode(u"a");
            if (more) {
                setEncrypted(writer);
            }
        }
    });
    EXPECT_PRED2(support::allMatch,
                 (Lines{"/other.xml*", "/media/deep.png*", "/media/image1.png image/png png",
                        "/tarmic/document.xml application/*", "/tarmic/document.xml self x:self #here",
                        "/tarmic/document.xml img7 x:i ../media/image%31.png#a",
                        "/tarmic/document.xml rId1 x:l <mailto:a@example.com>", "/ rId4*",
                        "/ rId3 document tarmic/document.xml"}),
                 book.inventory());
}

TEST(Writer, PutsCodeIntoThePartThatIsThere) {
    const std::string document = "/tarmic/document.xml";
    const std::string type = " application/vnd.pellarion.tarmic.code.document+xml;";
    const std::string plain = document + type + "plaincode=true <?xml*";
    const std::string encrypted = document + type + "encryption=AES old";
    const Work setText = [](FlowbookFileWriter& writer) { writer.setTARMICCode(u"a"); };
    const struct {
        std::string fixture;  // none: a new file
        std::vector<Work> work;
        std::string part, target = "/tarmic/document.xml", more = "";
    } cases[] = {
        {"", {setText, setText}, plain},
        {"", {setEncrypted, setEncrypted}, encrypted},
        {"", {setText, setEncrypted}, encrypted},
        {"", {setEncrypted, setText}, encrypted},  // written once more, and the text not
        {"", {setEncrypted, setText, setText}, plain},
        {"encrypted", {setText}, plain},
        {"one_paragraph", {setEncrypted}, encrypted},
        {"plaincode_quoted", {setText}, document + type + "plaincode=\"true\" <?xml*"},
        {"odd_image", {setText}, plain, document, document + " i image 50%.png"},
        {"target_relative", {setText}, plain, "tarmic/document.xml"},
        {"target_capitals", {setText}, "/TARMIC/DOCUMENT.XML" + type + "plaincode=true <?xml*", "TARMIC/DOCUMENT.XML"},
        {"name_percent", {setText}, "/tarmic/d%C3%A4.xml" + type + "plaincode=true <?xml*", "/tarmic/d%C3%A4.xml"},
    };
    for (const auto& row : cases) {
        const Book book = row.fixture.empty() ? Book() : Book(row.fixture);
        book.update([&](FlowbookFileWriter& writer) {
            for (const Work work : row.work) {
                work(writer);
            }
        });
        Lines expected{row.part, "/ rId1 document " + row.target};
        expected.insert(expected.begin() + 1, row.more.empty() ? 0 : 1, row.more);
        EXPECT_PRED2(support::allMatch, expected, book.inventory());
    }
}

CoreProperties coreProperties(const Book& book) {
    opc::zippackage::ZipPhysicalPackage zip(Book::kName, opc::FileSystemOpsSelector(book.storage()), true);
    opc::model::Package package(zip);
    package.open(opc::interfaces::OpenMode::ReadOnly);
    using opc::pxservices::CorePropertiesManager;
    return CorePropertiesManager(package, CorePropertiesManager::DeterministicMode::Off).getCoreProperties();
}

Lines textsOf(const CoreProperties& found) {
    const auto shown = [](const CoreProperties::Text& value) { return value ? text(*value) : "-"; };
    return {shown(found.getTitle()),    shown(found.getDescription()), shown(found.getVersion()),
            shown(found.getCategory()), shown(found.getContentType()), shown(found.getContentTypeFriendlyName())};
}

TEST(Writer, WritesTheProperties) {
    const std::string type = "application/vnd.pellarion.tarmic.code", friendly = "TARMIC Code";
    const Work none = [](FlowbookFileWriter&) {};
    const Work title = [](FlowbookFileWriter& writer) { writer.setTitle(u"<&\u00E4>"); };
    const Work rest = [](FlowbookFileWriter& writer) {
        writer.setDescription(u"");
        writer.setVersion(u"3");
    };
    const struct {
        bool exists;
        std::pair<std::u16string, std::u16string> info;
        Work set;
        Lines expected;
    } cases[] = {
        {false, {}, none, {"-", "-", "-", "-", type, friendly}},
        {false, {u"", u"Friendly"}, none, {"-", "-", "-", "-", "", "Friendly"}},
        {false, {u"a/b", u""}, rest, {"-", "", "3", "-", "a/b", ""}},
        {true, {u"a/b", u"c"}, none, {"A title", "Some words", "1.2", "Demo", "-", "-"}},
        {true, {}, title, {"<&\u00E4>", "Some words", "1.2", "Demo", "-", "-"}},
        {true, {}, rest, {"A title", "", "3", "Demo", "-", "-"}},
    };
    for (const auto& row : cases) {
        const Book book = row.exists ? Book("docx") : Book();
        const auto start = CoreProperties::getCurrentTime();
        FlowbookFileWriter writer = book.writer(row.info);
        row.set(writer);
        writer.close(false);
        const CoreProperties found = coreProperties(book);
        EXPECT_EQ(textsOf(found), row.expected);
        EXPECT_EQ(book.inventory(), row.exists ? Book("docx").inventory() : Lines());
        EXPECT_EQ(found.getTARMICRelease(), foundation::release_info::ReleaseInfo::current().getName());
        EXPECT_TRUE(found.getLastModifiedTime() >= start);
        EXPECT_EQ(found.getCreatedTime() >= start, !row.exists);
        book.update(none);
        EXPECT_EQ(textsOf(coreProperties(book)), row.expected) << "after an update that sets nothing";
    }
    const Book book("core_dtd");
    EXPECT_PRED2(matches, "FlowbookFileWriterGenericException: Internal Exception in writing TQX file : *",
                 outcome([&] { return book.update(title), "closed"; }));
    EXPECT_EQ(book.get(), support::fixture("core_dtd"));
    book.update([](FlowbookFileWriter& writer) { writer.setTARMICCode(u"new"); });
    EXPECT_EQ(book.reader().getTARMICCode(), u"new");
}

TEST(Writer, OtherProgramsOpenWhatWasWritten) {
    support::Bytes content = support::bytes("<doc/>");
    Lines images = {"data:image/png;base64,AAAA", "data:image/png;base64,BBBB"};
    for (const std::string name : {"", "docx", "streamed", "zip64", "info_zip"}) {
        const support::TempDir folder;
        if (!name.empty()) {
            folder.put("book.tqx", text(support::fixture(name)));
        }
        FlowbookFileWriter writer(folder.name("book.tqx"), {});
        if (name.empty()) {
            writer.write(FlowbookFilePackage(content, images));
        }
        writer.setTARMICCode(u"new code");
        writer.setTitle(u"T <\u00E4>");
        writer.close(false);
        EXPECT_EQ(FlowbookFileReader(folder.name("book.tqx")).getTARMICCode(), u"new code");
        const std::string beforeAndEntries = name.empty() ? "'' '[Content_Types].xml' _rels/.rels tarmic/document.xml"
                                                          : PXFLOWBOOK_FIXTURES "/" + name + ".tqx";
        const std::string command = "/usr/bin/python3 " PXFLOWBOOK_TEST_SUPPORT "/check_package.py " +
                                    folder.path("book.tqx").string() + " 'T <\u00E4>' " + beforeAndEntries;
        EXPECT_EQ(std::system(command.c_str()), 0) << name;
    }
}

}  // namespace
}  // namespace flowbook
