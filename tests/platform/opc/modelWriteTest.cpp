#include "opc/model/PackageHelper.hpp"
#include "opc/model/PartNotFound.hpp"
#include "platform/opc/modelTesting.hpp"

namespace opc::model {
namespace {

using namespace testing;
using interfaces::OpenMode;
using Log = std::vector<std::string>;

/// The commit that follows from `change` to a package of `items`.
Log commitLog(const Items& items, const std::function<void(Package&)>& change, Items* result = nullptr) {
    FakePhysicalPackage physical(items);
    Package package(physical);
    package.open(items.empty() ? OpenMode::Create : OpenMode::Update);
    change(package);
    package.close();
    if (result != nullptr) {
        *result = physical.content;
    }
    return physical.log;
}

TEST(PackageWriteTest, PlansOfACommit) {
    const struct {
        const char* what;
        std::function<void(Package&)> change;
        Log log;
    } cases[] = {
        {"nothing", [](Package&) {}, {}},
        {"nothing but reading and an empty deletion",
         [](Package& package) {
             package.deleteRelationshipsByType(u"none");
             contentOf(package.getPart(partName("/b.xml")));
         },
         {}},
        {"new content for a part",
         [](Package& package) { write(package.getPart(partName("/b.xml")), "new"); },
         {"=[Content_Types].xml", "=_rels/.rels", "=docs/a.xml", "+b.xml", "=docs/_rels/a.xml.rels", "=stray"}},
        {"a new part with a relationship",
         [](Package& package) { create(package, "/n.bin").createExternalRelationship(u"t", u"http://x/", u""); },
         {"+[Content_Types].xml", "=_rels/.rels", "=docs/a.xml", "=b.xml", "=docs/_rels/a.xml.rels", "=stray", "+n.bin",
          "+_rels/n.bin.rels"}},
        {"a relationship less, and none left",
         [](Package& package) { package.getPart(partName("/docs/a.xml")).deleteRelationship(u"x1"); },
         {"=[Content_Types].xml", "=_rels/.rels", "=docs/a.xml", "=b.xml", "=stray"}},
        {"a relationship more",
         [](Package& package) {
             package.getPart(partName("/docs/a.xml")).createInternalRelationship(u"t", URI(u"b"), u"");
         },
         {"=[Content_Types].xml", "=_rels/.rels", "=docs/a.xml", "+docs/_rels/a.xml.rels", "=b.xml", "=stray"}},
        {"another first target, descriptive ones aside",
         [](Package& package) {
             package.deleteRelationship(u"rId1");
             package.createInternalRelationship(u"http://schemas.pellarion.com/package/2013/relationships/properties",
                                                URI(u"docs/a.xml"), u"");
             package.createExternalRelationship(u"t", u"docs/a.xml", u"");
             package.createInternalRelationship(u"t", URI(u"gone.xml"), u"");
             package.createInternalRelationship(u"t", URI(u"b.xml"), u"");
         },
         {"=[Content_Types].xml", "+_rels/.rels", "=b.xml", "=docs/a.xml", "=docs/_rels/a.xml.rels", "=stray"}},
        {"a part deleted and made anew",
         [](Package& package) {
             package.deletePart(partName("/DOCS/a.xml"));
             EXPECT_TRUE(create(package, "/docs/a.xml").getRelationships(ExcludeMode::None).empty());
         },
         {"+[Content_Types].xml", "=_rels/.rels", "+docs/a.xml", "=b.xml", "=stray"}},
        {"all relationships and parts deleted",
         [](Package& package) {
             package.deletePart(partName("/docs/a.xml"));
             package.deletePart(partName("/b.xml"));
             package.deleteRelationshipsByType(u"t:doc");
         },
         {"=[Content_Types].xml", "=stray"}},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(each.log, commitLog(smallPackage(), each.change)) << each.what;
    }
}

TEST(PackageWriteTest, ANewPackage) {
    Items written;
    const auto change = [](Package& package) {
        package.createInternalRelationship(u"t:doc", PartName(u"/d/doc.xml").getURI(), u"");
        create(package, "/first.bin", "1");
        create(package, "/d/doc.xml", "2");
        package.getPart(partName("/d/doc.xml")).createExternalRelationship(u"t:&<\"'\t", u"a\r\n\u00e4", u"id");
    };
    EXPECT_EQ((Log{"+[Content_Types].xml", "+_rels/.rels", "+d/doc.xml", "+d/_rels/doc.xml.rels", "+first.bin"}),
              commitLog({}, change, &written));
    Items again;
    commitLog({}, change, &again);
    EXPECT_EQ(written, again) << "the same changes must give the same bytes";
    FakePhysicalPackage physical(written);
    Package package(physical);
    package.open(OpenMode::ReadOnly);
    const Part part = package.getPart(partName("/d/doc.xml"));
    EXPECT_EQ(u"application/x", part.getContentType().toString());
    const Relationship kept = part.getRelationships(ExcludeMode::None).at(0);
    EXPECT_EQ(u"t:&<\"'\t", kept.getType());
    EXPECT_EQ(u"a\r\n\u00e4", kept.getTarget());
    EXPECT_EQ(TargetMode::External, kept.getTargetMode());
}

TEST(PackageWriteTest, ContentTypesKeepTheirOrderAndLoseDeletedParts) {
    Items written;
    commitLog(
        {{"[Content_Types].xml", typesXml("<Override PartName='/A.xml' ContentType='o/o'/>"
                                          "<Default Extension='png' ContentType='image/png'/>")},
         {"a.xml", ""}},
        [](Package& package) {
            package.deletePart(partName("/a.xml"));
            for (const auto& [name, type] : {std::pair(u"/same.xml", u"text/xml"), {u"/other.xml", u"text/plain"}}) {
                package.createPart(PartName(name), ContentType(type),
                                   StandardPartInfo(interfaces::CompressionType::None, 0));
            }
        },
        &written);
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>" +
                  typesXml("<Default Extension=\"png\" ContentType=\"image/png\"/>"
                           "<Override PartName=\"/other.xml\" ContentType=\"text/plain\"/>"),
              written.at(0).second);
    EXPECT_EQ(3U, written.size());
}

TEST(PackageWriteTest, RelationshipsPartsGetTheirContentTypeWhateverTheirDefault) {
    Items written;
    commitLog(
        {{"[Content_Types].xml", kTypesStart + "<Default Extension='rels' ContentType='a/b'/></Types>"}},
        [](Package& package) { package.createInternalRelationship(u"t", URI(u"x"), u""); }, &written);
    FakePhysicalPackage physical(written);
    Package package(physical);
    package.open(OpenMode::Update);
    EXPECT_EQ(1U, package.getRelationships(ExcludeMode::None).size());
    package.deleteRelationshipsByType(u"t");
    package.close();
    EXPECT_EQ(std::string::npos, physical.text("[Content_Types].xml").find("Override"));
}

TEST(PackageWriteTest, RefusedNamesOfNewParts) {
    const struct {
        const char* name;
        ErrorKind kind;
        const char* reason;
    } cases[] = {
        {"/B.XML", ErrorKind::Conflict, "there is a part of that name"},
        {"/stray", ErrorKind::Conflict, "no part"},
        {"/b.xml/c", ErrorKind::Misuse, "M1.11"},
        {"/Docs", ErrorKind::Misuse, "M1.11"},
        {"/_RELS/x.Rels", ErrorKind::Misuse, "kept for relationships"},
        {"/docs/_rels/new.rels", ErrorKind::Misuse, "kept for relationships"},
        {"/x/_rels", ErrorKind::Misuse, "kept for relationships"},
    };
    FakePhysicalPackage physical(smallPackage());
    Package package(physical);
    package.open(OpenMode::Update);
    for (const auto& each : cases) {
        expectFailure(each.kind, {"fake.tqx", each.name, each.reason}, [&] { create(package, each.name); });
    }
    package.close();
    EXPECT_EQ(0, physical.commits) << "what was refused must leave nothing behind";
    package.open(OpenMode::Update);
    package.deletePart(partName("/docs/a.xml"));
    package.deletePart(partName("/b.xml"));
    create(package, "/b.xml/c");
    package.close();
}

TEST(PackageWriteTest, IdsOfRelationships) {
    FakePhysicalPackage physical(smallPackage());
    Package package(physical);
    package.open(OpenMode::Update);
    const auto add = [&](const std::u16string& id) {
        return fl::i18n::to_string(package.createInternalRelationship(u"t", URI(u"x"), id).getID());
    };
    EXPECT_EQ("rId2", add(u""));
    EXPECT_EQ("rId3", add(u"rId3"));
    EXPECT_EQ("rId4", add(u""));
    EXPECT_EQ("\u00e4", add(u"\u00e4"));
    expectFailure(ErrorKind::Conflict, {"'rId1'", "taken"}, [&] { add(u"rId1"); });
    for (const std::u16string& id : {std::u16string(u"1a"), std::u16string(u"a b"), std::u16string(1, u'\xD800')}) {
        expectFailure(ErrorKind::Misuse, {"NCName"}, [&] { add(id); });
    }
    expectFailure(ErrorKind::Misuse, {"type"}, [&] { package.createInternalRelationship(u"", URI(u"x"), u""); });
    expectFailure(ErrorKind::Misuse, {"target"}, [&] { package.createExternalRelationship(u"t", u"a\1", u""); });
    package.deleteRelationship(u"rId4");
    expectFailure(ErrorKind::NotFound, {"'rId4'"}, [&] { package.deleteRelationship(u"rId4"); });
    package.deleteRelationshipsByType(u"t");
    EXPECT_EQ(1U, package.getRelationships(ExcludeMode::None).size());
}

TEST(PackageWriteTest, ContentOfAPartUnderWay) {
    FakePhysicalPackage physical(smallPackage());
    Package package(physical);
    package.open(OpenMode::Update);
    Part part = package.getPart(partName("/b.xml"));
    const auto before = part.getInputStream();
    const auto out = part.getOutputStream();
    EXPECT_EQ("", contentOf(part));
    out->write("ab", 2);
    const auto during = part.getInputStream();
    out->write("cd", 2);
    EXPECT_EQ("abcd", contentOf(part));
    EXPECT_EQ(4U, part.getSize());
    EXPECT_EQ(0U, part.getStoredSize());
    part.getOutputStream();
    char text[5] = "";
    EXPECT_EQ(1U, before->read(text, 4));
    EXPECT_EQ('B', text[0]);
    EXPECT_EQ(4U, during->read(text, 4));
    EXPECT_EQ(0U, during->read(text, 4));
    package.close();
    EXPECT_EQ("", physical.text("b.xml"));
    EXPECT_FALSE(physical.isOpen);
}

TEST(PackageWriteTest, AReadOnlyPackageRefusesChanges) {
    FakePhysicalPackage physical(smallPackage());
    Package package(physical);
    package.open(OpenMode::ReadOnly);
    Part part = package.getPart(partName("/b.xml"));
    const std::function<void()> changes[] = {
        [&] { create(package, "/n"); },
        [&] { package.deletePart(partName("/b.xml")); },
        [&] { part.getOutputStream(); },
        [&] { package.createInternalRelationship(u"t", URI(u"x"), u""); },
        [&] { package.createExternalRelationship(u"t", u"x", u""); },
        [&] { package.deleteRelationship(u"rId1"); },
        [&] { package.deleteRelationshipsByType(u"t:doc"); },
    };
    for (const auto& change : changes) {
        expectFailure(ErrorKind::Misuse, {"fake.tqx", "for reading only"}, change);
    }
    package.close();
    EXPECT_EQ(0, physical.commits);
    EXPECT_FALSE(physical.isOpen);
}

TEST(PackageWriteTest, AFailedCommitCanBeTriedAgainOrReverted) {
    FakePhysicalPackage physical(smallPackage());
    Package package(physical);
    package.open(OpenMode::Update);
    create(package, "/n.bin").createInternalRelationship(u"t", URI(u"x"), u"");
    physical.failCommit = true;
    expectFailure(ErrorKind::InputOutput, {"disk full"}, [&] { package.close(); });
    EXPECT_TRUE(package.hasPart(partName("/n.bin")));
    physical.failCommit = false;
    package.close();
    EXPECT_EQ("new", physical.text("n.bin"));
    EXPECT_NE(std::string::npos, physical.text("_rels/n.bin.rels").find("rId1"));
}

TEST(PackageWriteTest, PackageXmlBeyondTheLimitIsNotWritten) {
    FakePhysicalPackage physical(smallPackage());
    physical.limit.maxPackageXmlSize = 1000;
    Package package(physical);
    package.open(OpenMode::Update);
    package.createExternalRelationship(u"t", std::u16string(1000, u'x'), u"");
    expectFailure(ErrorKind::LimitExceeded, {"'/_rels/.rels'", "maxPackageXmlSize"}, [&] { package.close(); });
    EXPECT_EQ(0, physical.commits);
}

TEST(PackageWriteTest, Backups) {
    const struct {
        OpenMode mode;
        bool change;
        bool remove;
        std::string reported;
    } cases[] = {
        {OpenMode::Update, true, false, "fake~"},
        {OpenMode::Update, true, true, ""},
        {OpenMode::Update, false, false, ""},
        {OpenMode::Create, true, false, ""},
    };
    for (const auto& each : cases) {
        FakePhysicalPackage physical(smallPackage());
        Package package(physical);
        std::string reported;
        CommitOptions options;
        options.removeBackup(each.remove);
        options.backupExtension(u"~");
        options.backupCreatedFcn([&](const std::u16string& name) {
            EXPECT_EQ(1, physical.commits);
            reported = fl::i18n::to_string(name);
        });
        package.open(each.mode);
        if (each.change) {
            create(package, "/n");
        }
        package.close(options);
        EXPECT_EQ(each.reported, reported);
        EXPECT_EQ(each.reported.empty() ? 0 : 1, physical.backups);
    }
}

TEST(PackageHelperTest, DeletesRelationshipsWithTheirTargets) {
    Items items = smallPackage();
    items[3].second = relationshipsXml(
        relationshipXml("a", "t", "docs/a.xml") + relationshipXml("again", "t", "docs/a.xml#x") +
        relationshipXml("gone", "t", "gone.xml") + relationshipXml("bad", "t", "%zz") +
        relationshipXml("u", "u", "b.xml") + "<Relationship Id='out' Type='t' Target='/b.xml' TargetMode='External'/>");
    items[4].second = relationshipsXml(relationshipXml("self", "t", "") + relationshipXml("b", "u", "/b.xml"));
    FakePhysicalPackage physical(items);
    Package package(physical);
    package.open(OpenMode::Update);
    PackageHelper::deleteRelationshipsAndTargets(package, u"none");
    PackageHelper::deleteRelationshipsAndTargets(package, package.getPart(partName("/docs/a.xml")), u"u");
    EXPECT_FALSE(package.hasPart(partName("/b.xml")));
    PackageHelper::deleteRelationshipsAndTargets(package, package.getPart(partName("/docs/a.xml")), u"t");
    EXPECT_FALSE(package.hasPart(partName("/docs/a.xml")));
    PackageHelper::deleteRelationshipsAndTargets(package, u"t");
    EXPECT_EQ(u"u", package.getRelationships(ExcludeMode::None).at(0).getID());
    package.close();
    EXPECT_EQ((Log{"=[Content_Types].xml", "+_rels/.rels", "=stray"}), physical.log);
}

}  // namespace
}  // namespace opc::model
