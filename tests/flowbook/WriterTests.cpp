#include "foundation/release_info/ReleaseInfo.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/FileSystemOpsSelector.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "support/Flowbooks.hpp"
#include "support/TempDir.hpp"

#include <functional>
#include <gtest/gtest.h>

namespace flowbook {
namespace {

using opc::pxservices::CoreProperties;
using support::Book;
using support::matches;
using support::outcome;
using support::text;
using Lines = std::vector<std::string>;

const std::string kCannotOpen = "FlowbookFileReaderGenericException: Internal Exception in reading TQX file : *";
const std::string kCannotClose = "FlowbookFileWriterGenericException: Internal Exception in writing TQX file : *";

void setEncrypted(FlowbookFileWriter& writer, const std::string& stream) {
    const support::Bytes content = support::bytes(stream);
    opc::ByteArrayInAdaptor in(content);
    writer.setEncryptedRichTARMICCode(in);
}

TEST(Writer, ChangesTheFileOnlyByClosing) {
    for (const bool exists : {false, true}) {
        for (const std::string end : {"destroy", "revert", "commit"}) {
            SCOPED_TRACE(end + (exists ? ", existing" : ", new"));
            const support::TempDir folder;
            const std::u16string name = folder.name("book.tqx");
            const std::string before = exists ? text(support::fixture("one_paragraph")) : "";
            if (exists) {
                folder.put("book.tqx", before);
            }
            {
                FlowbookFileWriter writer(name, {});
                writer.setTARMICCode(u"changed");
                writer.setTitle(u"changed");
                EXPECT_EQ(exists, std::filesystem::exists(folder.path("book.tqx")));
                if (end != "destroy") {
                    writer.close(end == "revert");
                }
                EXPECT_EQ(writer.getBackupFileName(), u"");
            }
            if (end == "commit") {
                EXPECT_EQ(FlowbookFileReader(name).getTARMICCode(), u"changed");
            } else if (exists) {
                EXPECT_EQ(folder.get("book.tqx"), before);
            }
            const std::filesystem::directory_iterator files(folder.path());  // no backup beside it
            EXPECT_EQ(std::distance(begin(files), std::filesystem::directory_iterator()),
                      exists || end == "commit" ? 1 : 0);
        }
    }
}

TEST(Writer, OpensAnyNameAndTellsItAsGiven) {
    const support::TempDir folder;
    folder.put("damaged.zip", "not a zip");
    folder.put("good.zip", text(support::fixture("one_paragraph")));
    std::filesystem::create_directory(folder.path("sub"));
    std::filesystem::create_symlink("../good.zip", folder.path("sub/link"));
    const std::u16string damaged = folder.name("sub/../damaged.zip");
    EXPECT_PRED2(matches, kCannotOpen, outcome([&] { return FlowbookFileWriter(damaged, {}), "opened"; }, damaged));

    FlowbookFileWriter(folder.name("sub/link"), {}).close(false);
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("sub/link")));
    EXPECT_NE(folder.get("good.zip"), text(support::fixture("one_paragraph")));

    // A plain name that the storage has and the machine's file system has not cannot be made canonical.
    const Book book("one_paragraph");
    const auto memory = std::make_shared<foundation::storage::vfs::MemoryStorage>();
    memory->put(u"no such folder/book.tqx", book.get());
    const foundation::storage::vfs::StorageSystemReference storage(memory);
    const std::u16string plain = u"no such folder/book.tqx";
    EXPECT_PRED2(matches, kCannotOpen,
                 outcome([&] { return FlowbookFileWriter(plain, storage, {}), "opened"; }, plain));
}

TEST(Writer, RefusesToReplaceWhatOthersChanged) {
    for (const bool exists : {false, true}) {
        Book book = exists ? Book("one_paragraph") : Book();
        FlowbookFileWriter writer = book.writer();
        writer.setTARMICCode(u"mine");
        book.set(support::fixture("encrypted"));
        EXPECT_PRED2(matches, kCannotClose, outcome([&] { return writer.close(false), "closed"; }));
        EXPECT_EQ(outcome([&] { return writer.close(true), "closed"; }), "closed");
        EXPECT_EQ(book.get(), support::fixture("encrypted"));
    }
}

