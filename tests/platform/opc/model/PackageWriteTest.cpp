#include "opc/model/PackageHelper.hpp"
#include "platform/opc/model/PackageTesting.hpp"

#include <tuple>

namespace opc::model {
namespace {

using namespace tests;

TEST(PackageWriteTest, PlansOfACommit) {
    const std::tuple<const char*, void (*)(TestPackage&), const char*> cases[] = {
        {"nothing but reading and an empty deletion",
         [](TestPackage& package) {
             package.deleteRelationshipsByType(u"none");
             textOf(package.part(u"/b.xml"));
         },
         ""},
        {"new content and a new relationship",
         [](TestPackage& package) {
             write(package.part(u"/b.xml"), "new");
             package.part(u"/docs/a.xml").createInternalRelationship(u"t", URI(u"b"), u"");
         },
         " =[Content_Types].xml =_rels/.rels =docs/a.xml +docs/_rels/a.xml.rels +b.xml =stray"},
        {"a new part with a relationship, and another part's last one deleted",
         [](TestPackage& package) {
             package.create(u"/n.bin").createExternalRelationship(u"t", u"http://x/", u"");
             package.part(u"/docs/a.xml").deleteRelationship(u"x1");
         },
         " +[Content_Types].xml =_rels/.rels =docs/a.xml =b.xml =stray +n.bin +_rels/n.bin.rels"},
        {"another first target, descriptive ones aside",
         [](TestPackage& package) {
             package.deleteRelationship(u"rId1");
             package.createInternalRelationship(u"http://schemas.pellarion.com/package/2013/relationships/properties",
                                                URI(u"docs/a.xml"), u"");
             package.createExternalRelationship(u"t", u"docs/a.xml", u"");
             package.createInternalRelationship(u"t", URI(u"gone.xml"), u"");
             package.createInternalRelationship(u"t", URI(u"b.xml"), u"");
         },
         " =[Content_Types].xml +_rels/.rels =b.xml =docs/a.xml =docs/_rels/a.xml.rels =stray"},
        {"a part deleted and made anew",
         [](TestPackage& package) {
             package.remove(u"/DOCS/a.xml");
             EXPECT_TRUE(package.create(u"/docs/a.xml").getRelationships(ExcludeMode::None).empty());
         },
         " +[Content_Types].xml =_rels/.rels +docs/a.xml =b.xml =stray"},
        {"all relationships and parts deleted, but not by a part's relationships to itself",
         [](TestPackage& package) {
             for (const char16_t* self : {u"", u"#here", u"A.xml", u"/docs/a.XML#x"}) {
                 package.part(u"/docs/a.xml").createInternalRelationship(u"self", URI(self), u"");
             }
             PackageHelper::deleteRelationshipsAndTargets(package, package.part(u"/docs/a.xml"), u"self");
             PackageHelper::deleteRelationshipsAndTargets(package, package.part(u"/docs/a.xml"), u"t:b");
             PackageHelper::deleteRelationshipsAndTargets(package, u"t:doc");
         },
         " =[Content_Types].xml =stray"},
    };
    for (const auto& [what, change, log] : cases) {
        TestPackage package(smallPackage());
        change(package);
        package.close();
        EXPECT_EQ(log, package.physical.log) << what;
    }
}

TEST(PackageWriteTest, ANewPackage) {
    TestPackage package({});
    package.createInternalRelationship(u"t:doc", PartName(u"/d/doc.xml").getURI(), u"");
    package.create(u"/first.bin");
    package.create(u"/d/doc.xml").createExternalRelationship(u"t:&<\"'\t", u"a\r\n\u00e4", u"id");
    package.close();
    EXPECT_EQ(" +[Content_Types].xml +_rels/.rels +d/doc.xml +d/_rels/doc.xml.rels +first.bin", package.physical.log);
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(u"application/x", package.part(u"/d/doc.xml").getContentType().toString());
    const Relationship kept = package.part(u"/d/doc.xml").getRelationships(ExcludeMode::None).at(0);
    EXPECT_EQ(u"t:&<\"'\t", kept.getType());
    EXPECT_EQ(u"a\r\n\u00e4", kept.getTarget());
    EXPECT_EQ(TargetMode::External, kept.getTargetMode());
}

// What a caller does to give a part another content type.
TEST(PackageWriteTest, RelationshipsAreTakenOverToAPartMadeAnew) {
    const std::string listed = relationshipXml("rId2", "t", "../a%20b%5B1%5D.xml#c") + relationshipXml("x", "t", "") +
                               "<Relationship Id=\"e\" Type=\"t\" Target=\" h:%zz\" TargetMode=\"External\"/>";
    Entries entries = smallPackage();
    entries[4].second = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)" + relationshipsXml(listed);
    TestPackage package(entries);
    const auto old = package.part(u"/docs/a.xml").getRelationships(ExcludeMode::None);
    package.remove(u"/docs/a.xml");
    Part part = package.create(u"/docs/a.xml", u"text/xml;a=b");
    for (const Relationship& each : old) {
        if (each.getTargetMode() == TargetMode::Internal) {
            part.createInternalRelationship(each.getType(), URI(each.getTarget()), each.getID());
        } else {
            part.createExternalRelationship(each.getType(), each.getTarget(), each.getID());
        }
    }
    package.close();
    EXPECT_EQ(entries[4].second, textOf(package.physical.content, "docs/_rels/a.xml.rels"));
}

TEST(PackageWriteTest, ContentTypesKeepTheirOrderAndLoseDeletedParts) {
    const std::string png = R"(<Default Extension="png" ContentType="image/png"/>)";
    const std::string types = typesXml("<Override PartName='/A.xml' ContentType='o/o'/>" + png);
    TestPackage package(packageOf(types, "a.xml"));
    package.remove(u"/a.xml");
    package.create(u"/same.xml", u"text/xml");
    package.create(u"/other.xml", u"text/plain");
    package.close();
    EXPECT_EQ(R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)" +
                  typesXml(png + R"(<Override PartName="/other.xml" ContentType="text/plain"/>)"),
              textOf(package.physical.content, "[Content_Types].xml"));
}

