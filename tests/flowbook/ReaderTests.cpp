#include "opc/ByteArrayOutAdaptor.hpp"
#include "support/Flowbooks.hpp"
#include "support/TempDir.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <gtest/gtest.h>
#include <new>

namespace flowbook {
namespace {

using support::Book;
using support::matches;
using support::outcome;
using support::text;
using Lines = std::vector<std::string>;

const std::string kNotFound = "FlowbookNotFound: TARMIC Code not found";
const std::string kEncrypted = "FlowbookEncrypted: TARMIC Code cannot be read from an encrypted flowbook file";
const std::string kNotEncrypted =
    "FlowbookNotEncrypted: Encrypted TARMIC Code cannot be read from unencrypted flowbook file";
const std::string kGeneric = "FlowbookFileReaderGenericException: Internal Exception in reading Flowbook file : *";
const std::string kPackageFailure = "opc::*";

std::string encryptedCode(const FlowbookFileReader& reader) {
    support::Bytes stored;
    opc::ByteArrayOutAdaptor out(stored);
    reader.getEncryptedRichTARMICCode(out);
    return text(stored);
}

struct CodeCase {
    Lines fixtures;
    std::string isPlain, code;
    std::string rich = "<w:document*";
    std::string encrypted = kNotEncrypted;
};

const CodeCase kCodeCases[] = {
    {{"target_relative", "target_dotted", "target_fragment", "target_encoded", "target_capitals", "name_percent",
      "name_iri", "utf16_xml", "stored", "zip64", "streamed", "info_zip", "info_zip_64", "plaincode_capitals",
      "plaincode_one", "plaincode_blank", "plaincode_other_name", "document_rels_dtd"},
     "false",
     "a\nb"},
    {{"one_paragraph", "plaincode_quoted", "plaincode_spaced", "default_type"}, "true", "a\nb"},
    {{"paragraph_a_line"}, "false", "a\n\nb"},
    {{"mixed_styles"}, "false", "a\nb"},
    {{"docx"}, "true", "from docx"},
    {{"two_documents"}, "false", "second"},
    {{"no_body"}, "false", ""},
    {{"bom"}, "false", "a\nb", "\xEF\xBB\xBF<w:document*"},
    {{"encrypted"}, "false", kEncrypted, kEncrypted, std::string("\0\xFF cipher", 9)},
    {{"encrypted_false"}, "true", kEncrypted, kEncrypted, "cipher"},
    {{"encrypted_empty"}, "false", kEncrypted, kEncrypted, ""},
    {{"no_code"}, kNotFound, kNotFound, kNotFound, kNotFound},
    {{"external", "dangling"}, kGeneric, kGeneric, kGeneric, kGeneric},
    {{"empty_document"}, "false", kNotFound, ""},
    {{"bare_text"}, "false", kNotFound, "x = 1"},
    {{"utf16_document"}, "false", "ConversionError: *", "ConversionError: *"},
    {{"damaged"}, "false", kPackageFailure, kPackageFailure},
    {{"xxe", "xxe_dtd", "laughs"}, "false", kNotFound, "<!DOCTYPE*"},
    {{"xxe_include"}, "false", "a"},
    {{"nested"}, "false", "nested"},
    {{"deep", "attributes"}, "false", kNotFound},
};

void expectCode(const std::string& fixture, const CodeCase& expected) {
    const Book book(fixture);
    const FlowbookFileReader reader = book.reader();
    for (const char* call : {"first", "cached"}) {
        SCOPED_TRACE(fixture + ", " + call + " call");
        EXPECT_PRED2(matches, expected.isPlain, outcome([&] { return reader.isPlainCode() ? "true" : "false"; }));
        EXPECT_PRED2(matches, expected.code, outcome([&] { return text(reader.getTARMICCode()); }));
        EXPECT_PRED2(matches, expected.rich, outcome([&] { return text(reader.getRichTARMICCode()); }));
        EXPECT_PRED2(matches, expected.encrypted, outcome([&] { return encryptedCode(reader); }));
    }
}

TEST(Reader, GivesTheCodeInItsForms) {
    for (const CodeCase& row : kCodeCases) {
        for (const std::string& fixture : row.fixtures) {
            expectCode(fixture, row);
        }
    }
}

/// The cache is filled before the copy, so that a failure of the copy leaves what had been copied.
TEST(Reader, KeepsWhatItHadOfDamagedEncryptedCode) {
    const Book book("encrypted_damaged");
    const FlowbookFileReader reader = book.reader();
    EXPECT_PRED2(matches, kPackageFailure, outcome([&] { return encryptedCode(reader); }));
    EXPECT_EQ(outcome([&] { return encryptedCode(reader); }), "");
}

TEST(Reader, RefusesWhatItCannotOpen) {
    const std::string badName = "FlowbookInvalidFileName: Not a valid flowbook filename ";
    const std::string missing = "FlowbookFileReaderPackageNotFound: FlowbookFileReader cannot find package to open ";
    const std::pair<std::u16string, std::string> names[] = {
        {u"", badName},      {u".tqx", badName},    {u"book.zip", badName},
        {u"book", badName},  {u"a.tqx/b", badName}, {u"mem://other.tqx", missing},
        {u"X.TQX", missing}, {u"x.tqapp", missing},
    };
    for (const auto& [name, expected] : names) {
        const auto inMemory = [&name = name] { return FlowbookFileReader(name, Book().storage()), "opened"; };
        const auto onDisk = [&name = name] { return FlowbookFileReader(name), "opened"; };
        EXPECT_PRED2(matches, expected, outcome(inMemory, name)) << text(name);
        EXPECT_PRED2(matches, expected, outcome(onDisk, name)) << text(name);
    }
    for (const std::string name : {"not_a_zip", "truncated", "empty_file", "no_types", "same_names", "types_dtd",
                                   "types_laughs", "types_xxe", "rels_dtd", "rels_laughs", "rels_xxe", "deep_types"}) {
        const Book book(name);
        EXPECT_PRED2(matches, kGeneric, outcome([&] { return book.reader(), "opened"; })) << name;
    }
}

TEST(Reader, PassesOnWhatIsNoFailureOfThePackage) {
    struct Exhausted : foundation::storage::vfs::MemoryStorage {
        std::unique_ptr<foundation::storage::vfs::ReadableFile> openForReading(const std::u16string&) const override {
            throw std::bad_alloc();
        }
    };
    const foundation::storage::vfs::StorageSystemReference storage(std::make_shared<Exhausted>());
    EXPECT_THROW(FlowbookFileReader(u"a.tqx", storage), std::bad_alloc);
}

TEST(Reader, KeepsAnsweringFromTheVersionItOpened) {
    support::TempDir folder;
    folder.put("book.tqx", text(support::fixture("one_paragraph")));
    const FlowbookFileReader reader(folder.name("book.tqx"));
    folder.put("new", text(support::fixture("mixed_styles")));
    std::filesystem::rename(folder.path("new"), folder.path("book.tqx"));
    EXPECT_TRUE(reader.isPlainCode());
    EXPECT_EQ(reader.read().getParts().size(), 1U);
    EXPECT_EQ(reader.getTARMICCode(), u"a\nb");
}

std::string time(const boost::posix_time::ptime& value) { return boost::posix_time::to_iso_extended_string(value); }

TEST(Reader, GivesTheProperties) {
    const std::string missing = "FlowbookPropertyNotFound: Requested Property was not found ";
    const struct {
        std::string fixture, title, description, version, release, created, modified;
    } cases[] = {
        {"docx", "A title", "Some words", "1.2", "", "2020-05-06T07:08:09", "2020-05-06T07:08:09"},
        {"core_dates", "", missing + "Description", missing + "Version", "", "2020-01-01T00:00:00",
         "2020-05-06T05:08:09"},
        {"no_code", missing + "Title", missing + "Description", missing + "Version", "", missing + "Created Time",
         missing + "Last Modified Time"},
        {"core_dtd", kPackageFailure, kPackageFailure, kPackageFailure, kPackageFailure, kPackageFailure,
         kPackageFailure},
    };
    for (const auto& row : cases) {
        const Book book(row.fixture);
        const FlowbookFileReader reader = book.reader();
        for (int call = 0; call < 2; ++call) {
            SCOPED_TRACE(row.fixture);
            EXPECT_PRED2(matches, row.title, outcome([&] { return text(reader.getTitle()); }));
            EXPECT_PRED2(matches, row.description, outcome([&] { return text(reader.getDescription()); }));
            EXPECT_PRED2(matches, row.version, outcome([&] { return text(reader.getVersion()); }));
            EXPECT_PRED2(matches, row.release, outcome([&] { return text(reader.getTARMICRelease()); }));
            EXPECT_PRED2(matches, row.created, outcome([&] { return time(reader.getCreatedTime()); }));
            EXPECT_PRED2(matches, row.modified, outcome([&] { return time(reader.getLastModifiedTime()); }));
        }
    }
    for (const std::string name :
         {"core_laughs", "core_twice", "core_language", "core_untyped", "core_bad_date", "core_two_parts"}) {
        const Book book(name);
        EXPECT_PRED2(matches, kPackageFailure, outcome([&] { return text(book.reader().getTitle()); })) << name;
        EXPECT_EQ(book.reader().getTARMICCode(), u"a\nb") << name;
    }
}

TEST(Reader, CopiesThePackageOneLevelDeep) {
    const std::string document = "/tarmic/document.xml application/vnd.pellarion.tarmic.code.document+xml doc";
    const std::string documentImages[] = {"/tarmic/document.xml rId2 image ../media/image2.png",
                                          "/tarmic/document.xml rId1 image ../media/image1.png"};
    const std::pair<std::string, Lines> cases[] = {
        {"graph",
         {document, documentImages[0], documentImages[1], "/media/image2.png image/png two",
          "/media/image1.png image/png png", "/media/image1.png d image deep.png",
          "/media/image1.png e image <http://example.com/x>", "/tarmic/output.xml text/xml out",
          "/help.xml text/xml hlp", "/styles.xml text/xml sty", "/ rId1 document /tarmic/document.xml",
          "/ rId2 output tarmic/output.xml", "/ rId3 documentation help.xml", "/ rId9 styles styles.xml"}},
        {"shared", {document, document, "/ a document tarmic/document.xml", "/ b output /tarmic/document.xml"}},
        {"cycle",
         {document, "/tarmic/document.xml self x:y document.xml", "/tarmic/document.xml i image ../media/image1.png",
          document, "/tarmic/document.xml self x:y document.xml", "/tarmic/document.xml i image ../media/image1.png",
          "/media/image1.png image/png png", "/media/image1.png back x:y /tarmic/document.xml",
          "/ rId1 document /tarmic/document.xml"}},
        {"no_relationships", {}},
    };
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(support::listing(Book(name).reader().read()), expected) << name;
    }
    for (const std::string name : {"external", "dangling", "external_image", "dangling_image", "damaged",
                                   "document_rels_dtd", "document_rels_laughs", "document_rels_xxe"}) {
        const Book book(name);
        EXPECT_PRED2(matches, kPackageFailure, outcome([&] { return book.reader().read(), "read"; })) << name;
    }
}

}  // namespace
}  // namespace flowbook