TEST(Writer, CodeComesBackAsItWasWritten) {
    std::vector<std::pair<std::u16string, std::u16string>> cases = {
        {u"a\r\nb\rc", u"a\nb\nc"}, {std::u16string(u"a\0b\u0085\u200B", 5), u"a\uFFFDb\uFFFD\uFFFD"}};
    for (const std::u16string same : {u"", u"x = 1\n  y\t= 2\n", u"\n\n\n", u" lead and trail ", u"]]>", u"a]]>b]]]]>>",
                                      u"<![CDATA[x]]> &amp; <w:t/>", u"\u00E4\u20AC\U0001F600\uFFFD"}) {
        cases.emplace_back(same, same);
    }
    for (const auto& [code, expected] : cases) {
        const Book book;
        FlowbookFileWriter writer = book.writer();
        writer.setTARMICCode(code);
        writer.close(false);
        const FlowbookFileReader reader = book.reader();
        EXPECT_EQ(reader.getTARMICCode(), expected);
        EXPECT_TRUE(reader.isPlainCode());
        const std::string rich = text(reader.getRichTARMICCode());
        EXPECT_EQ(rich.find("<w:p>"), rich.rfind("<w:p>"));
        EXPECT_EQ(rich.find("<![CDATA[") == std::string::npos, code.empty()) << rich;
    }
    for (const std::u16string lone : {u"\xD800", u"a\xDC00z"}) {
        const Book book;
        FlowbookFileWriter writer = book.writer();
        EXPECT_PRED2(matches, "opc::*", outcome([&] { return writer.setTARMICCode(lone), "written"; }));
        writer.close(true);
        EXPECT_FALSE(book.exists());
    }
}

TEST(Writer, PutsCodeIntoThePartThatIsThere) {
    const std::string type = " application/vnd.pellarion.tarmic.code.document+xml;";
    const std::string plain = "/tarmic/document.xml" + type + "plaincode=true <?xml*";
    const std::string encrypted = "/tarmic/document.xml" + type + "encryption=AES ";
    const auto text = [](FlowbookFileWriter& writer) { writer.setTARMICCode(u"a"); };
    const auto stream = [](FlowbookFileWriter& writer) { setEncrypted(writer, "old"); };
    const struct {
        std::string fixture;  // none: a new file
        std::vector<std::function<void(FlowbookFileWriter&)>> work;
        std::string part;
        std::string target = "/tarmic/document.xml";
    } cases[] = {
        {"", {text, text}, plain},
        {"", {stream, stream}, encrypted + "old"},
        {"", {[](FlowbookFileWriter& writer) { setEncrypted(writer, ""); }}, encrypted},
        {"", {stream, text}, encrypted + "old"},  // written once more, and the text not
        {"", {stream, text, text}, plain},
        {"encrypted", {text}, plain},
        {"one_paragraph", {stream}, encrypted + "old"},
        {"one_paragraph", {}, "/tarmic/document.xml" + type + "plaincode=true <w:*"},
        {"plaincode_quoted", {text}, "/tarmic/document.xml" + type + "plaincode=\"true\" <?xml*"},
        {"target_relative", {text}, plain, "tarmic/document.xml"},
        {"name_percent", {text}, "/tarmic/d%C3%A4.xml" + type + "plaincode=true <?xml*", "/tarmic/d%C3%A4.xml"},
    };
    for (const auto& row : cases) {
        const Book book = row.fixture.empty() ? Book() : Book(row.fixture);
        FlowbookFileWriter writer = book.writer();
        for (const auto& work : row.work) {
            work(writer);
        }
        writer.close(false);
        EXPECT_PRED2(support::allMatch, (Lines{row.part, "/ rId1 document " + row.target}), book.inventory());
    }
}