TEST(PackageWriteTest, RelationshipsPartsGetTheirContentTypeWhateverTheirDefault) {
    TestPackage package(packageOf(kTypesStart + R"(<Default Extension="rels" ContentType="a/b"/></Types>)", ""));
    package.createInternalRelationship(u"t", URI(u"x"), u"");
    package.close();
    package.open(OpenMode::Update);
    EXPECT_EQ(1U, package.getRelationships(ExcludeMode::None).size());
    package.deleteRelationshipsByType(u"t");
    package.close();
    EXPECT_EQ(std::string::npos, textOf(package.physical.content, "[Content_Types].xml").find("Override"));
}

TEST(PackageWriteTest, RefusedNamesOfNewParts) {
    TestPackage package(smallPackage());
    const auto create = [&](const std::string& name) { package.create(fl::i18n::to_ustring(name)); };
    expectRefusals(ErrorKind::Conflict, "fake.tqx", {{"there is a part of that name", "/B.XML"}, {"no part", "/stray"}},
                   create);
    expectRefusals(
        ErrorKind::Misuse, "fake.tqx",
        {{"M1.11", "/b.xml/c|/Docs"}, {"kept for relationships", "/_RELS/x.Rels|/docs/_rels/new.rels|/x/_rels"}},
        create);
    package.close();
    EXPECT_EQ("", package.physical.log) << "what was refused must leave nothing behind";
    package.open(OpenMode::Update);
    package.remove(u"/b.xml");
    EXPECT_NO_THROW(create("/b.xml/c"));
    package.remove(u"/docs/a.xml");
    EXPECT_NO_THROW(create("/docs")) << "the relationships part went with its source";
}

