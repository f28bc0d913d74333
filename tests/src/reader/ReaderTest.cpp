#include "opc/ByteArrayOutAdaptor.hpp"
#include "support/Flowbooks.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <gtest/gtest.h>

namespace flowbook {
namespace {

using support::allMatch;
using support::Book;
using support::Lines;
using support::matches;
using support::outcome;
using support::text;

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

Lines codeOf(const FlowbookFileReader& reader) {
    return {outcome([&] { return reader.isPlainCode() ? "true" : "false"; }),
            outcome([&] { return text(reader.getTARMICCode()); }),
            outcome([&] { return text(reader.getRichTARMICCode()); }), outcome([&] { return encryptedCode(reader); })};
}

TEST(Reader, GivesTheCodeInItsForms) {
    struct Case {
        Lines fixtures;
        std::string isPlain, code, rich = "<w:document*", encrypted = kNotEncrypted;
    };
    const Case cases[] = {
        {{"target_relative", "target_fragment", "target_capitals", "name_percent", "name_iri", "stored", "zip64",
          "streamed", "info_zip", "info_zip_64", "plaincode_capitals", "plaincode_other_name", "document_rels_dtd"},
         "false",
         "a\nb"},
        {{"one_paragraph", "plaincode_quoted", "plaincode_spaced"}, "true", "a\nb"},
        {{"docx"}, "true", "from docx"},
        {{"two_documents"}, "false", "second"},
        {{"no_body"}, "false", ""},
        {{"bom"}, "false", "a\nb", "\xEF\xBB\xBF<w:document*"},
        {{"encrypted"}, "false", kEncrypted, kEncrypted, std::string("\0\xFF cipher", 9)},
        {{"encrypted_false"}, "true", kEncrypted, kEncrypted, "cipher"},
        {{"no_code"}, kNotFound, kNotFound, kNotFound, kNotFound},
        {{"external", "dangling"}, kGeneric, kGeneric, kGeneric, kGeneric},
        {{"empty_document"}, "false", kNotFound, ""},
        {{"utf16_document"},
         "false",
         "ConversionError: package 'mem://book.tqx', part '/tarmic/document.xml': *",
         "ConversionError: *"},
        {{"damaged"}, "false", kPackageFailure, kPackageFailure},
        {{"xxe", "xxe_dtd", "laughs"}, "false", kNotFound, "<!DOCTYPE*"},
        {{"xxe_include"}, "false", "a"},
        {{"nested"}, "false", "nested"},
        {{"deep", "attributes"}, "false", kNotFound},
    };
    for (const Case& row : cases) {
        for (const std::string& fixture : row.fixtures) {
            SCOPED_TRACE(fixture);
            const Lines expected = {row.isPlain, row.code, row.rich, row.encrypted};
            const FlowbookFileReader reader = Book(fixture).reader();
            EXPECT_PRED2(allMatch, expected, codeOf(reader));
            EXPECT_PRED2(allMatch, expected, codeOf(reader)) << "when asked again";
        }
    }
}

/// The cache is filled before the copy, so that a failure of the copy leaves what had been copied.
TEST(Reader, KeepsWhatItHadOfDamagedEncryptedCode) {
    const FlowbookFileReader reader = Book("encrypted_damaged").reader();
    EXPECT_PRED2(matches, kPackageFailure, outcome([&] { return encryptedCode(reader); }));
    EXPECT_EQ(outcome([&] { return encryptedCode(reader); }), "");
}

TEST(Reader, RefusesWhatItCannotOpen) {
    const std::string badName = "FlowbookInvalidFileName: Not a valid flowbook filename ";
    const std::string missing = "FlowbookFileReaderPackageNotFound: FlowbookFileReader cannot find package to open ";
    const std::pair<std::u16string, std::string> names[] = {
        {u"", badName},
        {u".tqx", badName},
        {u"book.zip", badName},
        {u"a.tqx/b", badName},
        {u"mem://other.tqx", missing},
        {u"X.TQX", missing},
        {u"x.tqapp", missing},
        {u"\u0130.tqx", missing},
        {u"x.tqx.bak", badName},
    };
    for (const auto& [name, expected] : names) {
        const auto open = [&name = name] { return FlowbookFileReader(name, Book().storage()), "opened"; };
        EXPECT_EQ(outcome(open, name), expected) << text(name);
    }
    for (const std::string name : {"not_a_zip", "truncated", "empty_file", "no_types", "same_names", "types_dtd",
                                   "types_laughs", "types_xxe", "rels_dtd", "rels_laughs", "rels_xxe"}) {
        EXPECT_PRED2(matches, kGeneric, outcome([&] { return Book(name).reader(), "opened"; })) << name;
    }
}

std::string time(const boost::posix_time::ptime& value) { return boost::posix_time::to_iso_extended_string(value); }

Lines propertiesOf(const FlowbookFileReader& reader) {
    return {outcome([&] { return text(reader.getTitle()); }),
            outcome([&] { return text(reader.getDescription()); }),
            outcome([&] { return text(reader.getVersion()); }),
            outcome([&] { return text(reader.getTARMICRelease()); }),
            outcome([&] { return time(reader.getCreatedTime()); }),
            outcome([&] { return time(reader.getLastModifiedTime()); })};
}

TEST(Reader, GivesTheProperties) {
    const std::string missing = "FlowbookPropertyNotFound: Requested Property was not found ";
    const std::string fails = kPackageFailure;
    const std::pair<std::string, Lines> cases[] = {
        {"docx", {"A title", "Some words", "1.2", "", "2020-05-06T07:08:09", "2020-05-06T07:08:09"}},
        {"core_dates",
         {"", missing + "Description", missing + "Version", "", "2020-01-01T00:00:00", "2020-05-06T05:08:09"}},
        {"no_code",
         {missing + "Title", missing + "Description", missing + "Version", "", missing + "Created Time",
          missing + "Last Modified Time"}},
        {"core_dtd", {fails, fails, fails, "", fails, fails}},
        {"core_faulty", {fails, missing + "Description", missing + "Version", "", "2014-04-30T00:00:00", fails}},
    };
    for (const auto& [name, expected] : cases) {
        EXPECT_PRED2(allMatch, expected, propertiesOf(Book(name).reader())) << name;
    }
}

TEST(Reader, CopiesThePackageOneLevelDeep) {
    const std::string document = "/tarmic/document.xml application/vnd.pellarion.tarmic.code.document+xml doc";
    const std::string self = "/tarmic/document.xml self x:y document.xml";
    const std::string image = "/tarmic/document.xml i image ../media/image1.png";
    const std::pair<std::string, Lines> cases[] = {
        {"graph",
         {document, "/tarmic/document.xml rId2 image ../media/image2.png",
          "/tarmic/document.xml rId1 image ../media/image1.png", "/media/image2.png image/png two",
          "/media/image1.png image/png png", "/media/image1.png d image deep.png",
          "/media/image1.png e image <http://example.com/x>", "/tarmic/output.xml text/xml out",
          "/help.xml text/xml hlp", "/styles.xml text/xml sty", "/ rId1 document /tarmic/document.xml",
          "/ rId2 output tarmic/output.xml", "/ rId3 documentation help.xml", "/ rId9 styles styles.xml"}},
        {"shared", {document, document, "/ a document tarmic/document.xml", "/ b output /tarmic/document.xml"}},
        {"cycle",
         {document, self, image, document, self, image, "/media/image1.png image/png png",
          "/media/image1.png back x:y /tarmic/document.xml", "/ rId1 document /tarmic/document.xml"}},
        {"no_relationships", {}},
    };
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(support::listing(Book(name).reader().read()), expected) << name;
    }
    for (const std::string name : {"external", "dangling", "external_image", "dangling_image", "damaged",
                                   "document_rels_dtd", "document_rels_laughs", "document_rels_xxe"}) {
        EXPECT_PRED2(matches, kPackageFailure, outcome([&] { return Book(name).reader().read(), "read"; })) << name;
    }
}

TEST(Reader, BoundsWhatRepeatedPartsAddToASnapshot) {
    std::vector<FlowbookFilePackage::Part> parts = {{{}, u"text/xml", u"/tarmic/document.xml", {}},
                                                    {support::Bytes(8U << 20), u"image/png", u"/big.png", {}}};
    std::vector<FlowbookFilePackage::Relationship> package = {
        {support::longType(u"document"), u"tarmic/document.xml", u"", true}};
    for (const char* name : {"/big.png", "/BIG.png"}) {
        const FlowbookFilePackage::Relationship image{u"x:i", std::u16string(name, name + 8), u"", true};
        parts[0].relationships.insert(parts[0].relationships.end(), 20, image);
    }
    const Book book;
    book.update([&](FlowbookFileWriter& writer) { writer.write(FlowbookFilePackage(parts, package)); });
    EXPECT_PRED2(matches, kGeneric, outcome([&] { return book.reader().read(), "read"; }));
}

}  // namespace
}  // namespace flowbook
