#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/model/PartNotFound.hpp"
#include "platform/opc/model/PackageTesting.hpp"

#include <optional>

namespace opc::model {
namespace {

using namespace tests;

void open(const Entries& entries) { TestPackage package(entries, OpenMode::ReadOnly); }

std::string messageOf(const Entries& entries) {
    try {
        open(entries);
    } catch (const Exception& failure) {
        return failure.what();
    }
    return {};
}

void openWithTypes(const std::string& xml) { open({{"[Content_Types].xml", xml}}); }

std::string namesOf(const Package& package) {
    std::string names;
    for (const Part& part : package.getParts()) {
        names += part.getName().ascii() + " ";
    }
    return names;
}

TEST(PackageReadTest, HandlesOfAClosedPackageRefuse) {
    std::optional<TestPackage> package(smallPackage());
    expectFailure(ErrorKind::Misuse, {"is open already"}, [&] { package->open(OpenMode::ReadOnly); });
    Part part = package->getPart(PartName(u"/b.xml"));
    const auto relationship = package->getRelationships(ExcludeMode::None).at(0);
    const auto stream = part.getOutputStream();
    package->revert();
    expectFailure(ErrorKind::Misuse, {"fake.tqx", "is not open"}, [&] { package->getParts(); });
    package->open(OpenMode::ReadOnly);  // which is no return to life for handles of before
    expectFailure(ErrorKind::Misuse, {"is not open"}, [&] { part.getInputStream(); });
    package.reset();
    stream->write("x", 1);
    expectFailure(ErrorKind::Misuse, {"is not open"}, [&] { part.getRelationships(ExcludeMode::None); });
    EXPECT_EQ(u"/docs/a.xml", relationship.getTargetURI().toString());
}

TEST(PackageReadTest, RefusesMalformedContentTypes) {
    const auto entry = [](const std::string& rest) {
        return typesXml("<Default Extension='y' ContentType='a/b'" + rest);
    };
    const std::string entity = "<!DOCTYPE a [<!ENTITY none 'ha'>]>";
    expectRefusals(
        ErrorKind::Damaged, "package 'fake.tqx', part '/[Content_Types].xml', line ",
        {{"line 1", "|" + kTypesStart + "<Types"},
         {"document type declaration", entity + typesXml("&none;") + "|<!DOCTYPE Types SYSTEM 'x'>" + typesXml()},
         {"unexpected element 'Types'", "<Types/>|" + kTypesStart + "<Types>"},
         {"unexpected element 'Other'", typesXml("<Other/>") + "|" + typesXml("<f:Other xmlns:f='f'/>")},
         {"unexpected element 'a'", entry("><a/></Default>")},
         {"unexpected text", typesXml("text")},
         {"undefined", typesXml("&none;")},
         {"no 'ContentType'", typesXml("<Default Extension='x'/>") + "|" + typesXml("<Override PartName='/x'/>")},
         {"no extension", typesXml("<Default Extension='.x' ContentType='a/b'/>")},
         {"content type 'a'", typesXml("<Default Extension='x' ContentType='a'/>")},
         {"no part name", typesXml("<Override PartName='x' ContentType='a/b'/>")},
         {"M2.5", typesXml("<Default Extension='RELS' ContentType='a/b'/>")},
         {"M2.6", typesXml("<Override PartName='/A' ContentType='a/b'/><Override PartName='/a' ContentType='a/b'/>")},
         {"unknown attribute 'Extra'", entry(" Extra=''/>")},
         {"M1.21", entry(" xml:lang='de'/>")}},
        openWithTypes);
    expectFailure(ErrorKind::Damaged, {"[Content_Types].xml", "missing"}, [] { open({{"as/long/as/that.xml", ""}}); });
    EXPECT_NO_THROW(open({{"[content_types].XML", entry(" f:x='' xmlns:f='f'/>")}}));
}

TEST(PackageReadTest, PartsAreWhatHasANameAndAContentType) {
    const TestPackage package(packageOf(
        typesXml("<Override PartName='/D/a.xml' ContentType='o/o'/><Override PartName='/plain' ContentType='p/p'/>"),
        "d/A.xml|d.xml/plain|plain|x.y.XML|x.y|not a name.xml|\xC3\xA4.xml|d/_rels/A.xml.rels"));
    EXPECT_EQ("/d/A.xml /plain /x.y.XML ", namesOf(package));
    EXPECT_EQ(u"o/o", package.part(u"/d/a.xml").getContentType().toString());
    EXPECT_EQ(u"text/xml", package.part(u"/x.y.xml").getContentType().toString());
    EXPECT_THROW(package.part(u"/x.y"), PartNotFound);
}

TEST(PackageReadTest, RefusesNamesThatAreEquivalentOrDeriveFromOthers) {
    const std::string types =
        typesXml("<Default Extension='x' ContentType='a/b'/><Override PartName='/a' ContentType='a/b'/>");
    for (const std::string names : {"a|a.x|A/b.xml", "a/b/c.xml|a!c.x|a.x|a", "q.x|a.x|q.x/r/s.xml"}) {
        expectFailure(ErrorKind::Damaged, {"'/" + split(names).back() + "'", "M1.11"},
                      [&] { open(packageOf(types, names)); });
    }
    expectFailure(ErrorKind::Damaged, {"M1.12"}, [&] { open(packageOf(types, "x.xml|x.xml/[0].last.piece")); });
    EXPECT_NO_THROW(open(packageOf(types, "a|ab/c.xml|a!/d.x|a.xml|stray|stray/e.x")));
}

TEST(PackageReadTest, RefusesMalformedRelationships) {
    // The comment leaves the document to the other XML reader, which must tell the same.
    const auto openWith = [](const std::string& inner) {
        const std::string xml = relationshipsXml(inner);
        EXPECT_EQ(messageOf({{"[Content_Types].xml", typesXml()}, {"_rels/.rels", xml + "<!---->"}}),
                  messageOf({{"[Content_Types].xml", typesXml()}, {"_rels/.rels", xml}}));
        open({{"[Content_Types].xml", typesXml()}, {"_rels/.rels", xml}});
    };
    const auto entry = [](const std::string& rest) { return "<Relationship Id='a' Type='t' Target='x'" + rest; };
    const auto withId = [](const std::string& id) { return relationshipXml(id, "t", "x"); };
    expectRefusals(ErrorKind::Damaged, "package 'fake.tqx', part '/_rels/.rels', line ",
                   {{"no 'Id'", "<Relationship Type='t' Target='x'/>|" + withId("")},
                    {"no NCName", withId("1") + "|" + withId("a:b") + "|" + withId(" a")},
                    {"no 'Type'", "<Relationship Id='a' Target='x'/>"},
                    {"no 'Target'", "<Relationship Id='a' Type='t'/>"},
                    {"target mode '", entry(" TargetMode='external'/>|") + entry(" TargetMode=''/>")},
                    {"'Other'", entry(" Other=''/>|<Other/>")},
                    {"'base' of the namespace", entry(" xml:base='/y'/>")},
                    {"'a' is there twice", withId("a") + withId("a")},
                    {"line 3, column 43: ", "\n\n" + withId("\xC3\xA4") + "<Other/>"},
                    {"line 3, column ", "\n\n" + entry("")}},
                   openWith);
    expectFailure(ErrorKind::Damaged, {"'/_rels/.rels'", "content type"},
                  [] { open(packageOf(kTypesStart + "</Types>", "_rels/.rels")); });
    EXPECT_NO_THROW(
        openWith("<Relationship Id='_\xC3\xA4.-1' Type='t' Target='' f:x='' xmlns:f='f'>any text</Relationship>"));
}

TEST(PackageReadTest, TargetsFailWhenFollowedOnly) {
    Entries entries = packageOf(typesXml(), "d/s.xml");
    entries.emplace_back("d/_rels/s.xml.rels",
                         relationshipsXml(relationshipXml("up", "t", "../../../x.xml#part%20two") +
                                          relationshipXml("self", "t", "") + relationshipXml("bad", "t", "%zz") +
                                          "<Relationship Id='out' Type='t' Target='../x y' TargetMode='External'/>"));
    const TestPackage package(entries);
    const Part part = package.part(u"/d/s.xml");
    const auto all = part.getRelationships(ExcludeMode::None);
    EXPECT_EQ(u"/x.xml#part%20two", all.at(0).getTargetURI().toString());
    EXPECT_EQ(u"/d/s.xml", all.at(1).getTargetURI().toString());
    expectFailure(ErrorKind::Damaged, {"fake.tqx", "'bad'", "'/d/s.xml'", "%zz"}, [&] { all.at(2).getTargetURI(); });
    EXPECT_EQ(u"../x%20y", all.at(3).getTargetURI().toString());
    EXPECT_EQ(u"../x y", all.at(3).getTarget());
    EXPECT_EQ(1U, part.getRelationships(ExcludeMode::Internal).size());
    EXPECT_EQ(3U, part.getRelationships(ExcludeMode::External).size());
    EXPECT_EQ(4U, part.getRelationshipsByType(u"t").size());
    EXPECT_EQ(0U, part.getRelationshipsByType(u"T").size());
}

TEST(PackageReadTest, EncodingsOfPackageXml) {
    const auto declared = [](const std::string& encoding) {
        return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>" + typesXml();
    };
    const auto utf16 = [](const std::string& text) {
        const std::u16string units = fl::i18n::to_ustring(text);
        return std::string(reinterpret_cast<const char*>(units.data()), 2 * units.size());
    };
    const std::string mark = "\xEF\xBB\xBF";
    for (const std::string& xml : {mark + typesXml(), declared("utf-8"), utf16(mark + typesXml()),
                                   utf16(mark + declared("UTF-16")), utf16(declared("UTF-16"))}) {
        EXPECT_NO_THROW(openWithTypes(xml)) << xml;
    }
    expectRefusals(ErrorKind::Damaged, "'/[Content_Types].xml', line 1",
                   {{"neither UTF-8 nor UTF-16", declared("ISO-8859-1") + "|" + declared("US-ASCII")},
                    {"encoding", declared("UTF-16") + "|" + utf16(mark + declared("UTF-8"))},
                    {"not well-formed", typesXml("\xFF")}},
                   openWithTypes);
}

TEST(PackageReadTest, NamesOfPartsHaveALimit) {
    FakePhysicalPackage physical(packageOf(typesXml(), "123.xml|longer.stray"));
    physical.limit.maxNameLength = 8;
    Package package(physical);
    EXPECT_NO_THROW(package.open(OpenMode::Update));
    const StandardPartInfo info(interfaces::CompressionType::None, 0);
    const auto create = [&](const PartName& name) { package.createPart(name, ContentType(u"a/b"), info); };
    EXPECT_NO_THROW(create(PartName(u"/1234567")));
    expectFailure(ErrorKind::LimitExceeded, {"'/12345678'", "maxNameLength", "8"},
                  [&] { create(PartName(u"/12345678")); });
    package.revert();
    physical.limit.maxNameLength = 7;
    expectFailure(ErrorKind::LimitExceeded, {"'/123.xml'", "7"}, [&] { package.open(OpenMode::ReadOnly); });
}

TEST(PackageReadTest, PackageXmlHasALimitThatIsCheckedBeforeReading) {
    FakePhysicalPackage physical(smallPackage());
    physical.limit.maxPackageXmlSize = 20;
    expectFailure(ErrorKind::LimitExceeded, {"[Content_Types].xml", "maxPackageXmlSize", "20"},
                  [&] { Package(physical).open(OpenMode::ReadOnly); });
    EXPECT_EQ(0, physical.reads);
}

TEST(PackageReadTest, PutsCompletePiecesTogether) {
    Entries entries = packageOf(typesXml(), "x.xml/[1].piece|X.XML/[0].Piece|gap.xml/[0].piece|gap.xml/[2].last.piece|"
                                            "open.xml/[0].piece|zero.xml/[00].last.piece|x.xml/[2].LAST.piece|"
                                            "two.xml/[1].last.piece|two.xml/[0].piece");
    entries[0].first += "/[0].last.piece";
    for (int number = 0; number != 12; ++number) {
        entries.emplace_back("many.xml/[" + std::to_string(number) + (number == 11 ? "].last.piece" : "].piece"), "");
    }
    TestPackage package(entries);
    EXPECT_EQ("/x.xml /two.xml /many.xml ", namesOf(package));
    EXPECT_EQ("two.xml/[0].piecetwo.xml/[1].last.piece", textOf(package.part(u"/two.xml")));
    package.remove(u"/many.xml");
    const Part part = package.part(u"/x.xml");
    EXPECT_EQ("X.XML/[0].Piecex.xml/[1].piecex.xml/[2].LAST.piece", textOf(part));
    EXPECT_EQ(50U, part.getSize());
    EXPECT_EQ(53U, part.getStoredSize());
    write(part, "whole");
    package.close();
    EXPECT_EQ(" =[Content_Types].xml/[0].last.piece +x.xml =gap.xml/[0].piece =gap.xml/[2].last.piece "
              "=open.xml/[0].piece =zero.xml/[00].last.piece =two.xml/[0].piece =two.xml/[1].last.piece",
              package.physical.log);
}

}  // namespace
}  // namespace opc::model
