#include "opc/pxservices/CorePropertiesManager.hpp"
#include "platform/opc/modelTesting.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <numeric>

namespace opc::pxservices {
namespace {

using namespace model::testing;
using boost::posix_time::ptime;
using boost::posix_time::time_from_string;
using Mode = CorePropertiesManager::DeterministicMode;

const std::string kCoreType = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";

std::string coreXml(const std::string& inner) {
    return "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/core-properties' "
           "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:dcterms='http://purl.org/dc/terms/' "
           "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'>" +
           inner + "</cp:coreProperties>";
}

/// A package whose core properties are in a place of their own.
Items withCore(const std::string& xml) {
    return {
        {"[Content_Types].xml", typesXml("<Override PartName='/props.xml' "
                                         "ContentType='application/vnd.openxmlformats-package.core-properties+xml'/>")},
        {"_rels/.rels", relationshipsXml(relationshipXml("rId1", kCoreType, "props.xml"))},
        {"props.xml", xml}};
}

CoreProperties readFrom(const Items& items) {
    TestPackage package(items, OpenMode::ReadOnly);
    return CorePropertiesManager(package, Mode::Off).getCoreProperties();
}

/// What the package has after its properties were read, changed and written.
Items rewritten(const Items& items, const std::function<void(CoreProperties&)>& change, Mode mode = Mode::Off) {
    TestPackage package(items);
    CorePropertiesManager manager(package, mode);
    CoreProperties properties = manager.getCoreProperties();
    change(properties);
    manager.setCoreProperties(properties);
    package.close();
    return package.physical.content;
}

TEST(CorePropertiesTest, RoundTrip) {
    const std::u16string awkward = u"  <a> & \"b\"\t\r\n\r ]]> \u00e4\U0001F600 ";
    const Items items = rewritten({}, [&](CoreProperties& properties) {
        properties.setTitle(awkward);
        properties.setContentTypeFriendlyName(awkward);
        properties.setCreatedTime(time_from_string("2024-02-29 23:59:58.999"));
        properties.setTARMICReleaseInfo(foundation::release_info::ReleaseInfo(u"9.1"));
    });
    const CoreProperties properties = readFrom(items);
    EXPECT_EQ(awkward, *properties.getTitle());
    EXPECT_EQ(awkward, *properties.getContentTypeFriendlyName());
    EXPECT_EQ(time_from_string("2024-02-29 23:59:58"), *properties.getCreatedTime());
    EXPECT_EQ(u"9.1", properties.getTARMICRelease());
    EXPECT_FALSE(properties.getVersion() || properties.getCategory() || properties.getLastModifiedTime());
}

TEST(CorePropertiesTest, KeepsWhatItHasNoNameForInItsPlace) {
    const std::string kept[] = {
        "<cp:version>1</cp:version>",
        "<dc:creator> Ann &amp;&#13; Bo </dc:creator>",
        "<cp:keywords xml:lang=\"en\">a <cp:value xml:lang=\"de\">b</cp:value> c</cp:keywords>",
        "<f:x xmlns:f=\"urn:f\" a=\"1&#10;2\" f:b=\"\"><y xmlns=\"urn:y\"><z xmlns=\"\"/></y></f:x>",
        "<dc:x xmlns:dc=\"urn:other\" type=\"dc:q\"/>",
    };
    const std::string xml = std::accumulate(std::begin(kept), std::end(kept), std::string("\n "));
    const Items items =
        rewritten(withCore(coreXml(xml)), [](CoreProperties& properties) { properties.setTitle(u"T"); });
    const std::string core = textOf(items, "props.xml");
    EXPECT_NE(std::string::npos, core.find("<dc:title>T</dc:title>")) << core;
    for (const std::string& piece : kept) {
        EXPECT_NE(std::string::npos, core.find(piece)) << core << "\nlacks " << piece;
    }
    EXPECT_EQ(items, rewritten(items, [](CoreProperties&) {})) << "a second pass must change nothing";
    std::string outer = coreXml("<g:q/>");
    outer.insert(outer.find('>'), " xmlns:g='urn:g'");
    outer = textOf(rewritten(withCore(outer), [](CoreProperties&) {}), "props.xml");
    EXPECT_NE(std::string::npos, outer.find("<g:q xmlns:g=\"urn:g\"/>")) << outer;
    const Items fresh = rewritten(items, [](CoreProperties& properties) { properties = CoreProperties(); });
    EXPECT_EQ(std::string::npos, textOf(fresh, "props.xml").find("Ann"));
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
    const Items sound = withCore(coreXml(""));
    const auto refuses = [&](ErrorKind kind, const std::string& reason, const Items& items) {
        expectFailure(kind, {"fake.tqx", reason}, [&] { readFrom(items); });
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
    const std::pair<const char*, const char*> cases[] = {
        {"2021", "2021-01-01 00:00"},
        {"2021-03", "2021-03-01 00:00"},
        {"2020-02-29", "2020-02-29 00:00"},
        {"2021-03-04T05:06Z", "2021-03-04 05:06"},
        {" \n2021-03-04T05:06:07.98765432109876Z\t", "2021-03-04 05:06:07"},
        {"2021-01-01T00:30:00+05:45", "2020-12-31 18:45"},
        {"2021-12-31T23:30-01:00", "2022-01-01 00:30"},
        {"1400-01-01T00:00Z", "1400-01-01 00:00"},
        {"9999-12-31T23:59:59Z", "9999-12-31 23:59:59"},
    };
    for (const auto& [text, time] : cases) {
        EXPECT_EQ(time_from_string(time), read(text)) << text;
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
    for (const char16_t unit : {u'\0', u'\1', u'\xDC00', u'\uFFFF'}) {
        SCOPED_TRACE(static_cast<unsigned>(unit));
        refuses("title", [&](CoreProperties& p) { p.setTitle(std::u16string(1, unit) + u"a"); });
    }
    refuses("content type friendly name", [](CoreProperties& p) { p.setContentTypeFriendlyName(u"\x0B"); });
    refuses("created time", [](CoreProperties& p) { p.setCreatedTime(ptime()); });
    refuses("last modified time", [](CoreProperties& p) { p.setLastModifiedTime(boost::posix_time::pos_infin); });
    package.close();
    EXPECT_EQ("", package.physical.log);
}

TEST(CorePropertiesTest, DeterministicModeFixesTimesAndRelease) {
    const auto now = [](CoreProperties& properties) {
        properties.setCreatedTime(CoreProperties::getCurrentTime());
        properties.setTARMICReleaseInfo(CoreProperties::getCurrentTARMICReleaseInfo());
    };
    const CoreProperties properties = readFrom(rewritten({}, now, Mode::FixedTimes));
    EXPECT_EQ(time_from_string("1980-01-01 00:00"), *properties.getCreatedTime());
    EXPECT_FALSE(properties.getLastModifiedTime());
    EXPECT_EQ(u"", properties.getTARMICRelease());
}

}  // namespace
}  // namespace opc::pxservices