CoreProperties coreProperties(const Book& book) {
    opc::zippackage::ZipPhysicalPackage zip(Book::kName, opc::FileSystemOpsSelector(book.storage()), true);
    opc::model::Package package(zip);
    package.open(opc::interfaces::OpenMode::ReadOnly);
    using opc::pxservices::CorePropertiesManager;
    return CorePropertiesManager(package, CorePropertiesManager::DeterministicMode::Off).getCoreProperties();
}

/// "-" for what is absent.
std::string shown(const CoreProperties::Text& value) { return value ? text(*value) : "-"; }

TEST(Writer, WritesTheProperties) {
    const std::string type = "application/vnd.pellarion.tarmic.code", friendly = "TARMIC Code";
    const auto none = [](FlowbookFileWriter&) {};
    const auto title = [](FlowbookFileWriter& w) { w.setTitle(u"<&\u00E4>"); };
    const auto all = [](FlowbookFileWriter& w) {
        w.setTitle(u"1"), w.setTitle(u"T"), w.setDescription(u""), w.setVersion(u"3");
    };
    const struct {
        bool exists;
        std::pair<std::u16string, std::u16string> info;
        std::function<void(FlowbookFileWriter&)> set;
        Lines expected;  // title, description, version, category, content type, friendly name
    } cases[] = {
        {false, {}, none, {"-", "-", "-", "-", type, friendly}},
        {false, {u"", u"Friendly"}, none, {"-", "-", "-", "-", "", "Friendly"}},
        {false, {u"a/b", u""}, all, {"T", "", "3", "-", "a/b", ""}},
        {true, {u"a/b", u"c"}, none, {"A title", "Some words", "1.2", "Demo", "-", "-"}},
        {true, {}, title, {"<&\u00E4>", "Some words", "1.2", "Demo", "-", "-"}},
        {true, {}, all, {"T", "", "3", "Demo", "-", "-"}},
    };
    for (const auto& row : cases) {
        const Book book = row.exists ? Book("docx") : Book();
        const auto start = CoreProperties::getCurrentTime();
        FlowbookFileWriter writer = book.writer(row.info);
        row.set(writer);
        writer.close(false);
        const CoreProperties found = coreProperties(book);
        const auto end = CoreProperties::getCurrentTime();
        EXPECT_EQ((Lines{shown(found.getTitle()), shown(found.getDescription()), shown(found.getVersion()),
                         shown(found.getCategory()), shown(found.getContentType()),
                         shown(found.getContentTypeFriendlyName())}),
                  row.expected);
        EXPECT_EQ(found.getTARMICRelease(), foundation::release_info::ReleaseInfo::current().getName());
        EXPECT_TRUE(found.getLastModifiedTime() >= start && found.getLastModifiedTime() <= end);
        EXPECT_EQ(found.getCreatedTime() >= start, !row.exists);
        // What an update leaves alone, a later one leaves alone too.
        book.writer().close(false);
        EXPECT_EQ(shown(coreProperties(book).getContentType()), row.expected[4]);
        EXPECT_TRUE(coreProperties(book).getCreatedTime() == found.getCreatedTime());
    }
    const Book book("core_twice");
    EXPECT_PRED2(matches, kCannotClose, outcome([&] { return book.writer().close(false), "closed"; }));
    EXPECT_EQ(book.get(), support::fixture("core_twice"));
}

TEST(Writer, SavesTheSameContentAsTheSameBytes) {
    const auto save = [] {
        const Book book;
        FlowbookFileWriter writer = book.writer();
        writer.write(FlowbookFilePackage());
        writer.setTARMICCode(u"x = 1");
        writer.setTitle(u"T");
        writer.close(false);
        return book.get();
    };
    for (int attempt = 0; attempt < 10; ++attempt) {  // the properties hold the second of the saving
        const auto second = CoreProperties::getCurrentTime();
        const support::Bytes one = save(), other = save();
        if (CoreProperties::getCurrentTime() == second) {
            EXPECT_EQ(one, other);
            return;
        }
    }
    FAIL() << "the clock ticks during every save";
}

}  // namespace
}  // namespace flowbook
