#include "opc/model/InvalidXMLDocument.hpp"
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
Entries rewritten(const Entries& entries, const std::function<void(CoreProperties&)>& change) {
    TestPackage package(entries);
    CorePropertiesManager manager(package, Mode::Off);
    CoreProperties properties = manager.getCoreProperties();
    change(properties);
    manager.setCoreProperties(properties);
    package.close();
    return package.physical.content;
}

void stamp(CoreProperties& properties) {
    properties.setLastModifiedTime(time_from_string("2024-01-01 00:00:00"));
    properties.setTARMICReleaseInfo(foundation::release_info::ReleaseInfo(u"9.1"));
}

void setTitle(CoreProperties& properties) { properties.setTitle(u"T"); }

std::string titleOf(const Entries& entries) { return fl::i18n::to_string(readFrom(entries).getTitle().value_or(u"-")); }

TEST(CorePropertiesTest, GivesBackWhatWasSet) {
    const std::u16string awkward = u"  <a> & \"b\"\t\r\n\r ]]> \u00e4\U0001F600 ";
    const CoreProperties properties = readFrom(rewritten({}, [&](CoreProperties& set) {
        set.setTitle(awkward);
        set.setContentTypeFriendlyName(awkward);
        set.setCreatedTime(time_from_string("2024-02-29 23:59:58.999"));
        set.setTARMICReleaseInfo(foundation::release_info::ReleaseInfo(u"9.1"));
    }));
    EXPECT_EQ(awkward, *properties.getTitle());
    EXPECT_EQ(awkward, *properties.getContentTypeFriendlyName());
    EXPECT_EQ(time_from_string("2024-02-29 23:59:58"), *properties.getCreatedTime());
    EXPECT_EQ(u"9.1", properties.getTARMICRelease());
    EXPECT_FALSE(properties.getCategory() || properties.getLastModifiedTime());
}

TEST(CorePropertiesTest, ReplacesWhatIsSetAndKeepsTheRestByteForByte) {
    const std::string root = "<c:coreProperties xmlns:c='http://schemas.openxmlformats.org/package/2006/metadata/"
                             "core-properties'";
    const std::string foreign = "<!-- x --> <f:x xmlns:f='urn:f'  a = \"1\"><dc:title/><y/></f:x>\r\n text &#65; ";
    const std::string dates = "<dcterms:created >2020-01-01T00:00:00.123+05:00</dcterms:created><dcterms:issued/>";
    const std::string title = "<dc:title>T</dc:title>";
    const std::string declared = "<dc:title xmlns:dc=\"http://purl.org/dc/elements/1.1/\">T</dc:title>";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {coreXml(dates + foreign), coreXml(dates + foreign + title), "added"},
        {coreXml("<dc:title xml:lang='en' xsi:type='x'>a<b/></dc:title>" + dates), coreXml(title + dates), "replaced"},
        {coreXml("<dc:title/>" + foreign + "<dc:title>2</dc:title>" + dates), coreXml(title + foreign + dates),
         "twice"},
        {root + "/>\n", root + ">" + declared + "</c:coreProperties>\n", "empty"},
        {root + " xmlns:q='http://purl.org/dc/elements/1.1/'></c:coreProperties >",
         root + " xmlns:q='http://purl.org/dc/elements/1.1/'><q:title>T</q:title></c:coreProperties >", "prefix"},
    };
    for (const auto& [before, after, what] : cases) {
        // With a mark of byte order in front, a document is left to the strict reader.
        for (const std::string mark : {"", "\xEF\xBB\xBF"}) {
            const Entries entries = rewritten(withCore(mark + before), setTitle);
            EXPECT_EQ(mark + after, textOf(entries, "props.xml")) << what;
            EXPECT_EQ("T", titleOf(entries)) << what;
            EXPECT_EQ(mark + before, textOf(rewritten(withCore(mark + before), [](auto&) {}), "props.xml")) << what;
        }
    }
    const Entries stamped = rewritten(withCore(root + "/>"), stamp);
    EXPECT_PRED_FORMAT2(::testing::IsSubstring,
                        "xsi:type=\"dcterms:W3CDTF\">2024-01-01T00:00:00Z</dcterms:modified></c",
                        textOf(stamped, "props.xml"));
    EXPECT_EQ(time_from_string("2024-01-01 00:00:00"), *readFrom(stamped).getLastModifiedTime());
    const Entries fresh = rewritten(withCore(coreXml(dates)), [](auto& p) { p = CoreProperties(); });
    EXPECT_PRED_FORMAT2(::testing::IsNotSubstring, "created", textOf(fresh, "props.xml"));
}

