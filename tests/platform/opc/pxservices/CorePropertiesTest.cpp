#include "opc/pxservices/CorePropertiesManager.hpp"
#include "platform/opc/model/PackageTesting.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>

namespace opc::pxservices {
namespace {

using namespace tests;
using boost::posix_time::time_from_string;
using Mode = CorePropertiesManager::DeterministicMode;

const std::string kCoreType = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";

std::string coreXml(const std::string& inner, const std::string& attribute = "") {
    return "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/core-properties' "
           "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:dcterms='http://purl.org/dc/terms/' "
           "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'" +
           attribute + ">" + inner + "</cp:coreProperties>";
}

/// A package whose core properties are in a place of their own.
Entries withCore(const std::string& xml) {
    return {
        {"[Content_Types].xml", typesXml("<Override PartName='/props.xml' "
                                         "ContentType='application/vnd.openxmlformats-package.core-properties+xml'/>")},
        {"_rels/.rels", relationshipsXml(relationshipXml("rId1", kCoreType, "props.xml"))},
        {"props.xml", xml}};
}

CoreProperties readFrom(const Entries& entries) {
    TestPackage package(entries, OpenMode::ReadOnly);
    return CorePropertiesManager(package, Mode::Off).getCoreProperties();
}

/// What the package has after its properties were read, changed and written.
Entries rewritten(const Entries& entries, const std::function<void(CoreProperties&)>& change, Mode mode = Mode::Off) {
    TestPackage package(entries);
    CorePropertiesManager manager(package, mode);
    CoreProperties properties = manager.getCoreProperties();
    change(properties);
    manager.setCoreProperties(properties);
    package.close();
    return package.physical.content;
}

TEST(CorePropertiesTest, RoundTripWhichDeterministicModeHidesTimesAndReleaseFrom) {
    const std::u16string awkward = u"  <a> & \"b\"\t\r\n\r ]]> \u00e4\U0001F600 ";
    const auto set = [&](CoreProperties& properties) {
        properties.setTitle(awkward);
        properties.setContentTypeFriendlyName(awkward);
        properties.setCreatedTime(time_from_string("2024-02-29 23:59:58.999"));
        properties.setTARMICReleaseInfo(foundation::release_info::ReleaseInfo(u"9.1"));
    };
    const CoreProperties properties = readFrom(rewritten({}, set)),
                         fixed = readFrom(rewritten({}, set, Mode::FixedTimes));
    EXPECT_EQ(awkward, *properties.getTitle());
    EXPECT_EQ(awkward, *properties.getContentTypeFriendlyName());
    EXPECT_EQ(time_from_string("2024-02-29 23:59:58"), *properties.getCreatedTime());
    EXPECT_EQ(time_from_string("1980-01-01 00:00"), *fixed.getCreatedTime());
    EXPECT_EQ(u"9.1", properties.getTARMICRelease());
    EXPECT_EQ(u"", fixed.getTARMICRelease());
    EXPECT_FALSE(properties.getCategory() || properties.getLastModifiedTime() || fixed.getLastModifiedTime());
}

TEST(CorePropertiesTest, KeepsWhatItHasNoNameForInItsPlace) {
    const std::string kept =
        "<cp:version>1</cp:version>"
        "<dc:creator> Ann &amp;&#13; Bo </dc:creator>"
        "<cp:keywords xml:lang=\"en\">a <cp:value xml:lang=\"de\">b</cp:value> c</cp:keywords>"
        "<f:x xmlns:f=\"urn:f\" a=\"1&#10;2\" f:b=\"\"><y xmlns=\"urn:y\"><z xmlns=\"\"/></y></f:x>"
        "<dc:x xmlns:dc=\"urn:other\" type=\"dc:q\"/>";
    const Entries entries = rewritten(withCore(coreXml("\n " + kept)), [](auto& p) { p.setTitle(u"T"); });
    EXPECT_PRED_FORMAT2(::testing::IsSubstring, "<dc:title>T</dc:title>" + kept, textOf(entries, "props.xml"));
    EXPECT_EQ(entries, rewritten(entries, [](auto&) {})) << "a second pass must change nothing";
    const Entries inherited = rewritten(withCore(coreXml("<g:q/>", " xmlns:g='urn:g'")), [](auto&) {});
    EXPECT_PRED_FORMAT2(::testing::IsSubstring, "<g:q xmlns:g=\"urn:g\"/>", textOf(inherited, "props.xml"));
    const Entries fresh = rewritten(entries, [](auto& p) { p = CoreProperties(); });
    EXPECT_PRED_FORMAT2(::testing::IsNotSubstring, "Ann", textOf(fresh, "props.xml"));
}

TEST(CorePropertiesTest, RefusesWhatBreaksTheRules) {
    const std::string markup = "<m:x xmlns:m='http://schemas.openxmlformats.org/markup-compatibility/2006'/>";
    expectRefusals(ErrorKind::Damaged, "package 'fake.tqx', part '/props.xml', line ",
                   {{"line 2: 'title' is there twice", "<dc:title/>\n<dc:title/>"},
                    {"'creator' is there twice", "<dc:creator/><dc:creator/>"},
                    {"'b' is not permitted in 'title'", "<dc:title><b/></dc:title>"},
                    {"M4.2", markup},
                    {"M4.3", "<dcterms:issued/>"},
                    {"M4.4", "<dc:title xml:lang='en'/>"},
                    {"M4.5", "<dc:creator xsi:type='dcterms:W3CDTF'/>|<dcterms:created>2020</dcterms:created>|"
                             "<dcterms:modified xsi:type='W3CDTF'>2020</dcterms:modified>|"
                             "<dcterms:modified xmlns:f='urn:f' xsi:type='f:W3CDTF'>2020</dcterms:modified>"},
                    {"unexpected text", "text"},
                    {"column", "<dc:title>"},
                    {"in each other", repeated("<a>", 200000)}},
                   [](const std::string& xml) { readFrom(withCore(coreXml(xml))); });
}

TEST(CorePropertiesTest, ThereIsOnePartOfTheRightKind) {
    const Entries sound = withCore(coreXml(""));
    const auto refuses = [&](ErrorKind kind, const std::string& reason, const Entries& entries) {
        expectFailure(kind, {"fake.tqx", reason}, [&] { readFrom(entries); });
    };
    refuses(ErrorKind::Damaged, "'/props.xml', line 1, column 18: unexpected element", withCore("<coreProperties/>"));
    refuses(ErrorKind::Damaged, "document type declaration", withCore("<!DOCTYPE x>" + coreXml("")));
    const std::string two = relationshipXml("a", kCoreType, "props.xml") + relationshipXml("b", kCoreType, "props.xml");
    refuses(ErrorKind::Damaged, "(M4.1)", {sound[0], {"_rels/.rels", relationshipsXml(two)}, sound[2]});
    refuses(ErrorKind::Damaged, "'/props.xml' has not the content type",
            {{sound[0].first, typesXml()}, sound[1], sound[2]});
    refuses(ErrorKind::NotFound, "'/props.xml'", {sound[0], sound[1]});
}

TEST(CorePropertiesTest, Times) {
    const auto read = [](const std::string& time) {
        const std::string xml = "<dcterms:created xsi:type='dcterms:W3CDTF'>" + time + "</dcterms:created>";
        return *readFrom(withCore(coreXml(xml))).getCreatedTime();
    };
    std::istringstream cases(R"(
        2021                           2021-01-01T00:00:00   2021-03                 2021-03-01T00:00:00
        2021-03-04T05:06Z              2021-03-04T05:06:00   2020-02-29              2020-02-29T00:00:00
        2021-01-01T00:30:00+05:45      2020-12-31T18:45:00   2021-12-31T23:30-01:00  2022-01-01T00:30:00
        1400-01-01T00:00Z              1400-01-01T00:00:00   9999-12-31T23:59:59Z    9999-12-31T23:59:59
        2021-03-04T05:06:07.98765432109876Z  2021-03-04T05:06:07)");
    for (std::string text, time; cases >> text >> time;) {
        EXPECT_EQ(time, to_iso_extended_string(read(" \n" + text + "\t"))) << text;
    }
    const std::string refused =
        "|21|02021|-2021|1399|0000|2021-|2021-13|2021-00|2021-3|2021-02-29|2021-03-04Z|2021-03-04T|2021-03-04T05|"
        "2021-03-04T05Z|2021-03-04T05:06|2021-03-04T05:06:07|2021-03-04T24:00Z|2021-03-04T05:60Z|2021-03-04T05:06:60Z|"
        "2021-03-04T05:06:07.Z|2021-03-04T05:06:07z|2021-03-04 05:06Z|2021-03-04T05:06+0100|2021-03-04T05:06+24:00|"
        "2021-03-04T05:06Z!|1400-01-01T00:00+00:01|9999-12-31T23:59-00:01|yesterday";
    expectRefusals(ErrorKind::Damaged, "'/props.xml', line 1", {{"no date and time", refused}}, read);
}

TEST(CorePropertiesTest, RefusesValuesThatXmlCannotHoldAndChangesNothing) {
    TestPackage package(smallPackage());
    const auto refuses = [&](const std::string& property, const std::function<void(CoreProperties&)>& set) {
        CoreProperties properties;
        set(properties);
        expectFailure(ErrorKind::Misuse, {"'" + property + "' cannot be written"},
                      [&] { CorePropertiesManager(package, Mode::Off).setCoreProperties(properties); });
    };
    refuses("title", [](CoreProperties& p) { p.setTitle(std::u16string(1, u'\0')); });
    refuses("description", [](CoreProperties& p) { p.setDescription(u"\xDC00"); });
    refuses("version", [](CoreProperties& p) { p.setVersion(u"\uFFFF"); });
    refuses("content type friendly name", [](CoreProperties& p) { p.setContentTypeFriendlyName(u"\x0B"); });
    refuses("created time", [](CoreProperties& p) { p.setCreatedTime(boost::posix_time::ptime()); });
    refuses("last modified time", [](CoreProperties& p) { p.setLastModifiedTime(boost::posix_time::pos_infin); });
    package.close();
    EXPECT_EQ("", package.physical.log);
}

}  // namespace
}  // namespace opc::pxservices
