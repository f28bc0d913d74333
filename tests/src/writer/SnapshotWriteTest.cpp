#include "support/Flowbooks.hpp"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <tuple>

namespace flowbook {
namespace {

using support::Book;
using support::Lines;
using support::longType;
using Part = FlowbookFilePackage::Part;
using Relationship = FlowbookFilePackage::Relationship;
using Work = std::function<void(FlowbookFileWriter&)>;

Part part(const std::u16string& name, const std::string& content, std::vector<Relationship> relationships = {}) {
    return {support::bytes(content), u"text/xml", name, std::move(relationships)};
}

Work write(std::vector<Part> parts, std::vector<Relationship> relationships = {}) {
    const FlowbookFilePackage snapshot(parts, relationships);
    return [snapshot](FlowbookFileWriter& writer) { writer.write(snapshot); };
}

TEST(SnapshotWrite, KeepsTheIdsOfInternalPartRelationshipsOnly) {
    const Book book;
    book.update(write({part(u"/media/image1.png", "png"), part(u"/empty.xml", ""),
                       part(u"/tarmic/document.xml", "doc",
                            {{u"x:i", u"http://example.com/x", u"ext8", false},  // gives way to the rId1 below
                             {u"x:i", u"../media/image1.png", u"img7", true},
                             {u"x:i", u"/empty.xml", u"rId1", true}})},
                      {{longType(u"document"), u"tarmic/document.xml", u"rId9", true},
                       {u"x:link", u"mailto:a@example.com", u"rId5", false},
                       {longType(u"output"), u"/empty.xml", u"mine", true}}));
    EXPECT_EQ(book.inventory(),
              (Lines{"/tarmic/document.xml text/xml doc", "/tarmic/document.xml rId2 x:i <http://example.com/x>",
                     "/tarmic/document.xml img7 x:i ../media/image1.png", "/tarmic/document.xml rId1 x:i /empty.xml",
                     "/media/image1.png text/xml png", "/empty.xml text/xml ", "/ rId1 document tarmic/document.xml",
                     "/ rId2 x:link <mailto:a@example.com>", "/ rId3 output /empty.xml"}));
}

TEST(SnapshotWrite, ReproducesWhatWasRead) {
    for (const std::string name : {"one_paragraph", "docx", "encrypted"}) {
        const Book book(name);
        const FlowbookFilePackage read = book.reader().read();
        book.update([&](FlowbookFileWriter& writer) { writer.write(read); });
        Lines expected = support::listing(read), found = support::listing(book.reader().read());
        expected.back() = found.back();  // the package relationship, which has a new id
        EXPECT_EQ(found, expected) << name;
    }
}

TEST(SnapshotWrite, DeletesTwoLevelsByRelationshipType) {
    const auto remove = [](const std::u16string& type) {
        return [type](FlowbookFileWriter& writer) { writer.deletePartByRelationshipType(longType(type)); };
    };
    const std::tuple<std::string, Work, Lines> cases[] = {
        {"graph",
         write({}),
         {"/media/deep.png image/png dep", "/other.xml text/xml oth", "/ rId4 http://example.com/other other.xml"}},
        {"shared", remove(u"output"), {"/ a document tarmic/document.xml"}},
        {"graph", remove(u"unused"), Book("graph").inventory()},
        {"docx",
         write({}),
         {"/notes/readme.txt text/plain kept as it is", "/ rId2 http://example.com/notes notes/readme.txt"}},
        {"two_documents", write({}), {}},
        {"external_image", write({}), {}},
        {"dangling_image", write({}), {}},
    };
    for (const auto& [name, work, kept] : cases) {
        const Book book(name);
        book.update(work);
        const Lines found = book.inventory();
        EXPECT_TRUE(std::is_permutation(kept.begin(), kept.end(), found.begin(), found.end()))
            << name << testing::PrintToString(found);
    }
}

TEST(SnapshotWrite, FailsWithoutTouchingTheFile) {
    const std::pair<std::string, Work> cases[] = {
        {"graph", write({part(u"/a.xml", "a"), part(u"/other.xml", "survives")})},
        {"graph", write({part(u"/media/image1.PNG", "a"), part(u"/media/image1.png", "b")})},
        {"graph", write({{{}, u"no type", u"/a.xml", {}}})},
        {"graph", write({part(u"/a.xml", "a", {{u"x", u"/b", u"id", true}, {u"y", u"/b", u"id", true}})})},
        {"graph", write({}, {{u"x", u"%zz", u"", true}})},
        {"shared", write({})},  // the second type leads to a part that is gone by then
        {"dangling", write({})},
        {"external", write({})},
    };
    for (const auto& [name, work] : cases) {
        const Book book(name);
        FlowbookFileWriter writer = book.writer();
        EXPECT_PRED2(support::matches, "opc::*",
                     support::outcome([&, &work = work] { return work(writer), "written"; }))
            << name;
        writer.close(true);
        EXPECT_EQ(book.get(), support::fixture(name)) << name;
    }
}

}  // namespace
}  // namespace flowbook