TEST(PackageWriteTest, IdsOfRelationships) {
    TestPackage package(smallPackage());
    const auto add = [&](const std::u16string& id) {
        return fl::i18n::to_string(package.createInternalRelationship(u"t", URI(u"x"), id).getID());
    };
    EXPECT_EQ("rId2", add(u""));
    EXPECT_EQ("rId3", add(u"rId3"));
    EXPECT_EQ("rId4", add(u""));
    expectFailure(ErrorKind::Conflict, {"'rId1'", "taken"}, [&] { add(u"rId1"); });
    expectFailure(ErrorKind::Misuse, {"'a b'", "NCName"}, [&] { add(u"a b"); });
    EXPECT_EQ("\xF0\x90\x80\x80\xF3\xAF\xBF\xBF", add(u"\U00010000\U000EFFFF"));
    for (const std::u16string none : {u"\xD800", u"\xD7FF\xDC00", u"\U000F0000", u"a\xD7FF\xD800z"}) {
        expectFailure(ErrorKind::Misuse, {"NCName"}, [&] { add(none); });
    }
    expectFailure(ErrorKind::Misuse, {"type"}, [&] { package.createInternalRelationship(u"", URI(u"x"), u""); });
    expectFailure(ErrorKind::Misuse, {"target"}, [&] { package.createExternalRelationship(u"t", u"a\1", u""); });
    package.deleteRelationship(u"rId4");
    expectFailure(ErrorKind::NotFound, {"'rId4'"}, [&] { package.deleteRelationship(u"rId4"); });
    package.deleteRelationshipsByType(u"t");
    EXPECT_EQ(1U, package.getRelationships(ExcludeMode::None).size());
}

TEST(PackageWriteTest, AHandleActsOnItsOwnRelationship) {
    TestPackage package(smallPackage());
    const auto add = [&](const char16_t* target, const std::u16string& id) {
        return package.createInternalRelationship(u"t", URI(target), id);
    };
    const Relationship first = add(u"first", u"");
    const Relationship second = add(u"second", first.getID());
    const auto present = [&] { return package.getRelationshipsByType(u"t").at(0).getID(); };
    EXPECT_EQ(u"rId2", second.getID());
    EXPECT_EQ(u"rId2", first.getID()) << "a handle keeps its id";
    EXPECT_EQ(u"rId3", present());
    expectFailure(ErrorKind::Misuse, {"target"}, [&] { package.createExternalRelationship(u"t", u"\1", u"rId3"); });
    EXPECT_EQ(u"rId3", present()) << "what was refused must change nothing";
    package.deleteRelationship(first);
    const Relationship third = add(u"third", u"rId3");
    expectFailure(ErrorKind::NotFound, {"'rId2'"}, [&] { package.deleteRelationship(first); });
    package.deleteRelationship(second);
    EXPECT_EQ(u"third", package.getRelationshipsByType(u"t").at(0).getTarget());
    EXPECT_EQ(2U, package.getRelationships(ExcludeMode::None).size());
}

TEST(PackageWriteTest, RelationshipsKeepTheirOrderThroughManyDeletions) {
    TestPackage package({});
    const auto numbered = [](char16_t letter, int i) { return letter + fl::i18n::to_ustring(std::to_string(i)); };
    std::u16string left;
    for (int i = 0; i != 100; ++i) {
        package.createInternalRelationship(numbered(u't', i % 7), URI(numbered(u'x', i)), numbered(u'i', i));
        left += i % 7 > 4 && i % 3 != 0 ? numbered(u'x', i) : u"";
    }
    for (int i = 0; i < 100; i += 3) {
        package.deleteRelationship(numbered(u'i', i));
    }
    for (int i = 0; i != 5; ++i) {
        package.deleteRelationshipsByType(numbered(u't', i));
    }
    std::u16string listed;
    for (const Relationship& each : package.getRelationships(ExcludeMode::None)) {
        listed += each.getTarget();
    }
    EXPECT_EQ(left, listed);
    EXPECT_EQ(0U, package.getRelationshipsByType(u"t4").size());
    package.deleteRelationshipsByType(u"t5");
    const std::vector<Relationship> rest = package.getRelationshipsByType(u"t6");
    EXPECT_EQ(package.getRelationships(ExcludeMode::None).size(), rest.size());
    const Relationship added = package.createInternalRelationship(u"t6", URI(u"last"), u"i1");
    for (const Relationship& each : rest) {
        package.deleteRelationship(each);
        EXPECT_THROW(package.deleteRelationship(each), Exception);
    }
    EXPECT_EQ(u"last", package.getRelationshipsByType(u"t6").at(0).getTarget());
    package.deleteRelationship(added);
    package.revert();
}

