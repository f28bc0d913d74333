#include "kit/compare/Digest.hpp"

#include "kit/KitTesting.hpp"
#include "kit/compare/Differences.hpp"
#include "kit/compare/TextForm.hpp"
#include "opc/ByteArrayInAdaptor.hpp"

#include <gtest/gtest.h>

namespace flowbook::kit::testing {
namespace {

using Snapshot = FlowbookFilePackage;
using Parts = std::vector<Snapshot::Part>;
using Relationships = std::vector<Snapshot::Relationship>;

const std::string kPicture = "data:image/png;base64,AAEC";

support::Bytes makeBase() {
    const support::Book book = richBook(codeParagraph("a = 1"), {kPicture});
    book.update([](FlowbookFileWriter& writer) { writer.setTitle(u"T"); });
    return book.get();
}

/// The same at every call, the time of its creation included.
support::Book base() {
    static const support::Bytes content = makeBase();
    return support::Book(content);
}

/// A change of the snapshot of a book.
support::Book changed(const std::function<void(Parts&, Relationships&)>& change) {
    support::Book book = base();
    const Snapshot old = book.reader().read();
    Parts parts = old.getParts();
    Relationships relationships = old.getRelationships();
    change(parts, relationships);
    book.update([&](FlowbookFileWriter& writer) { writer.write(Snapshot(parts, relationships)); });
    return book;
}

std::string textOf(const support::Book& book) { return textForm(support::Book::kName, book.storage()); }
std::string digestOf(const support::Book& book) { return contentDigest(open(book)); }

TEST(Digest, AndTextFormTellContentsApart) {
    const support::Book book = base();
    const std::pair<std::string, support::Book> cases[] = {
        {"bytes of a part", changed([](Parts& parts, auto&) { parts.back().content.push_back(' '); })},
        {"a bit of a picture", changed([](Parts& parts, auto&) { parts[1].content.back() = 'D'; })},
        {"the form of a picture",
         changed([](Parts& parts, auto&) { parts[1].content = support::bytes("data:image/PNG;base64,AAEC"); })},
        {"a type", changed([](Parts& parts, auto&) { parts[1].contentType = u"image/jpeg"; })},
        {"an id", changed([](Parts& parts, auto&) { parts[0].relationships.front().id = u"rId9"; })},
        {"a target", changed([](Parts& parts, auto&) { parts[0].relationships.front().target = u"/media/x.png"; })},
        {"a package relationship", changed([](auto&, Relationships& all) { all.pop_back(); })},
        {"prose", changed([](Parts& parts, auto&) {
             parts[0].content = support::bytes(richCode(codeParagraph("a = 1") + "<w:p/>"));
         })},
        {"a property",
         [] {
             support::Book other = base();
             other.update([](FlowbookFileWriter& writer) { writer.setTitle(u"U"); });
             return other;
         }()},
    };
    std::map<std::string, std::string> digests{{digestOf(book), "the base"}}, texts{{textOf(book), "the base"}};
    for (const auto& [what, other] : cases) {
        EXPECT_TRUE(digests.emplace(digestOf(other), what).second) << what << " is as " << digests[digestOf(other)];
        EXPECT_TRUE(texts.emplace(textOf(other), what).second) << what << " is as " << texts[textOf(other)];
    }
}

TEST(Digest, AndTextFormPassOverContainerTimesAndOrder) {
    const support::Book book = base();
    support::Book reordered = changed([](Parts& parts, Relationships& all) {
        std::swap(parts.front(), parts.back());
        std::swap(all.front(), all.back());
    });
    EXPECT_NE(book.get(), reordered.get());
    EXPECT_EQ(digestOf(book), digestOf(reordered));
    EXPECT_EQ(textOf(book), textOf(reordered));
    EXPECT_EQ(digestOf(book).size(), 64U);
}

TEST(Digest, TakesNoContentForAnother) {
    EXPECT_EQ(contentDigest(Document(support::fixture("graph"))),
              "31dbd18e3bdc7b59bff477acb92b5b1ee6123c9b624b4c4ad622631c522dea15");
    const std::string inside[] = {
        "<a>x</a>",      "&lt;a>x&lt;/a>", "<a b='1' c='2'/>", "<a b='1\" |c=\"2'/>", "<a b='&amp;60;'/>",
        "<a b='&lt;'/>", "&amp;60;a>",     "<a/><a/>",         "<a>&lt;/>&lt;|a></a>"};
    std::map<std::vector<std::string>, std::string> seen;
    for (const std::string& each : inside) {
        const auto [known, isNew] = seen.emplace(propertyElements(support::bytes("<r><t>" + each + "</t></r>")), each);
        EXPECT_TRUE(isNew) << each << " is as " << known->second;
    }
}

TEST(Digest, OfCodeIsThatOfItsLines) {
    EXPECT_EQ(codeDigest(open(richBook(codeParagraph("a")))),
              "87428fc522803d31065e7bce3cf03fe475096631e5e07bbd7a0fde60c4cf25c7");  // printf 'a\n' | sha256sum
    support::Book encrypted;
    const support::Bytes secret = support::bytes("abc");
    encrypted.update([&](FlowbookFileWriter& writer) {
        opc::ByteArrayInAdaptor stream(secret);
        writer.setEncryptedRichTARMICCode(stream);
    });
    EXPECT_EQ(codeDigest(open(encrypted)), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_NE(textOf(encrypted).find("\n[encrypted, 3 bytes, sha256 ba7816bf"), std::string::npos);
}

/// The letters of both that differ, in parentheses, with what is the same between.
std::string differencesIn(std::string_view a, std::string_view b) {
    std::vector<std::string_view> lettersOfA, lettersOfB;
    for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
        i < a.size() ? lettersOfA.push_back(a.substr(i, 1)) : void();
        i < b.size() ? lettersOfB.push_back(b.substr(i, 1)) : void();
    }
    std::string text;
    std::size_t at = 0;
    for (const Difference& each : differencesOf(lettersOfA, lettersOfB)) {
        text.append(a.substr(at, each.aBegin - at)).append("(").append(a.substr(each.aBegin, each.aEnd - each.aBegin));
        text.append("|").append(b.substr(each.bBegin, each.bEnd - each.bBegin)).append(")");
        at = each.aEnd;
    }
    return text.append(a.substr(at));
}

TEST(Differences, AreFewAndShort) {
    const std::array<const char*, 3> cases[] = {{"", "", ""},
                                                {"a", "", "(a|)"},
                                                {"", "b", "(|b)"},
                                                {"same", "same", "same"},
                                                {"abab", "baba", "(a|)bab(|a)"},  // none stands once
                                                {"1x2", "1yz2", "1(x|yz)2"},
                                                {"abcxab", "abxcab", "ab(c|)x(|c)ab"},
                                                {"aabUbaa", "abaUaba", "a(a|)b(|a)U(b|)a(|b)a"}};
    for (const auto& [a, b, expected] : cases) {
        EXPECT_EQ(differencesIn(a, b), expected) << a << " and " << b;
    }
}

TEST(TextForm, NeverFails) {
    support::Book damaged = base();
    support::Bytes content = damaged.get();
    content.resize(content.size() / 2);
    damaged.set(content);
    EXPECT_EQ(textOf(damaged).rfind("[damaged: ", 0), 0U) << textOf(damaged);
    EXPECT_EQ(textForm(u"absent", damaged.storage()).rfind("[damaged: ", 0), 0U);

    support::Book malformed = richBook(codeParagraph("a\x07"));
    EXPECT_NE(textOf(malformed).find("\n[damaged: "), std::string::npos);
}

TEST(TextForm, ShowsProseAndCodeInOrder) {
    support::Book book = richBook("<w:p><w:pPr><w:pStyle w:val=\"Heading1\"/></w:pPr><w:r><w:rPr><w:b/></w:rPr>"
                                  "<w:t>One</w:t></w:r></w:p>" +
                                  codeParagraph("x = 1\n\ny\xC2\x9B") + "<w:p/>");
    const std::string shown = textOf(book);
    const std::size_t begin = shown.find("\n\n") + 2;
    EXPECT_EQ(shown.substr(begin, shown.find("\noutput") - begin), "[Heading1] **One**\n  x = 1\n\n  y\\u009b\n[]\n");
    EXPECT_NE(shown.find("\noutput /tarmic/output.xml\n| <?xml"), std::string::npos) << shown;
    EXPECT_NE(shown.find("\n  <layoutState>"), std::string::npos) << shown;
    EXPECT_EQ(textForm(support::Book::kName, book.storage(), false).find("<layoutState>"), std::string::npos);
    const auto changed = [&](const std::string& paragraph) {
        std::string text = textOf(richBook(codeParagraph("a") + paragraph + "<w:p/>"));
        const std::size_t created = text.find("created: ");
        return text.erase(created, text.find('\n', created) - created);
    };
    const auto prose = [](const std::string& text, const std::string& space) {
        return "<w:p><w:r><w:t" + space + ">" + text + "</w:t></w:r></w:p>";
    };
    const std::string space = " xml:space=\"preserve\"", cell = "<w:tbl><w:tr><w:tc>", end = "</w:tc></w:tr></w:tbl>";
    for (const auto& [one, other] : {std::make_pair(codeParagraph("b"), codeParagraph("c")),
                                     {prose("b", ""), prose("c", "")},
                                     {prose("b", space), prose("c", space)},
                                     {cell + prose("b", "") + end, cell + prose("c", "") + end}}) {
        const std::string before = changed(one), after = changed(other);
        const auto differs = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
        EXPECT_EQ(std::string(differs.first, before.end()).substr(1),
                  std::string(differs.second, after.end()).substr(1));
    }
    const std::string run = "</w:t></w:r><w:r><w:t>";
    for (const auto& [one, other] : {std::make_pair(prose("ab", ""), prose("a" + run + "b", "")),
                                     {prose("ab" + run + "c", ""), prose("a" + run + "bc", "")},
                                     {prose("b", ""), prose("b", space)},
                                     {prose("**b**", ""), "<w:p><w:r><w:rPr><w:b/></w:rPr><w:t>b</w:t></w:r></w:p>"},
                                     {prose("b", "") + cell + end, cell + prose("b", "") + end}}) {
        EXPECT_NE(changed(one), changed(other)) << one;
    }
}

}  // namespace
}  // namespace flowbook::kit::testing
