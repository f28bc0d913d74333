#include "kit/compare/Merge.hpp"

#include "kit/KitTesting.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/package/PackageContent.hpp"
#include "opc/ByteArrayInAdaptor.hpp"

#include <gtest/gtest.h>

namespace flowbook::kit::testing {
namespace {

using support::Book;
using support::Bytes;
using support::Lines;

using Change = std::function<void(FlowbookFileWriter&)>;

Change code(const std::string& text) {
    return [text](FlowbookFileWriter& writer) { writer.setTARMICCode(std::u16string(text.begin(), text.end())); };
}

Change title(const std::u16string& text) {
    return [text](FlowbookFileWriter& writer) { writer.setTitle(text); };
}

Change secret(const std::string& text) {
    return [text](FlowbookFileWriter& writer) {
        const Bytes bytes = support::bytes(text);
        opc::ByteArrayInAdaptor stream(bytes);
        writer.setEncryptedRichTARMICCode(stream);
    };
}

Change rich(const std::string& body, const Lines& images = {}) {
    return [body, images](FlowbookFileWriter& writer) {
        Bytes content = support::bytes(richCode(body));
        Lines copy = images;
        writer.write(FlowbookFilePackage(content, copy));
    };
}

Change both(const Change& first, const Change& second) {
    return [=](FlowbookFileWriter& writer) { first(writer), second(writer); };
}

Book changed(Book book, const Change& change) {
    Book copy(book.get());
    copy.update(change);
    return copy;
}

MergeResult mergeOf(const Change& base, const Change& ours, const Change& theirs, Favour favour = Favour::None) {
    Book start;
    start.update(base);
    const Document ancestor = open(start);
    MergeOptions options;
    options.favour = favour;
    return merge(&ancestor, open(changed(start, ours)), open(changed(start, theirs)), options);
}

/// "title|code" behind what is in conflict.
std::string outcome(const MergeResult& result) {
    std::string text;
    for (const MergeConflict& conflict : result.conflicts) {
        text += conflict.what + "! ";
    }
    const Document merged(result.flowbook);
    const bool isEncrypted = merged.form() == CodeForm::Encrypted;
    return text + merged.properties().front().value.value_or("-") + "|" +
           (isEncrypted ? "secret " + support::text(merged.storedCode()) : support::text(merged.code()));
}

std::string paragraphs(const Lines& lines) {
    std::string body;
    for (const std::string& line : lines) {
        body += line[0] == '<' ? line : codeParagraph(line);
    }
    return body;
}

TEST(Merge, TakesBothSidesAndMarksConflicts) {
    const Change plain = code("a\nb\nc\nd\ne");
    const Change twoParagraphs = rich(paragraphs({"a", "b", "c", "d"}));
    const std::string prose = "<w:p><w:r><w:t>prose</w:t></w:r></w:p>";
    struct Case {
        Change base, ours, theirs;
        std::string expected;
    };
    const Case cases[] = {
        {plain, code("A\nb\nc\nd\ne"), code("a\nb\nc\nd\nE"), "-|A\nb\nc\nd\nE"},
        {plain, code("a\nX\nc\nd\ne"), code("a\nY\nc\nd\ne"),
         "code! -|a\n<<<<<<< ours\nX\n=======\nY\n>>>>>>> theirs\nc\nd\ne"},
        {plain, title(u"T"), code("x"), "T|x"},
        {title(u"S"), title(u"T"), title(u"U"), "title! T|"},
        {title(u"S"), [](FlowbookFileWriter&) {}, title(u"U"), "U|"},
        {plain, secret("1"), title(u"T"), "T|secret 1"},
        {plain, secret("1"), code("x"), "code! -|secret 1"},
        {secret("1"), secret("2"), secret("3"), "code! -|secret 2"},
        {twoParagraphs, rich(paragraphs({"A", "b", "c", "d"})), rich(paragraphs({"a", "b", prose, "c", "D"})),
         "-|A\nb\nc\nD"},
        {twoParagraphs, rich(paragraphs({"a", "X", "c", "d"})), rich(paragraphs({"a", "Y", "c", "d"})),
         "code! -|a\n<<<<<<< ours\nX\n=======\nY\n>>>>>>> theirs\nc\nd"},
        {rich(codeParagraph("a\nb\nc\nd")), rich(codeParagraph("A\nb\nc\nd")), rich(codeParagraph("a\nb\nc\nD")),
         "-|A\nb\nc\nD"},
        {plain, rich(paragraphs({"a", "b", prose, "c", "d", "e"})), code("a\nb\nc\nd\nE"), "-|a\nb\nc\nd\nE"},
        {twoParagraphs, rich(paragraphs({"&lt;", "b", "c", "d"})), rich(paragraphs({"a", "b", "c", "\\n"})),
         "-|<\nb\nc\n\\n"},
        {twoParagraphs, rich("<w:q/"), rich(paragraphs({"a"})), "code! malformed"},
    };
    for (const Case& each : cases) {
        const MergeResult result = mergeOf(each.base, each.ours, each.theirs);
        if (each.expected == "code! malformed") {
            EXPECT_EQ(result.conflicts.front().what, "code");
            continue;
        }
        EXPECT_EQ(outcome(result), each.expected);
    }
}

TEST(Merge, GivesConflictsToTheFavouredSide) {
    const Change base = both(code("a"), title(u"S")), ours = both(code("b"), title(u"T")),
                 theirs = both(code("c"), title(u"U"));
    EXPECT_EQ(outcome(mergeOf(base, ours, theirs, Favour::Ours)), "T|b");
    EXPECT_EQ(outcome(mergeOf(base, ours, theirs, Favour::Theirs)), "U|c");
    EXPECT_EQ(outcome(mergeOf(base, ours, theirs)), "code! title! T|<<<<<<< ours\nb\n=======\nc\n>>>>>>> theirs");
}

TEST(Merge, KeepsThePicturesOfBothSides) {
    const std::string one = "data:image/png;base64,AAEC", two = "data:image/png;base64,AAED";
    const MergeResult result = mergeOf(rich("<w:p/>"), rich("<w:p/>", {one}), rich("<w:p/>", {two}));
    EXPECT_TRUE(result.conflicts.empty());
    Book merged(result.flowbook);
    Lines found;
    for (const std::string& line : merged.inventory()) {
        if (line.find("image") != std::string::npos) {
            found.push_back(line);
        }
    }
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (Lines{"/media/image1.png image/png " + one, "/media/image2.png image/png " + two,
                            "/tarmic/document.xml rId1 image /media/image1.png",
                            "/tarmic/document.xml rId2 image /media/image2.png"}));
}

/// A flowbook whose code and one entry that is no part are this text.
Book withEntry(const Change& code, const std::string& text) {
    Book book;
    book.update(code);
    PackageContent content = readContent(open(book));
    content.others["loose"] = support::bytes(text);
    return Book(writeContent(content));
}

TEST(Merge, KeepsWhatItCannotMerge) {
    const Document base = open(withEntry(secret("1"), "1"));
    const MergeResult result = merge(&base, open(withEntry(secret("2"), "2")), open(withEntry(secret("3"), "3")));
    EXPECT_EQ(outcome(result), "code! entry loose! -|secret 2");
    PackageContent content = readContent(Document(result.flowbook));
    EXPECT_EQ(support::text(content.find(u"/tarmic/document-theirs1.xml")->content) +
                  support::text(content.others.at("loose")) + support::text(content.others.at("loose-theirs1")),
              "323");
    const MergeResult theirs = merge(&base, open(withEntry(secret("1"), "1")), open(withEntry(secret("1"), "3")));
    EXPECT_EQ(support::text(readContent(Document(theirs.flowbook)).others.at("loose")), "3");
}

/// A flowbook whose core properties have another element, set as it is in the text of the part.
Book withCreator(const Book& book, const std::string& creator) {
    PackageContent content = readContent(open(book));
    support::Bytes& core = content.find(u"/docProps/core.xml")->content;
    std::string xml = support::text(core);
    xml.insert(xml.rfind("</"), "<x:creator xmlns:x=\"http://purl.org/dc/elements/1.1/\">" + creator + "</x:creator>");
    core = support::bytes(xml);
    return Book(writeContent(content));
}

TEST(Merge, MergesEachProperty) {
    Book start;
    start.update(title(u"S"));
    const Book ours = changed(start, title(u"T"));
    const Document base = open(start);
    const MergeResult taken = merge(&base, open(ours), open(withCreator(start, "C")));
    EXPECT_EQ(outcome(taken), "T|");
    EXPECT_NE(contentDigest(Document(taken.flowbook)), contentDigest(open(ours)));
    const MergeResult both = merge(&base, open(withCreator(ours, "D")), open(withCreator(start, "C")));
    ASSERT_EQ(outcome(both), "creator! T|");
    EXPECT_EQ(both.conflicts.front().ours.value_or("") + both.conflicts.front().theirs.value_or(""), "DC");
    PackageContent content = readContent(Document(both.flowbook));
    EXPECT_EQ(support::text(content.find(u"/conflicts/properties.json")->content),
              "{\"creator\":{\"base\":null,\"ours\":\"D\",\"theirs\":\"C\",\"part\":\"/docProps/core.xml\","
              "\"element\":\"http://purl.org/dc/elements/1.1/|creator#0\","
              "\"xml\":\"<x:creator xmlns:x=\\\"http://purl.org/dc/elements/1.1/\\\">C</x:creator>\"}}");
}

TEST(Merge, OfOneSidesChangeIsThatSide) {
    Book start;
    start.update(both(rich(paragraphs({"a"}), {"data:image/gif;base64,AA=="}), title(u"T")));
    const Book other = changed(start, rich(paragraphs({"b"}), {"data:image/png;base64,AAEC"}));
    const Document base = open(start);
    for (const auto& [ours, theirs] : {std::make_pair(start, other), std::make_pair(other, start)}) {
        const MergeResult result = merge(&base, open(ours), open(theirs));
        EXPECT_TRUE(result.conflicts.empty());
        EXPECT_EQ(contentDigest(Document(result.flowbook)), contentDigest(open(other)));
    }
    EXPECT_TRUE(merge(nullptr, open(start), open(start)).conflicts.empty());
}

}  // namespace
}  // namespace flowbook::kit::testing
