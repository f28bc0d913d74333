#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/model/PartNotFound.hpp"
#include "platform/opc/modelTesting.hpp"

#include <chrono>

namespace opc::model {
namespace {

using namespace testing;
using interfaces::OpenMode;

/// The failure of opening `items`; nothing when they open.
std::optional<std::pair<ErrorKind, std::string>> openFailure(const Items& items) {
    FakePhysicalPackage physical(items);
    Package package(physical);
    auto failure = failureOf([&] { package.open(OpenMode::ReadOnly); });
    EXPECT_EQ(!failure, physical.isOpen);
    return failure;
}

void expectOpenFailure(const Items& items, ErrorKind kind, const std::vector<std::string>& pieces) {
    const auto failure = openFailure(items);
    expectFailure(kind, pieces, [&] {
        if (failure) {
            throw Exception(failure->first, failure->second);
        }
    });
}

std::vector<std::string> namesOf(const std::vector<Part>& parts) {
    std::vector<std::string> names;
    for (const Part& part : parts) {
        names.push_back(part.getName().ascii());
    }
    return names;
}

std::string utf16(const std::string& ascii, const std::string& start, bool bigEndian) {
    std::string text = start;
    for (const char c : ascii) {
        text += bigEndian ? std::string(1, '\0') + c : c + std::string(1, '\0');
    }
    return text;
}

TEST(PackageReadTest, FindsPartsByNameAndRelationship) {
    FakePhysicalPackage physical(smallPackage());
    Package package(physical);
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ((std::vector<std::string>{"/b.xml", "/docs/a.xml"}), namesOf(package.getParts()));
    const Part part = package.getPart(PartName(package.getRelationshipsByType(u"t:doc").at(0).getTargetURI()));
    EXPECT_EQ("A", contentOf(part));
    EXPECT_EQ(1U, part.getSize());
    EXPECT_EQ(u"text/xml", part.getContentType().toString());
    const Relationship further = part.getRelationships(ExcludeMode::None).at(0);
    EXPECT_EQ(u"../b.xml", further.getTarget());
    EXPECT_EQ("B", contentOf(package.getPart(PartName(further.getTargetURI()))));
    EXPECT_EQ("/b.xml", package.getPart(partName("/B.XML")).getName().ascii());
    EXPECT_TRUE(package.getRelationshipsByType(u"T:doc").empty());
    for (const char* name : {"/none", "/_rels/.rels", "/docs/_rels/a.xml.rels", "/stray"}) {
        EXPECT_THROW(package.getPart(partName(name)), PartNotFound) << name;
    }
}

TEST(PackageReadTest, HandlesOfAClosedPackageRefuse) {
    FakePhysicalPackage physical(smallPackage());
    std::optional<Package> package(std::in_place, physical);
    expectFailure(ErrorKind::Misuse, {"fake.tqx", "is not open"}, [&] { package->getParts(); });
    package->open(OpenMode::Update);
    expectFailure(ErrorKind::Misuse, {"is open already"}, [&] { package->open(OpenMode::ReadOnly); });
    Part part = package->getPart(partName("/b.xml"));
    const auto relationship = package->getRelationships(ExcludeMode::None).at(0);
    const auto stream = part.getOutputStream();
    package->revert();
    package->open(OpenMode::ReadOnly);  // which is no return to life for handles of before
    expectFailure(ErrorKind::Misuse, {"is not open"}, [&] { part.getInputStream(); });
    package.reset();
    EXPECT_FALSE(physical.isOpen);
    stream->write("x", 1);
    expectFailure(ErrorKind::Misuse, {"is not open"}, [&] { part.getRelationships(ExcludeMode::None); });
    EXPECT_EQ(u"/docs/a.xml", relationship.getTargetURI().toString());
}

TEST(PackageReadTest, RefusesMalformedContentTypes) {
    const std::string rel = R"(<Default Extension="rels" ContentType=")" + kRelationshipsType + "\"/>";
    const struct {
        std::string xml;
        std::vector<std::string> pieces;
    } cases[] = {
        {"", {"line 1"}},
        {"<Types/>", {"unexpected element 'Types'"}},
        {kTypesStart + "<Types>", {"'Types'"}},
        {kTypesStart + "\n<Default Extension='x'/></Types>", {"line 2", "no 'ContentType'"}},
        {kTypesStart + "<Default ContentType='a/b'/></Types>", {"no 'Extension'"}},
        {kTypesStart + "<Default Extension='.x' ContentType='a/b'/></Types>", {"no extension"}},
        {kTypesStart + "<Default Extension='x' ContentType='a'/></Types>", {"content type 'a'"}},
        {kTypesStart + "<Override PartName='x' ContentType='a/b'/></Types>", {"no part name"}},
        {kTypesStart + "<Override ContentType='a/b'/></Types>", {"no 'PartName'"}},
        {kTypesStart + "<Other/></Types>", {"unexpected element 'Other'"}},
        {kTypesStart + "<f:Other xmlns:f='f'/></Types>", {"unexpected element 'Other'"}},
        {kTypesStart + "text</Types>", {"unexpected text"}},
        {kTypesStart + rel + "<Default Extension='RELS' ContentType='a/b'/></Types>", {"M2.5"}},
        {typesXml("<Override PartName='/A' ContentType='a/b'/><Override PartName='/a' ContentType='a/b'/>"), {"M2.6"}},
        {typesXml("<Default Extension='y' ContentType='a/b' Extra=''/>"), {"unknown attribute 'Extra'"}},
        {typesXml("<Default Extension='y' ContentType='a/b' xml:lang='de'/>"), {"M1.21"}},
        {typesXml("<Default Extension='y' ContentType='a/b'><a/></Default>"), {"unexpected element 'a'"}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.xml);
        std::vector<std::string> pieces = {"fake.tqx", "'/[Content_Types].xml', line "};
        pieces.insert(pieces.end(), each.pieces.begin(), each.pieces.end());
        expectOpenFailure({{"[Content_Types].xml", each.xml}}, ErrorKind::Damaged, pieces);
    }
    expectOpenFailure({{"a.xml", ""}}, ErrorKind::Damaged, {"[Content_Types].xml", "missing"});
    EXPECT_FALSE(openFailure({{"[content_types].XML", typesXml("<Default Extension='y' ContentType='a/b' f:x='' "
                                                               "xmlns:f='f'/>")}}));
}

TEST(PackageReadTest, ContentTypeOfAPart) {
    FakePhysicalPackage physical({{"[Content_Types].xml", typesXml("<Override PartName='/D/a.xml' ContentType='o/o'/>"
                                                                   "<Override PartName='/plain' ContentType='p/p'/>")},
                                  {"d/A.xml", ""},
                                  {"d.xml/plain", ""},
                                  {"plain", ""},
                                  {"x.y.XML", ""},
                                  {"x.y", ""},
                                  {"not a name.xml", ""},
                                  {"\xC3\xA4.xml", ""}});
    Package package(physical);
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ((std::vector<std::string>{"/d/A.xml", "/plain", "/x.y.XML"}), namesOf(package.getParts()));
    EXPECT_EQ(u"o/o", package.getPart(partName("/d/a.xml")).getContentType().toString());
    EXPECT_EQ(u"text/xml", package.getPart(partName("/x.y.xml")).getContentType().toString());
}

TEST(PackageReadTest, RefusesNamesThatDeriveFromOthers) {
    const std::string types = typesXml("<Default Extension='x' ContentType='a/b'/><Override PartName='/a' "
                                       "ContentType='a/b'/>");
    for (const auto& [first, second] : std::vector<std::pair<std::string, std::string>>{
             {"a", "A/b.xml"}, {"a/b/c.xml", "a"}, {"q.x", "q.x/r/s.xml"}}) {
        expectOpenFailure({{"[Content_Types].xml", types}, {first, ""}, {"a.x", ""}, {second, ""}}, ErrorKind::Damaged,
                          {"M1.11", "'/" + second + "'"});
    }
    EXPECT_FALSE(openFailure({{"[Content_Types].xml", types}, {"a", ""}, {"ab/c.xml", ""}, {"a.xml", ""}}));
}

TEST(PackageReadTest, RefusesMalformedRelationships) {
    const struct {
        std::string inner;
        std::vector<std::string> pieces;
    } cases[] = {
        {"<Relationship Type='t' Target='x'/>", {"no 'Id'"}},
        {"<Relationship Id='' Type='t' Target='x'/>", {"no 'Id'"}},
        {"<Relationship Id='1' Type='t' Target='x'/>", {"no NCName"}},
        {"<Relationship Id='a:b' Type='t' Target='x'/>", {"no NCName"}},
        {"<Relationship Id=' a' Type='t' Target='x'/>", {"no NCName"}},
        {"<Relationship Id='a' Target='x'/>", {"no 'Type'"}},
        {"\n\n<Relationship Id='a' Type='t'/>", {"line 3", "no 'Target'"}},
        {"<Relationship Id='a' Type='t' Target='x' TargetMode='external'/>", {"target mode 'external'"}},
        {"<Relationship Id='a' Type='t' Target='x' TargetMode=''/>", {"target mode ''"}},
        {"<Relationship Id='a' Type='t' Target='x' Other=''/>", {"'Other'"}},
        {"<Relationship Id='a' Type='t' Target='x' xml:base='/y'/>", {"'base'", "M1.21"}},
        {relationshipXml("a", "t", "x") + relationshipXml("a", "u", "y"), {"'a' is there twice"}},
        {"<Relationship Id='a' Type='t' Target='x'><Relationship/></Relationship>", {"unexpected element"}},
        {"<Other/>", {"unexpected element 'Other'"}},
        {"stray", {"unexpected text"}},
        {"<Relationship Id='a' Type='t' Target='x'", {"column"}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.inner);
        std::vector<std::string> pieces = {"fake.tqx", "'/_rels/.rels', line "};
        pieces.insert(pieces.end(), each.pieces.begin(), each.pieces.end());
        expectOpenFailure({{"[Content_Types].xml", typesXml()}, {"_rels/.rels", relationshipsXml(each.inner)}},
                          ErrorKind::Damaged, pieces);
    }
    expectOpenFailure({{"[Content_Types].xml", kTypesStart + "</Types>"}, {"_rels/.rels", relationshipsXml("")}},
                      ErrorKind::Damaged, {"'/_rels/.rels'", "content type"});
    EXPECT_FALSE(openFailure(
        {{"[Content_Types].xml", typesXml()},
         {"_rels/.rels",
          relationshipsXml(
              "<Relationship Id='_\xC3\xA4.-1' Type='t' Target='' f:x='' xmlns:f='f'>any text</Relationship>")}}));
}

TEST(PackageReadTest, AMalformedRelationshipsPartFailsItsSourceOnly) {
    Items items = smallPackage();
    items[4].second = "<not-xml";
    FakePhysicalPackage physical(items);
    Package package(physical);
    package.open(OpenMode::Update);
    Part part = package.getPart(partName("/docs/a.xml"));
    EXPECT_EQ("A", contentOf(part));
    EXPECT_THROW(part.getRelationships(ExcludeMode::None), InvalidXMLDocument);
    expectFailure(ErrorKind::Damaged, {"'/docs/_rels/a.xml.rels', line 1, column"},
                  [&] { part.createExternalRelationship(u"t", u"x", u""); });
}

TEST(PackageReadTest, TargetsFailWhenFollowedOnly) {
    FakePhysicalPackage physical(
        {{"[Content_Types].xml", typesXml()},
         {"d/s.xml", ""},
         {"d/_rels/s.xml.rels",
          relationshipsXml(relationshipXml("up", "t", "../../../x.xml#part%20two") + relationshipXml("self", "t", "") +
                           relationshipXml("bad", "t", "%zz") +
                           "<Relationship Id='out' Type='t' Target='../x y' TargetMode='External'/>")}});
    Package package(physical);
    package.open(OpenMode::ReadOnly);
    const Part part = package.getPart(partName("/d/s.xml"));
    const auto all = part.getRelationships(ExcludeMode::None);
    EXPECT_EQ(u"/x.xml#part%20two", all.at(0).getTargetURI().toString());
    EXPECT_EQ(u"/d/s.xml", all.at(1).getTargetURI().toString());
    expectFailure(ErrorKind::Damaged, {"fake.tqx", "'bad'", "'/d/s.xml'", "%zz"}, [&] { all.at(2).getTargetURI(); });
    EXPECT_EQ(u"../x%20y", all.at(3).getTargetURI().toString());
    EXPECT_EQ(u"../x y", all.at(3).getTarget());
    EXPECT_EQ(1U, part.getRelationships(ExcludeMode::Internal).size());
    EXPECT_EQ(3U, part.getRelationships(ExcludeMode::External).size());
}

TEST(PackageReadTest, EncodingsOfPackageXml) {
    const std::string plain = typesXml();
    const std::string utf8Bom = "\xEF\xBB\xBF";
    const auto declared = [](const std::string& encoding) {
        return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>";
    };
    for (const std::string& xml :
         {plain, utf8Bom + plain, declared("utf-8") + plain, utf16(plain, "\xFF\xFE", false),
          utf16(declared("UTF-16") + plain, "\xFE\xFF", true), utf16(declared("UTF-16") + plain, "", false)}) {
        EXPECT_FALSE(openFailure({{"[Content_Types].xml", xml}})) << xml;
    }
    for (const std::string& xml :
         {declared("ISO-8859-1") + plain, declared("windows-1252") + plain, declared("US-ASCII") + plain,
          declared("UTF-16") + plain, utf16(declared("UTF-8") + plain, "\xFF\xFE", false), plain + "\xFF"}) {
        expectOpenFailure({{"[Content_Types].xml", xml}}, ErrorKind::Damaged, {"'/[Content_Types].xml', line 1"});
    }
}

TEST(PackageReadTest, RefusesDocumentTypesAndEndlessNesting) {
    const std::string laughs = "<!DOCTYPE a [<!ENTITY a 'ha'><!ENTITY b '&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;'>]>";
    for (const std::string& doctype :
         {laughs, std::string("<!DOCTYPE Types SYSTEM \"file:///etc/passwd\">"), std::string("<!DOCTYPE Types>")}) {
        expectOpenFailure({{"[Content_Types].xml", doctype + typesXml()}}, ErrorKind::Damaged,
                          {"line 1", "document type declaration"});
        expectOpenFailure({{"[Content_Types].xml", typesXml()}, {"_rels/.rels", doctype + relationshipsXml("")}},
                          ErrorKind::Damaged, {"'/_rels/.rels'", "document type declaration"});
    }
    std::string deep;
    for (int i = 0; i != 1000000; ++i) {
        deep += "<Types>";
    }
    expectOpenFailure({{"[Content_Types].xml", deep}}, ErrorKind::Damaged, {"unexpected element"});
    expectOpenFailure({{"[Content_Types].xml", kTypesStart + "&none;</Types>"}}, ErrorKind::Damaged, {"undefined"});
}

TEST(PackageReadTest, PackageXmlHasALimitThatIsCheckedBeforeReading) {
    FakePhysicalPackage physical(smallPackage());
    physical.limit.maxPackageXmlSize = 20;
    Package package(physical);
    expectFailure(ErrorKind::LimitExceeded, {"[Content_Types].xml", "maxPackageXmlSize", "20"},
                  [&] { package.open(OpenMode::ReadOnly); });
    EXPECT_EQ(0, physical.reads);
}

TEST(PackageReadTest, PutsCompletePiecesTogether) {
    FakePhysicalPackage physical({{"x.xml/[1].piece", "two"},
                                  {"[content_types].xml/[0].last.piece", typesXml()},
                                  {"X.XML/[0].Piece", "one"},
                                  {"gap.xml/[0].piece", ""},
                                  {"gap.xml/[2].last.piece", ""},
                                  {"open.xml/[0].piece", ""},
                                  {"zero.xml/[00].last.piece", ""},
                                  {"x.xml/[2].LAST.piece", "three"}});
    Package package(physical);
    package.open(OpenMode::Update);
    EXPECT_EQ((std::vector<std::string>{"/x.xml"}), namesOf(package.getParts()));
    Part part = package.getPart(partName("/x.xml"));
    EXPECT_EQ("onetwothree", contentOf(part));
    EXPECT_EQ(11U, part.getSize());
    write(part, "whole");
    package.close();
    EXPECT_EQ((std::vector<std::string>{"=[content_types].xml/[0].last.piece", "+x.xml", "=gap.xml/[0].piece",
                                        "=gap.xml/[2].last.piece", "=open.xml/[0].piece", "=zero.xml/[00].last.piece"}),
              physical.log);
    expectOpenFailure({{"[Content_Types].xml", typesXml()}, {"x.xml", ""}, {"x.xml/[0].last.piece", ""}},
                      ErrorKind::Damaged, {"M1.12"});
}

// Doubling the input must not quadruple the time. Bounds are generous: they are to catch minutes, not jitter.
TEST(PackageReadTest, LargeInputTakesLinearTime) {
    const auto start = std::chrono::steady_clock::now();
    std::string longName = "a";
    std::string relationships;
    std::string overrides;
    for (int i = 0; i != 16000; ++i) {
        longName += "/a";
        relationships += relationshipXml("rId" + std::to_string(i + 1), "t", "x");
        overrides +=
            "<Override PartName='/p" + std::to_string(i) + "' ContentType='a/b;" + "p=" + std::to_string(i) + "'/>";
    }
    Items items = {{"[Content_Types].xml", typesXml(overrides)}, {"_rels/.rels", relationshipsXml(relationships)}};
    for (int i = 0; i != 16000; ++i) {
        items.emplace_back(i < 10 ? longName + std::to_string(i) + ".xml" : "p" + std::to_string(i), "");
    }
    FakePhysicalPackage physical(items);
    Package package(physical);
    package.open(OpenMode::Update);
    for (int i = 0; i != 10000; ++i) {
        package.createInternalRelationship(u"new", URI(u"y"), u"");
        create(package, "/new" + std::to_string(i));
    }
    for (int i = 0; i != 10000; ++i) {
        package.deleteRelationship(u"rId" + fl::i18n::to_ustring(std::to_string(i + 1)));
        package.deletePart(partName("/new" + std::to_string(i)));
    }
    package.close();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
}  // namespace opc::model