TEST(CorePropertiesTest, TakesAPartInUtf16) {
    const std::u16string wide = u"\uFEFF<?xml version='1.0' encoding='UTF-16'?>" +
                                fl::i18n::to_ustring(coreXml("<dc:title>\xC3\xA4</dc:title><x/>"));
    for (const std::size_t mark : {1, 0}) {  // with the mark of byte order, or known by the first character
        std::string big, little;
        for (const char16_t unit : wide.substr(1 - mark)) {
            big += {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
            little += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
        }
        for (const std::string& bytes : {big, little}) {
            EXPECT_EQ("\xC3\xA4", titleOf(withCore(bytes)));
            EXPECT_EQ(coreXml("<dc:title>T</dc:title><x/>"), textOf(rewritten(withCore(bytes), setTitle), "props.xml"));
            expectFailure(ErrorKind::Damaged, {"odd"}, [&] { titleOf(withCore(bytes + "\n")); });
        }
    }
}

TEST(CorePropertiesTest, AFaultyElementFailsItsOwnGetterOnly) {
    const std::string sound = "<cp:version>1</cp:version><m:x xmlns:m='http://schemas.openxmlformats.org/"
                              "markup-compatibility/2006' m:y=''/>stray<dcterms:modified>2020</dcterms:modified>";
    expectRefusals(ErrorKind::Damaged, "package 'fake.tqx', part '/props.xml', line 2: 'title' ",
                   {{"is there 3 times", "<dc:title/>\n<dc:title/><dc:title/>"},
                    {"holds 'ac' and other elements", "<dc:title>a<b>b</b>c</dc:title>"}},
                   [&](const std::string& title) {
                       const CoreProperties found = readFrom(withCore("\n" + coreXml(title + sound)));
                       EXPECT_EQ(u"1", *found.getVersion());
                       EXPECT_TRUE(found.getLastModifiedTime() && !found.getCreatedTime());
                       found.getTitle();
                   });
}

TEST(CorePropertiesTest, APartThatCannotBeReadStaysAsItIs) {
    EXPECT_THROW(titleOf(withCore("<a")), model::InvalidXMLDocument);
    const std::string cases[] = {"<coreProperties/>",
                                 "<!DOCTYPE x>" + coreXml(""),
                                 coreXml("<dc:title>"),
                                 "",
                                 coreXml("<dc:title>&x;</dc:title>"),
                                 coreXml("\xFF"),
                                 std::string(1 << 20, ' ')};
    for (const std::string& xml : cases) {
        TestPackage package(withCore(xml));
        package.physical.limit.maxPackageXmlSize = 1 << 16;
        const ErrorKind kind = xml.size() > 1 << 16 ? ErrorKind::LimitExceeded : ErrorKind::Damaged;
        CorePropertiesManager manager(package, Mode::Off);
        CoreProperties properties = manager.getCoreProperties();
        expectFailure(kind, {"fake.tqx", "'/props.xml'"}, [&] { properties.getTitle(); });
        expectFailure(kind, {"fake.tqx", "'/props.xml'"}, [&] { properties.getLastModifiedTime(); });
        stamp(properties);
        EXPECT_EQ(u"9.1", properties.getTARMICRelease());
        CoreProperties titled = properties;
        setTitle(titled);
        expectFailure(kind, {"cannot be set", "'/props.xml'"}, [&] { manager.setCoreProperties(titled); });
        EXPECT_EQ(2U, package.getParts().size() + 1) << "a refused call must change nothing";
        manager.setCoreProperties(properties);
        EXPECT_EQ(u"9.1", manager.getCoreProperties().getTARMICRelease());
        package.close();
        EXPECT_EQ(xml, textOf(package.physical.content, "props.xml"));
    }
}

TEST(CorePropertiesTest, WhatCouldNotBeReadAgainIsNotWritten) {
    const Entries entries = withCore(coreXml(std::string(900, ' ')));
    TestPackage package(entries);
    package.physical.limit.maxPackageXmlSize = textOf(entries, "props.xml").size();
    CorePropertiesManager manager(package, Mode::Off);
    CoreProperties properties = manager.getCoreProperties();
    stamp(properties);
    manager.setCoreProperties(properties);  // the time of the save has no room, and nobody asked for it
    EXPECT_FALSE(manager.getCoreProperties().getLastModifiedTime());
    setTitle(properties);
    expectFailure(ErrorKind::LimitExceeded, {"maxPackageXmlSize"}, [&] { manager.setCoreProperties(properties); });
    EXPECT_FALSE(manager.getCoreProperties().getTitle());
    package.close();
}

TEST(CorePropertiesTest, FindsThePartByItsRelationship) {
    const std::string office = "http://schemas.openxmlformats.org/officedocument/2006/relationships/metadata/"
                               "core-properties";
    const std::string own = "docProps/core.xml", old = coreXml("<dc:title>old</dc:title><x/>");
    const std::string type = "application/vnd.openxmlformats-package.core-properties+xml";
    const auto dead = [](const std::string& target) { return relationshipXml("d", kCoreType, target); };
    const struct {
        std::string relationships, entry, title, written, left;
    } cases[] = {
        {relationshipXml("a", office, own), own, "old", own, office},
        {relationshipXml("a", office, "x.xml") + relationshipXml("b", kCoreType, own), own, "old", own, kCoreType},
        {relationshipXml("a", office, own) + dead("x.xml"), own, "old", own, "x.xml"},
        {dead(own) + relationshipXml("e", kCoreType, own), own, "old", own, "\"e\""},
        {"", own, "-", "docProps1/core.xml", kCoreType},
        {"", "docProps.xml", "-", own, kCoreType},
        {"", "docProps", "-", "docProps1/core.xml", kCoreType},
        {dead("there.xml"), own, "-", "there.xml", "there.xml"},
        {dead("/there.xml") + relationshipXml("e", office, own), own, "old", own, "/there.xml"},
        {dead("docProps/core.xml/y"), own, "-", "docProps1/core.xml", "docProps1/core.xml"},
        {dead("http://e.org/core.xml"), own, "-", "docProps1/core.xml", "docProps1/core.xml"},
        {dead("a%zz"), "b.xml", "-", own, own},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.relationships + " " + row.entry);
        const Entries entries = {
            {"[Content_Types].xml", typesXml("<Default Extension='docprops' ContentType='a/b'/>"
                                             "<Override PartName='/docProps' ContentType='a/b'/>")},
            {"_rels/.rels", relationshipsXml(row.relationships)},
            {row.entry, old}};
        EXPECT_EQ(row.title, titleOf(entries));
        const Entries after = rewritten(entries, setTitle);
        EXPECT_EQ("T", titleOf(after));
        EXPECT_PRED_FORMAT2(::testing::IsSubstring, "<dc:title>T</dc:title>", textOf(after, row.written));
        EXPECT_PRED_FORMAT2(::testing::IsSubstring, "<x/>", textOf(after, row.entry));
        EXPECT_PRED_FORMAT2(::testing::IsSubstring, row.left, textOf(after, "_rels/.rels"));
    }
}

