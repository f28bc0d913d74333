#include "kit/KitTesting.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/package/PackageContent.hpp"
#include "kit/package/Salvage.hpp"

#include <algorithm>
#include <gtest/gtest.h>

namespace flowbook::kit::testing {
namespace {

using support::Book;
using support::Bytes;

TEST(Canonical, KeepsContentAndIsTheSameTwice) {
    for (const char* name : {"graph", "streamed", "zip64", "encrypted", "external", "info_zip", "docx", "cycle"}) {
        const support::Bytes original = support::fixture(name);
        const support::Bytes once = canonical(Document(original));
        EXPECT_EQ(contentDigest(Document(once)), contentDigest(Document(original))) << name;
        EXPECT_EQ(canonical(Document(once)), once) << name;
        EXPECT_EQ(readContent(Document(once)).others, readContent(Document(original)).others) << name;
    }
}

TEST(Canonical, PassesOverOrderAndKeepsEntriesThatAreNoParts) {
    PackageContent content = readContent(Document(richBook(codeParagraph("a"), {"data:image/png;base64,AAEC"}).get()));
    content.others["x.unknown"] = support::bytes("kept");
    const support::Bytes once = writeContent(content);
    std::swap(content.parts.front(), content.parts.back());
    EXPECT_EQ(writeContent(content), once);
    EXPECT_EQ(readContent(Document(once)).others, content.others);
    EXPECT_EQ(canonical(Document(once)), once);
}

/// Overwrites each place where a text stands.
Bytes without(Bytes content, const std::string& text) {
    for (auto at = content.begin(); (at = std::search(at, content.end(), text.begin(), text.end())) != content.end();) {
        at = std::fill_n(at, text.size(), static_cast<unsigned char>('?'));
    }
    return content;
}

TEST(Salvage, SavesWhatIsWhole) {
    Book book = richBook(codeParagraph("a"), {"data:image/png;base64,AAEC"});
    book.update([](FlowbookFileWriter& writer) { writer.setTitle(u"T"); });
    const Bytes whole = book.get();
    const std::string digest = contentDigest(Document(whole));
    const std::string index = "PK\1\2", end = "PK\5\6";
    const Bytes noIndex = without(without(whole, index), end);
    const std::string types = "[Content_Types].xml", rels = "_rels/.rels";
    for (const Bytes& remains : {whole, noIndex, support::fixture("streamed")}) {
        const Salvaged salvaged = salvage(remains);
        EXPECT_EQ(wordsOf(salvaged.lost), support::Lines());
        EXPECT_EQ(wordsOf(salvaged.rebuilt), support::Lines());
    }
    EXPECT_EQ(contentDigest(Document(*salvage(noIndex).flowbook)), digest);
    for (const std::string& name : {types, rels}) {
        const Salvaged salvaged = salvage(without(noIndex, name));
        EXPECT_EQ(support::text(Document(*salvaged.flowbook).code()), "a") << name;
        EXPECT_FALSE(salvaged.rebuilt.empty()) << name;
        EXPECT_EQ(Document(*salvaged.flowbook).properties().front().value, std::make_optional<std::string>("T"));
    }
    EXPECT_EQ(contentDigest(Document(*salvage(without(noIndex, types)).flowbook)), digest);
}

TEST(Salvage, TellsWhatIsLost) {
    const Bytes whole = richBook(codeParagraph("a"), {"data:image/png;base64,AAEC"}).get();
    const std::string name = "media/image1.png";
    Bytes damaged = whole;
    *(std::search(damaged.begin(), damaged.end(), name.begin(), name.end()) + 20) ^= 1;
    const Salvaged salvaged = salvage(damaged);
    EXPECT_EQ(wordsOf(salvaged.lost),
              (support::Lines{"/media/image1.png: the content is damaged or gone; 26 bytes of it are in "
                              "/damaged/media/image1.png"}));
    EXPECT_EQ(support::text(Document(*salvaged.flowbook).code()), "a");

    const Bytes half(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2));
    EXPECT_FALSE(salvage(half).lost.empty() && salvage(half).rebuilt.empty());
    EXPECT_FALSE(salvage(support::bytes("PK\3\4 nothing here")).flowbook);
    EXPECT_FALSE(salvage({}).flowbook);
}

}  // namespace
}  // namespace flowbook::kit::testing
