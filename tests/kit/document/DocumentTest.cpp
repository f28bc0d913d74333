#include "flowbook/FlowbookFileUtils.hpp"
#include "kit/KitTesting.hpp"
#include "kit/document/PictureSize.hpp"
#include "kit/document/Pictures.hpp"
#include "opc/Exception.hpp"

#include <gtest/gtest.h>

namespace flowbook::kit::testing {
namespace {

using support::bytes;
using support::text;

const std::string kCodeStyle = "<w:pPr><w:pStyle w:val=\"code\"/></w:pPr>";

/// "style/heading: runs" with the looks of a run before its text, a code paragraph as "code: text".
std::string describe(const Paragraph& paragraph) {
    if (paragraph.code) {
        return "code: " + *paragraph.code;
    }
    std::string result = paragraph.style + "/" + std::to_string(paragraph.heading) + ":";
    for (const Run& run : paragraph.runs) {
        result += std::string(" ") + (run.bold ? "b" : "") + (run.italic ? "i" : "") + (run.underline ? "u" : "") +
                  (run.strike ? "s" : "") + "(" + run.text + ")" + run.link + run.picture;
    }
    return result;
}

support::Lines describe(const RichText& rich) {
    support::Lines lines;
    for (const Paragraph& paragraph : rich.paragraphs) {
        lines.push_back(describe(paragraph));
    }
    if (!rich.fault.empty()) {
        lines.push_back(rich.fault);
    }
    return lines;
}

TEST(RichText, TellsParagraphsWithTheirFormattingInOrder) {
    const std::pair<std::string, support::Lines> cases[] = {
        {"", {}},
        {codeParagraph("a\nb") + codeParagraph(""), {"code: a\nb", "code: "}},
        {"<w:p/><w:p><w:r><w:t>x</w:t></w:r></w:p>", {"/0:", "/0: (x)"}},
        {"<w:p><w:pPr><w:pStyle w:val='Heading2'/></w:pPr><w:r><w:t>x</w:t></w:r></w:p>", {"Heading2/2: (x)"}},
        {"<w:p><w:pPr><w:pStyle w:val='heading 3'/><w:outlineLvl w:val='0'/></w:pPr></w:p>", {"heading 3/1:"}},
        {"<w:p><w:pPr><w:pStyle w:val='Headings'/></w:pPr></w:p>", {"Headings/0:"}},
        {"<w:p><w:pPr><w:rPr><w:b/></w:rPr></w:pPr><w:r><w:rPr><w:i/><w:b w:val='0'/></w:rPr><w:t>x</w:t></w:r>"
         "<w:r><w:rPr><w:rStyle w:val='Strong'/><w:u w:val='single'/><w:strike/></w:rPr><w:t>y</w:t></w:r></w:p>",
         {"/0: i(x) bus(y)"}},
        {"<w:p><w:r><w:t>a</w:t><w:tab/><w:t>b</w:t><w:br/></w:r><w:r><w:t>c</w:t></w:r></w:p>", {"/0: (a\tb\nc)"}},
        {"<w:p><w:hyperlink r:id='rId7'><w:r><w:t>x</w:t></w:r></w:hyperlink><w:r><w:t>y</w:t></w:r></w:p>",
         {"/0: (x)rId7 (y)"}},
        {"<w:p><w:r><w:drawing><a:blip xmlns:a='urn:a' r:embed='rId2'/></w:drawing></w:r></w:p>", {"/0: ()rId2"}},
        {"<w:tbl><w:tr><w:tc>" + codeParagraph("cell") + "</w:tc></w:tr></w:tbl>", {"code/0: (cell)"}},
        {"<w:p>" + kCodeStyle + "<w:r><w:t>a</w:t><w:t>b</w:t></w:r><w:r><w:t>c</w:t></w:r></w:p>", {"code: a"}},
        {"<w:p>" + kCodeStyle + "<w:r><w:pict><w:p><w:r><w:t>box</w:t></w:r></w:p></w:pict><w:t>a</w:t></w:r></w:p>",
         {"code: a", "/0: (box)"}},
    };
    for (const auto& [body, expected] : cases) {
        const std::string document = richCode(body);
        const RichText rich = readRichText(bytes(document), "w");
        EXPECT_EQ(describe(rich), expected) << body;
        bool hasLines = false;
        std::string joined;
        for (const Paragraph& paragraph : rich.paragraphs) {
            joined += paragraph.code ? (hasLines ? "\n" : "") + *paragraph.code : "";
            hasLines = hasLines || paragraph.code;
            const std::string span = document.substr(paragraph.span.begin, paragraph.span.end - paragraph.span.begin);
            EXPECT_TRUE(span.rfind("<w:p", 0) == 0 && span.back() == '>') << span;
        }
        EXPECT_EQ(joined, text(FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(
                              std::u16string(document.begin(), document.end()))));
    }
}

TEST(RichText, GivesWhatComesBeforeAFault) {
    std::string deep = codeParagraph("a");
    for (int i = 0; i < 5000; ++i) {
        deep = "<w:p>" + deep + "</w:p>";
    }
    const std::pair<std::string, support::Lines> cases[] = {
        {richCode(codeParagraph("a")) + "<", {"code: a", "w, line 1, column *"}},
        {"<!DOCTYPE x><x/>", {"w, line 1, column *: a document type declaration is not permitted"}},
        {"", {"w, line 1, column 1: no element found"}},
    };
    for (const auto& [document, expected] : cases) {
        const support::Lines found = describe(readRichText(bytes(document), "w"));
        ASSERT_EQ(found.size(), expected.size()) << document;
        EXPECT_EQ(found.front().substr(0, 7), expected.front().substr(0, 7));
    }
    EXPECT_EQ(readRichText(bytes(richCode(deep)), "w").fault, "");
}

TEST(Pictures, AreReadAndWrittenAsDataUris) {
    const std::pair<std::string, std::string> cases[] = {
        {"data:image/png;base64,AAEC", {"\0\1\2", 3}},
        {"data:image/png;base64,AA==", {"\0", 1}},
        {"data:image/png;base64,", ""},
        {"data:,a%20b", "a b"},
        {"data:image/png;base64,AAE", "malformed"},
        {"data:image/png;base64,A A=", "malformed"},
        {"data:image/png;base64", "malformed"},
        {"data:,%2", "malformed"},
    };
    for (const auto& [uri, expected] : cases) {
        try {
            const DataUri read = readDataUri(bytes(uri), "w");
            EXPECT_EQ(text(read.content), expected) << uri;
            EXPECT_EQ(writeDataUri(read), uri);
        } catch (const opc::Exception& failure) {
            EXPECT_EQ(expected, "malformed") << uri;
        }
    }
    EXPECT_EQ(toDataUri(bytes("GIF89a......"), "x"), "data:image/gif;base64,R0lGODlhLi4uLi4u");
    EXPECT_THROW(toDataUri(bytes("?"), "x.png"), opc::Exception);
}

TEST(Document, TellsFormCodeAndProperties) {
    support::Book book = richBook(codeParagraph("a"));
    EXPECT_EQ(nameOf(open(book).form()), std::string("rich"));
    book.update([](FlowbookFileWriter& writer) {
        writer.setTARMICCode(u"x");
        writer.setTitle(u"T");
    });
    EXPECT_EQ(nameOf(open(book).form()), std::string("plain"));
    EXPECT_EQ(text(open(book).code()), "x");
    EXPECT_EQ(open(book).properties().front().value, std::make_optional<std::string>("T"));
    EXPECT_FALSE(open(book).properties()[1].value);
    EXPECT_THROW(Document(bytes("no package")), opc::Exception);
    EXPECT_EQ(text(Document(book.get()).code()), "x");
}

TEST(PictureSize, IsReadFromTheFirstBytes) {
    const auto fromHex = [](const std::string& hex) {
        support::Bytes result;
        for (std::size_t at = 0; at + 1 < hex.size(); at += 2) {
            result.push_back(static_cast<unsigned char>(std::stoul(hex.substr(at, 2), nullptr, 16)));
        }
        return result;
    };
    const std::string riff = "524946460000000057454250";
    const std::pair<support::Bytes, std::string> cases[] = {
        {fromHex("89504E470D0A1A0A0000000D494844520000030000000200"), "768 512"},
        {fromHex("FFD8FFE00004ABCDFFFFC20011080102030403"), "772 258"},
        {fromHex("FFD8FFE00004ABCD"), "unknown"},
        {fromHex("4749463839610A000800800000AABBCCDDEEFF21F904000000000"
                 "02C050000000A000900"),
         "15 9"},
        {fromHex("424D0000000000000000000000002800000007000000F7FFFFFF"), "7 9"},
        {fromHex("424D0000000000000000000000000C00000007000900"), "7 9"},
        {fromHex(riff + "565038580A00000000000000100000200000"), "17 33"},
        {fromHex(riff + "5650384C0A0000002F10000800"), "17 33"},
        {fromHex(riff + "565038200A0000000000009D012A11402100"), "17 33"},
        {bytes("<?xml version='1.0'?><svg\n stroke-width='5' width='2in' height = \"3\">"), "192 3"},
        {bytes("<svg width='1cm' height='50%'/>"), "37 0"},
        {bytes("<x:svg/>"), "unknown"},
        {bytes("text"), "none"},
    };
    for (const auto& [picture, expected] : cases) {
        const PictureSize size = sizeOfPicture(picture);
        EXPECT_EQ(size.kind == PictureSize::Kind::Known ? std::to_string(size.width) + " " + std::to_string(size.height)
                  : size.kind == PictureSize::Kind::Unknown ? "unknown"
                                                            : "none",
                  expected);
    }
}

}  // namespace
}  // namespace flowbook::kit::testing
