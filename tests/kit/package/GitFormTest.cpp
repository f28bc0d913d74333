#include "kit/package/GitForm.hpp"

#include "kit/KitTesting.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/package/PackageContent.hpp"
#include "kit/package/Strip.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace flowbook::kit::testing {
namespace {

using opc::interfaces::CompressionType;
using support::Bytes;
using support::longType;

const std::u16string kSigned = u"http://schemas.openxmlformats.org/package/2006/relationships/digital-signature/origin";

FlowbookFilePackage::Part part(const std::string& name, const std::u16string& type, const std::string& content) {
    return {support::bytes(content), type, std::u16string(name.begin(), name.end()), {}};
}

/// A flowbook with outputs and pictures that are shown, hang unused, or belong to an output.
PackageContent figures() {
    PackageContent content =
        readContent(Document(richBook(codeParagraph("a") + "<w:p><w:r><w:drawing r:embed=\"rId1\"/></w:r></w:p>",
                                      {"data:image/png;base64,AAEC", "data:image/png;base64,AAED"})
                                 .get()));
    content.parts.push_back(part("/media/orphan.png", u"image/png", "x"));
    content.parts.push_back(part("/media/plot.png", u"image/png", "y"));
    content.parts.push_back(part("/media/shared.png", u"image/png", "z"));
    content.parts.push_back(part("/notes.txt", u"text/plain", "a note"));
    content.find(u"/notes.txt")->relationships = {{u"t", u"/media/shared.png", u"r1", true}};
    content.find(u"/tarmic/output.xml")->relationships = {{u"t", u"/media/plot.png", u"r1", true},
                                                          {u"t", u"/media/shared.png", u"r2", true}};
    return content;
}

TEST(Strip, RemovesOutputsAndPicturesThatNothingRefersTo) {
    const Bytes before = writeContent(figures());
    const Strippable found = findStrippable(Document(before));
    EXPECT_EQ(found.parts,
              (support::Lines{"/media/image2.png", "/media/orphan.png", "/media/plot.png", "/tarmic/output.xml"}));
    const Bytes after = stripped(before).value();
    EXPECT_FALSE(stripped(after));
    PackageContent expected = figures();
    const auto isGone = [&](const auto& each) {
        return std::count(found.parts.begin(), found.parts.end(), support::text(each.partName)) != 0;
    };
    expected.parts.erase(std::remove_if(expected.parts.begin(), expected.parts.end(), isGone), expected.parts.end());
    expected.find(u"/tarmic/document.xml")->relationships.pop_back();
    const auto isOutput = [](const auto& each) { return each.type == longType(u"output"); };
    expected.relationships.erase(std::remove_if(expected.relationships.begin(), expected.relationships.end(), isOutput),
                                 expected.relationships.end());
    EXPECT_EQ(canonical(Document(after)), writeContent(expected));
    const support::Book plain = richBook("", {"data:image/png;base64,AAEC"});
    plain.update([](FlowbookFileWriter& writer) { writer.setTARMICCode(u"a"); });
    EXPECT_EQ(findStrippable(open(plain)).parts, support::Lines{"/tarmic/output.xml"});
}

TEST(GitForm, LeavesAloneWhatIsNoFlowbook) {
    PackageContent content = figures();
    content.relationships.push_back({kSigned, u"/notes.txt", u"signed", true});
    const Bytes whole = writeContent(figures()), sealed = writeContent(content);
    content = figures();
    content.relationships.clear();
    Bytes flipped = whole;
    std::fill_n(flipped.begin() + 60, 200, static_cast<unsigned char>(0));
    const Bytes others[] = {{},
                            support::bytes("PK"),
                            support::bytes("x = 1;"),
                            Bytes(whole.begin(), whole.end() - 9),
                            flipped,
                            writeContent(content),
                            sealed};
    for (const Bytes& other : others) {
        for (const bool strips : {false, true}) {
            EXPECT_EQ(toStoredForm(other, strips).bytes, other) << other.size();
            EXPECT_EQ(toStoredForm(other, strips).note.empty(), &other != std::end(others) - 1);
        }
        EXPECT_EQ(toDeflatedForm(other), other) << other.size();
    }
    EXPECT_EQ(toDeflatedForm(whole), whole);
}

/// A random flowbook, in a container as some other program might write it.
Bytes randomBook(unsigned seed) {
    static const PackageContent& shown = *new PackageContent(figures());
    static const PackageContent& small = *new PackageContent(readContent(Document(richBook("").get())));
    std::mt19937 random(seed);
    const auto below = [&](unsigned count) { return static_cast<unsigned>(random() % count); };
    PackageContent content = below(2) != 0 ? shown : small;
    for (unsigned i = below(6); i != 0; --i) {
        const std::string name = "/p" + std::to_string(i) + "/x" + std::to_string(below(3)) + ".png";
        std::string bytes(below(200), 'a');
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(below(seed % 3 == 0 ? 256 : 3)); });
        content.parts.push_back(part(name, below(2) != 0 ? u"image/png" : u"text/a;b=\"c\"", bytes));
        const std::u16string target = below(3) == 0 ? u"gone" : content.parts[below(i)].partName;
        auto& from = below(2) != 0 ? content.relationships : content.parts.back().relationships;
        from.push_back({below(4) == 0 ? longType(u"output") : u"t", target, u"x" + std::u16string(i, u'i'), true});
    }
    if (below(3) == 0) {
        content.others["other" + std::to_string(below(9))] = support::bytes("other");
    }
    if (below(5) == 0) {
        content.find(u"/tarmic/document.xml")->contentType += u";encryption=AES";
    }
    const CompressionType compression = below(2) != 0 ? CompressionType::None : CompressionType::Normal;
    return writeContent(std::move(content), compression);
}

TEST(GitForm, CleanIsTheSameAfterCleanAndSmudge) {
    for (unsigned seed = 0; seed < 1000; ++seed) {
        SCOPED_TRACE(seed);
        const Bytes book = randomBook(seed);
        const bool strips = seed % 2 != 0;
        const Bytes clean = toStoredForm(book, strips).bytes;
        ASSERT_EQ(toStoredForm(clean, strips).bytes, clean);
        const Bytes smudged = toDeflatedForm(clean);
        ASSERT_EQ(toStoredForm(smudged, strips).bytes, clean);
        if (const Bytes deflated = toDeflatedForm(book); deflated != book) {
            ASSERT_EQ(toStoredForm(deflated, strips).bytes, clean);
        }
        ASSERT_EQ(smudged, canonical(Document(clean)));
        if (!strips) {
            ASSERT_EQ(contentDigest(Document(smudged)), contentDigest(Document(book)));
            ASSERT_EQ(clean, canonical(Document(book), CompressionType::None));
        }
    }
}

}  // namespace
}  // namespace flowbook::kit::testing
