#include "opc/pxservices/CorePropertiesManager.hpp"
#include "platform/opc/modelTesting.hpp"

#include <boost/date_time/posix_time/posix_time_types.hpp>

namespace opc::pxservices {
namespace {

using namespace model::testing;
using boost::posix_time::ptime;
using interfaces::OpenMode;
using model::Package;
using Mode = CorePropertiesManager::DeterministicMode;

const std::string kCoreType = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
const std::string kCoreOverride =
    "<Override PartName='/props.xml' ContentType='application/vnd.openxmlformats-package.core-properties+xml'/>";

std::string coreXml(const std::string& inner) {
    return "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/core-properties' "
           "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:dcterms='http://purl.org/dc/terms/' "
           "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'>" +
           inner + "</cp:coreProperties>";
}

std::string created(const std::string& time) {
    return coreXml("<dcterms:created xsi:type='dcterms:W3CDTF'>" + time + "</dcterms:created>");
}

/// A package whose core properties are in a place of their own.
Items withCore(const std::string& xml) {
    return {{"[Content_Types].xml", typesXml(kCoreOverride)},
            {"_rels/.rels", relationshipsXml(relationshipXml("rId1", kCoreType, "props.xml"))},
            {"props.xml", xml}};
}

CoreProperties readFrom(const Items& items) {
    FakePhysicalPackage physical(items);
    Package package(physical);
    package.open(OpenMode::ReadOnly);
    return CorePropertiesManager(package, Mode::Off).getCoreProperties();
}

/// What the package has after its properties were read, changed and written.
Items rewritten(Items items, const std::function<void(CoreProperties&)>& change, Mode mode = Mode::Off) {
    FakePhysicalPackage physical(std::move(items));
    Package package(physical);
    package.open(physical.content.empty() ? OpenMode::Create : OpenMode::Update);
    CorePropertiesManager manager(package, mode);
    CoreProperties properties = manager.getCoreProperties();
    change(properties);
    manager.setCoreProperties(properties);
    package.close();
    return physical.content;
}

std::string textOf(const Items& items, const std::string& name) { return FakePhysicalPackage(items).text(name); }

ptime time(int year, int month, int day, int hours = 0, int minutes = 0, int seconds = 0) {
    return {boost::gregorian::date(static_cast<unsigned short>(year), static_cast<unsigned short>(month),
                                   static_cast<unsigned short>(day)),
            boost::posix_time::time_duration(hours, minutes, seconds)};
}

TEST(CorePropertiesTest, RoundTrip) {
    const std::u16string awkward = u"  <a> & \"b\"\t\r\n\r ]]> \u00e4\U0001F600 ";
    const auto fill = [&](CoreProperties& properties) {
        properties.setTitle(awkward);
        properties.setDescription(u"");
        properties.setContentType(u"application/x");
        properties.setContentTypeFriendlyName(awkward);
        properties.setCreatedTime(time(2024, 2, 29, 23, 59, 58) + boost::posix_time::milliseconds(999));
        properties.setTARMICReleaseInfo(foundation::release_info::ReleaseInfo(u"9.1"));
    };
    const Items items = rewritten({}, fill);
    EXPECT_EQ(items, rewritten({}, fill));
    const CoreProperties properties = readFrom(items);
    EXPECT_EQ(awkward, *properties.getTitle());
    EXPECT_EQ(u"", *properties.getDescription());
    EXPECT_EQ(u"application/x", *properties.getContentType());
    EXPECT_EQ(awkward, *properties.getContentTypeFriendlyName());
    EXPECT_EQ(time(2024, 2, 29, 23, 59, 58), *properties.getCreatedTime());
    EXPECT_EQ(u"9.1", properties.getTARMICRelease());
    EXPECT_FALSE(properties.getVersion() || properties.getCategory() || properties.getLastModifiedTime());
    EXPECT_EQ(std::string::npos, textOf(items, "docProps/core.xml").find("9.1")) << "the schema has no place for it";
    EXPECT_NE(std::string::npos, textOf(items, "docProps/tarmic.xml").find("9.1"));
}

TEST(CorePropertiesTest, APackageWithoutPropertiesHasNone) {
    const CoreProperties properties = readFrom(smallPackage());
    EXPECT_FALSE(properties.getTitle() || properties.getCreatedTime() || properties.getContentTypeFriendlyName());
    EXPECT_EQ(u"", properties.getTARMICRelease());
}

TEST(CorePropertiesTest, KeepsWhatItHasNoNameForInItsPlace) {
    const std::string creator = "<dc:creator> Ann &amp;&#13; Bo </dc:creator>";
    const std::string keywords =
        "<cp:keywords xml:lang=\"en\">a <cp:value xml:lang=\"de\">b</cp:value> c</cp:keywords>";
    const std::string foreign =
        "<f:x xmlns:f=\"urn:f\" a=\"1&#10;2\" f:b=\"\"><y xmlns=\"urn:y\"><z xmlns=\"\"/></y></f:x>";
    const std::string rebound = "<dc:x xmlns:dc=\"urn:other\" type=\"dc:q\"/>";
    Items items = withCore(coreXml("<cp:version>1</cp:version>\n " + creator + keywords + foreign + rebound));
    items = rewritten(items, [](CoreProperties& properties) { properties.setTitle(u"T"); });
    const std::string core = textOf(items, "props.xml");
    for (const std::string& piece : {creator, keywords, foreign, std::string("<dc:title>T</dc:title>"),
                                     std::string("<cp:version>1</cp:version>")}) {
        EXPECT_NE(std::string::npos, core.find(piece)) << core << "\nlacks " << piece;
    }
    EXPECT_NE(std::string::npos, core.find("xmlns:dc=\"urn:other\" type=\"dc:q\"")) << core;
    EXPECT_EQ(items, rewritten(items, [](CoreProperties&) {})) << "a second pass must change nothing";
    EXPECT_EQ("no item docProps/core.xml", textOf(items, "docProps/core.xml"));
    std::string outer = coreXml("<g:q/>");
    outer.insert(outer.find('>'), " xmlns:g='urn:g'");
    outer = textOf(rewritten(withCore(outer), [](CoreProperties&) {}), "props.xml");
    EXPECT_NE(std::string::npos, outer.find("<g:q xmlns:g=\"urn:g\"/>")) << outer;
    const Items fresh = rewritten(items, [](CoreProperties& properties) { properties = CoreProperties(); });
    EXPECT_EQ(std::string::npos, textOf(fresh, "props.xml").find("Ann"));
}

TEST(CorePropertiesTest, RefusesWhatBreaksTheRules) {
    const struct {
        std::string xml;
        const char* reason;
    } cases[] = {
        {coreXml("<dc:title/>\n<dc:title/>"), "line 2: 'title' is there twice"},
        {coreXml("<dc:creator/><dc:creator/>"), "'creator' is there twice"},
        {coreXml("<dc:title><b/></dc:title>"), "'b' is not permitted in 'title'"},
        {coreXml("<dc:title xml:lang='en'/>"), "M4.4"},
        {coreXml("<dc:creator xsi:type='dcterms:W3CDTF'/>"), "M4.5"},
        {coreXml("<dcterms:created>2020</dcterms:created>"), "M4.5"},
        {coreXml("<dcterms:modified xsi:type='W3CDTF'>2020</dcterms:modified>"), "M4.5"},
        {coreXml("<dcterms:modified xmlns:f='urn:f' xsi:type='f:W3CDTF'>2020</dcterms:modified>"), "M4.5"},
        {coreXml("<dcterms:issued/>"), "M4.3"},
        {coreXml("<m:AlternateContent xmlns:m='http://schemas.openxmlformats.org/markup-compatibility/2006'/>"),
         "M4.2"},
        {coreXml("text"), "unexpected text"},
        {"<coreProperties/>", "unexpected element"},
        {"<!DOCTYPE x>" + coreXml(""), "document type declaration"},
        {coreXml("<dc:title>"), "column"},
        {created("yesterday"), "'yesterday'"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.xml);
        expectFailure(ErrorKind::Damaged, {"fake.tqx", "'/props.xml', line ", each.reason},
                      [&] { readFrom(withCore(each.xml)); });
    }
    std::string nested;
    for (int i = 0; i != 200000; ++i) {
        nested += "<a>";
    }
    expectFailure(ErrorKind::Damaged, {"line 1", "in each other"}, [&] { readFrom(withCore(coreXml(nested))); });
}

TEST(CorePropertiesTest, ThereIsOnePartOfTheRightType) {
    Items twice = withCore(coreXml(""));
    twice[1].second =
        relationshipsXml(relationshipXml("a", kCoreType, "props.xml") + relationshipXml("b", kCoreType, "props.xml"));
    expectFailure(ErrorKind::Damaged, {"fake.tqx", "M4.1"}, [&] { readFrom(twice); });
    Items mistyped = withCore(coreXml(""));
    mistyped[0].second = typesXml();
    expectFailure(ErrorKind::Damaged, {"'/props.xml'", "M4.1"}, [&] { readFrom(mistyped); });
    Items dangling = withCore(coreXml(""));
    dangling.pop_back();
    expectFailure(ErrorKind::NotFound, {"'/props.xml'"}, [&] { readFrom(dangling); });
}

TEST(CorePropertiesTest, Times) {
    const struct {
        const char* text;
        ptime time;  // not a time when it is refused
    } cases[] = {
        {"2021", time(2021, 1, 1)},
        {"2021-03", time(2021, 3, 1)},
        {"2020-02-29", time(2020, 2, 29)},
        {"2021-03-04T05:06Z", time(2021, 3, 4, 5, 6)},
        {"2021-03-04T05:06:07Z", time(2021, 3, 4, 5, 6, 7)},
        {" \n2021-03-04T05:06:07.98765432109876Z\t", time(2021, 3, 4, 5, 6, 7)},
        {"2021-01-01T00:30:00+05:45", time(2020, 12, 31, 18, 45)},
        {"2021-12-31T23:30-01:00", time(2022, 1, 1, 0, 30)},
        {"1400-01-01T00:00Z", time(1400, 1, 1)},
        {"9999-12-31T23:59:59Z", time(9999, 12, 31, 23, 59, 59)},
        {"", {}},
        {"21", {}},
        {"02021", {}},
        {"2021-", {}},
        {"2021-13", {}},
        {"2021-00", {}},
        {"2021-3", {}},
        {"2021-02-29", {}},
        {"2021-03-04T", {}},
        {"2021-03-04T05", {}},
        {"2021-03-04T05:06", {}},
        {"2021-03-04T05:06:07", {}},
        {"2021-03-04T24:00Z", {}},
        {"2021-03-04T05:60Z", {}},
        {"2021-03-04T05:06:60Z", {}},
        {"2021-03-04T05:06:07.Z", {}},
        {"2021-03-04T05:06:07z", {}},
        {"2021-03-04 05:06Z", {}},
        {"2021-03-04Z", {}},
        {"2021-03-04T05:06+0100", {}},
        {"2021-03-04T05:06+24:00", {}},
        {"2021-03-04T05:06Z!", {}},
        {"-2021", {}},
        {"2021-03-04T05Z", {}},
        {"1399", {}},
        {"0000", {}},
        {"1400-01-01T00:00+00:01", {}},
        {"9999-12-31T23:59-00:01", {}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.text);
        const auto read = [&] { return readFrom(withCore(created(each.text))).getCreatedTime(); };
        if (each.time.is_special()) {
            expectFailure(ErrorKind::Damaged, {"'/props.xml', line 1", "no date and time"}, read);
        } else {
            EXPECT_EQ(each.time, *read());
        }
    }
}

TEST(CorePropertiesTest, RefusesValuesThatXmlCannotHoldAndChangesNothing) {
    const std::function<void(CoreProperties&)> cases[] = {
        [](CoreProperties& p) { p.setTitle(u"a\1"); },
        [](CoreProperties& p) { p.setTitle(std::u16string(1, u'\0')); },
        [](CoreProperties& p) {
            p.setTitle(std::u16string(u"\xDC00"
                                      u"a"));
        },
        [](CoreProperties& p) { p.setTitle(u"\uFFFF"); },
        [](CoreProperties& p) { p.setContentTypeFriendlyName(u"\x0B"); },
        [](CoreProperties& p) { p.setCreatedTime(ptime()); },
        [](CoreProperties& p) { p.setLastModifiedTime(ptime(boost::posix_time::pos_infin)); },
    };
    const char* names[] = {"'title'",
                           "'title'",
                           "'title'",
                           "'title'",
                           "'content type friendly name'",
                           "'created time'",
                           "'last modified time'"};
    for (std::size_t i = 0; i != std::size(cases); ++i) {
        FakePhysicalPackage physical(smallPackage());
        Package package(physical);
        package.open(OpenMode::Update);
        CoreProperties properties;
        cases[i](properties);
        expectFailure(ErrorKind::Misuse, {names[i]},
                      [&] { CorePropertiesManager(package, Mode::Off).setCoreProperties(properties); });
        package.close();
        EXPECT_EQ(0, physical.commits);
    }
}

TEST(CorePropertiesTest, DeterministicModeFixesTimesAndRelease) {
    const auto now = [](CoreProperties& properties) {
        properties.setCreatedTime(CoreProperties::getCurrentTime());
        properties.setTARMICReleaseInfo(CoreProperties::getCurrentTARMICReleaseInfo());
    };
    const CoreProperties properties = readFrom(rewritten({}, now, Mode::FixedTimes));
    EXPECT_EQ(time(1980, 1, 1), *properties.getCreatedTime());
    EXPECT_FALSE(properties.getLastModifiedTime());
    EXPECT_EQ(u"", properties.getTARMICRelease());
}

}  // namespace
}  // namespace opc::pxservices