TEST(PackageWriteTest, AFailedFillLeavesTheFormerContent) {
    TestPackage package(smallPackage());
    Part part = package.part(u"/b.xml");
    for (const char* former : {"B", "pending"}) {
        EXPECT_THROW(
            {
                const auto out = part.getOutputStream();
                out->write("half", 4);
                throw std::bad_alloc();
            },
            std::bad_alloc);
        EXPECT_EQ(former, textOf(part));
        write(part, "pending");
        if (former == std::string("B")) {  // the handle then means the part that was made anew
            package.remove(u"/b.xml");
            write(package.create(u"/b.xml"), "pending");
        }
    }
}

TEST(PackageWriteTest, ContentOfAPartUnderWay) {
    TestPackage package(smallPackage());
    Part part = package.part(u"/b.xml");
    const auto before = part.getInputStream();
    const auto out = part.getOutputStream();
    out->write("ab", 2);
    const auto during = part.getInputStream();
    out->write("cd", 2);
    EXPECT_EQ(4U, part.getSize());
    EXPECT_EQ(0U, part.getStoredSize());
    part.getOutputStream();
    EXPECT_EQ("B", textOf(*before));
    char start[3] = {};
    EXPECT_EQ(3U, during->read(start, sizeof start));
    EXPECT_EQ("abc", std::string(start, sizeof start));
    EXPECT_EQ("d", textOf(*during));
    EXPECT_EQ(0U, during->read(start, sizeof start));
    package.close();
    EXPECT_EQ("", textOf(package.physical.content, "b.xml"));
}

TEST(PackageWriteTest, AReadOnlyPackageRefusesChanges) {
    TestPackage package(smallPackage(), OpenMode::ReadOnly);
    const auto refuses = [](auto change) { expectFailure(ErrorKind::Misuse, {"fake.tqx", "reading only"}, change); };
    refuses([&] { package.create(u"/n"); });
    refuses([&] { package.remove(u"/b.xml"); });
    refuses([&] { package.part(u"/b.xml").getOutputStream(); });
    refuses([&] { package.createInternalRelationship(u"t", URI(u"x"), u""); });
    refuses([&] { package.deleteRelationship(u"rId1"); });
    refuses([&] { package.deleteRelationshipsByType(u"t:doc"); });
    package.close();
    EXPECT_EQ("", package.physical.log);
}

TEST(PackageWriteTest, AFailedCommitCanBeTriedAgain) {
    TestPackage package(smallPackage());
    package.create(u"/n.bin").createInternalRelationship(u"t", URI(u"x"), u"");
    package.physical.limit.maxPackageXmlSize = 100;
    expectFailure(ErrorKind::LimitExceeded, {"maxPackageXmlSize"}, [&] { package.close(); });
    package.physical.limit = Limits();
    package.physical.failCommit = true;
    expectFailure(ErrorKind::InputOutput, {"disk full"}, [&] { package.close(); });
    package.physical.failCommit = false;
    EXPECT_EQ("", package.physical.log);
    package.close();
    EXPECT_EQ("new", textOf(package.physical.content, "n.bin"));
    EXPECT_NE(std::string::npos, textOf(package.physical.content, "_rels/n.bin.rels").find("rId1"));
}

}  // namespace
}  // namespace opc::model