TEST(CorePropertiesTest, ReadsAPartOncePerOpeningUnlessItIsWritten) {
    TestPackage package(withCore(coreXml("<dc:title>1</dc:title>")));
    const CorePropertiesManager manager(package, Mode::Off);
    const int before = package.physical.reads;
    EXPECT_EQ(u"1", *manager.getCoreProperties().getTitle());
    EXPECT_EQ(u"1", *manager.getCoreProperties().getTitle());
    EXPECT_EQ(before + 1, package.physical.reads);
    for (const std::string title : {"2", "3"}) {
        write(package.part(u"/props.xml"), coreXml("<dc:title>" + title + "</dc:title>"));
        EXPECT_EQ(fl::i18n::to_ustring(title), *manager.getCoreProperties().getTitle());
    }
    package.close();
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(u"3", *manager.getCoreProperties().getTitle());
    package.revert();
}

TEST(CorePropertiesTest, Times) {
    const auto read = [](const std::string& time) {
        const std::string xml = "<dcterms:created>" + time + "</dcterms:created>";
        return *readFrom(withCore(coreXml(xml))).getCreatedTime();
    };
    std::istringstream cases(R"(
        2021                           2021-01-01T00:00:00   2021-03                 2021-03-01T00:00:00
        2021-03-04T05:06Z              2021-03-04T05:06:00   2020-02-29              2020-02-29T00:00:00
        2021-01-01T00:30:00+05:45      2020-12-31T18:45:00   2021-12-31T23:30-01:00  2022-01-01T00:30:00
        1400-01-01T00:00Z              1400-01-01T00:00:00   9999-12-31T23:59:59Z    9999-12-31T23:59:59
        2021-03-04T05:06:07.98765432109876Z  2021-03-04T05:06:07
        2021-03-04T05:06               2021-03-04T05:06:00   2021-03-04T05:06:07.5   2021-03-04T05:06:07
        2013-05:00                     2013-01-01T05:00:00   2013-04-05:00           2013-04-01T05:00:00
        2014-04-30Z                    2014-04-30T00:00:00   2014-04-30+02:00        2014-04-29T22:00:00
        2020-12-31T24:00:00Z           2021-01-01T00:00:00   2020-02-28T24:00:00.00  2020-02-29T00:00:00)");
    for (std::string text, time; cases >> text >> time;) {
        EXPECT_EQ(time, to_iso_extended_string(read(" \n" + text + "\t"))) << text;
    }
    const std::string refused =
        "|21|02021|-2021|1399|0000|2021-|2021-13|2021-00|2021-3|2021-02-29|2021-03-04T|2021-03-04T05|"
        "2021-03-04T05Z|2021-03-04T24:00:01Z|2021-03-04T24:00:00.1Z|2021-03-04T24:01|2021-03-04T25:00|9999-12-31T24:00|"
        "2021-03-04T05:"
        "60Z|2021-03-04T05:06:60Z|"
        "2021-03-04T05:06:07.Z|2021-03-04T05:06:07z|2021-03-04 "
        "05:06Z|2021-03-04T05:06+0100|2021-03-04T05:06+24:00|2021-03-04T05:06+01:60|"
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
