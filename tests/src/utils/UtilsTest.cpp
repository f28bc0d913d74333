#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "support/Flowbooks.hpp"
#include "utils/Code.hpp"

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <stdexcept>

namespace flowbook {
namespace {

using support::text;

std::string document(const std::string& body) {
    return "<w:document xmlns:w=\"http://schemas.openxmlformats.org/wordprocessingml/2006/main\">" + body +
           "</w:document>";
}

std::string paragraph(const std::string& runs, const std::string& style = "<w:pStyle w:val=\"code\"/>") {
    return "<w:p><w:pPr>" + style + "</w:pPr>" + runs + "</w:p>";
}

std::string code(const std::string& text) { return paragraph("<w:r><w:t>" + text + "</w:t></w:r>"); }

std::string body(const std::string& paragraphs) { return document("<w:body>" + paragraphs + "</w:body>"); }

/// A "#" in it is numbered.
std::string times(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i != count; ++i) {
        all += boost::replace_all_copy(text, "#", std::to_string(i));
    }
    return all;
}

TEST(RichCode, GivesItsCodeParagraphs) {
    const std::string run = "<w:r><w:t>no</w:t></w:r>";
    const std::string malformed = "opc::InvalidXMLDocument: *";
    const std::string other = boost::replace_all_copy(body(code("a")), "w:", "v:");
    const std::string rebound = boost::replace_first_copy(code("no"), "<w:p>", "<w:p xmlns:w='urn:o'>");
    using Cases = std::vector<std::pair<std::string, std::string>>;
    const Cases usual = {
        {body(code("a") + paragraph(run, "<w:pStyle w:val=\"text\"/>") + code("b")), "a\nb"},
        {body(code("a") + code("") + code("b")), "a\n\nb"},
        {body(code("1 &lt; <![CDATA[2 & ]]><w:b>3</w:b>&#10;4\n5")), "1 < 2 & 3\n4\n5"},
        {body(code("&lt;&gt;&amp;&quot;&apos;&#65;&#xe4;&#x1F600;\xC2\xA0\xE2\x82\xAC\xF0\x90\x80\x80")),
         "<>&\"'A\u00E4\U0001F600\u00A0\u20AC\U00010000"},
        {body(code(times("\u00E4x", 9999))), times("\u00E4x", 9999)},
        // Text goes through a buffer of 2048 units, and is widened by blocks of 16.
        {body(code(times("x", 2047) + "\U0001F600]")), times("x", 2047) + "\U0001F600]"},
        {body(code("<![CDATA[a[i[0]] && b[1] < c; ]]]>&amp;&lt;]x]")), "a[i[0]] && b[1] < c; ]&<]x]"},
        {body(code("<![CDATA[" + times("x", 14) + "]]]]>" + times("y", 15) + "]<b/>]")),
         times("x", 14) + "]]" + times("y", 15) + "]]"},
        {document("\n<w:body>\n " + code("a") + "\n</w:body>\n"), "a"},
        {body(paragraph("<w:r><w:t>1</w:t><w:t>no</w:t></w:r>" + run)), "1"},
        {body(paragraph("<w:r/>" + run) + paragraph("") + code("a")), "a"},
        {body(paragraph(run, "<w:pStyle w:val=\"Code\"/>") + paragraph(run, "<w:pStyle w:val=\"code \"/>")), ""},
        {body(paragraph(run, "<w:pStyle val=\"code\"/>") + paragraph(run, "<w:pStyle/>") + paragraph(run, "")), ""},
        {body("<w:p>" + run + "</w:p><w:q>" + code("no") + "</w:q>"), ""},
        {document("<w:x><w:body/></w:x>"), ""},
        {document("<w:body>" + code("a") + "</w:body><w:body>" + code("no") + "</w:body>"), "a"},
        {"<w:document xmlns:w=\"urn:other\"><w:body>" + code("no") + "</w:body></w:document>", ""},
        {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>" + body(code("\xC3\xA4")), "\xC3\xA4"},
        {"\xEF\xBB\xBF" + body(code("a")), "a"},
        {document(code("no") + "<w:body>" + code("a") + "</w:body>" + code("no")), "a"},
        {body("<w:x>" + code("no") + "</w:x>" + code("a")), "a"},
        // Tags are known again: at a place that counts, and when more than are kept have come between.
        {body("<w:x><w:x><w:pStyle w:val=\"code\"/><w:b a=''/></w:x></w:x>" + code("a")), "a"},
        {body(code("a") + times("<w:n# a='#'/>", 40) + code("b")), "a\nb"},
        {body("<x:p xmlns:x='urn:x'><w:pPr><w:pStyle w:val='code'/></w:pPr>" + run + "</x:p>"), ""},
        {"<?xml version='1.0' encoding='utf-8' standalone='no' ?>\n" + body(code("a")) + "\n", "a"},
        {boost::replace_first_copy(other, ":w=", ":v="), "a"},
        {body("<b xmlns='urn:x' xmlns:v=\"urn:v\" v:a='&amp;\t\xC3\xA4' a='' ></b >" + rebound + code("a")), "a"},
        {body("<b" + times(" a-b.c#=''", 16) + times(" xmlns:n#='urn:n'", 63) + "/>" + code("a")), "a"},
        {body(code(times("<w:b>", 27) + "a" + times("</w:b>", 27))), "a"},
        // Comments and instructions are passed over, and line breaks are line feeds.
        {body(code("<!--no-->a\r\nb\rc<?no <a>&?>\r<![CDATA[d\r\n]]>&#13;")), "a\nb\nc\nd\n\r"},
        {"<?xml version=\"1.0\"\r\n?>\r\n<!-- - -->" + body("<?p?><!---->" + code("a") + "\r\n") +
             "<?xml-stylesheet?><!--&-->",
         "a"},
    };
    const Cases leftToTheDom = {
        {body("<b a = ''/>" + code("a")), "a"},
        {body(code("<?no?>a<b \xC3\xA4=\"\"/>")), "a"},
        {body(code("<\xC3\xA4/>a<x:b xmlns:x=\"urn:x\"/>")), "a"},
        {"<?xml version=\"1.1\"?>" + body(code("a\xC2\x85")), "a\n"},
        {body(code(times("<w:b>", 28) + "a" + times("</w:b>", 28))), "a"},
        {body("<b" + times(" a#=''", 17) + "/>" + code("a")), "a"},
        {body("<b" + times(" xmlns:n#='urn:n'", 64) + "/>" + code("a")), "a"},
        {"x = 1", malformed},
        {body(code("a")) + "x", malformed},
        {"<!DOCTYPE d>" + body(code("a")), malformed},
    };
    Cases refused;
    for (const char* const inner : {"&undefined;",
                                    "&#0;",
                                    "&#xD800;",
                                    "&#x110000;",
                                    "&#x100000041;",
                                    "&#65",
                                    "&#;",
                                    "&#xg;",
                                    "&lt",
                                    "]]>",
                                    "\x01",
                                    "\xEF\xBF\xBE",
                                    "<![CDATA[x",
                                    "<![CDATA[\x01]]>",
                                    "<b>",
                                    "<b></c>",
                                    "<b></bb>",
                                    "</b>",
                                    "<1/>",
                                    "<b:/>",
                                    "<:b/>",
                                    "<x:b/>",
                                    "<b x:a=''/>",
                                    "<b a=''c=''/>",
                                    "<b a/>",
                                    "<b a=1/>",
                                    "<b a='<'/>",
                                    "<b a='&'/>",
                                    "<b a='\x01'/>",
                                    "<b a='",
                                    "<b a='' a=''/>",
                                    "<b xmlns:v='urn:v' xmlns:v='urn:u'/>",
                                    "<b xmlns:v=''/>",
                                    "<b xmlns:v='urn:v' xmlns:u='urn:v' v:a='' u:a=''/>",
                                    "<b xmlns:xmlns='urn:v'/>",
                                    "<b / >",
                                    "< b/>",
                                    "<!-- -- -->",
                                    "<!-- --->",
                                    "<!--\x01-->",
                                    "<!-->",
                                    "<!-",
                                    "<?Xml?>",
                                    "<?p:q?>",
                                    "<?p?q?>",
                                    "<?1?>",
                                    "<?p \x02?>",
                                    "<?p>"}) {
        refused.emplace_back(body(code(inner)), malformed);
    }
    for (int before = 0; before != 17; ++before) {  // at each place of a block
        refused.emplace_back(body(code(times("x", before) + "]]>")), malformed);
    }
    const auto check = [](const auto& row, bool isUsual) {
        const auto& [xml, expected] = row;
        const std::u16string wide = fl::i18n::utf8_to_ustring(xml);
        const support::Bytes content = support::bytes(xml);
        opc::ByteArrayInAdaptor in(content);
        const std::string found[] = {
            support::outcome([&] { return text(FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(wide)); }),
            support::outcome([&] { return text(FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(in)); }),
            support::outcome([&] { return text(detail::codeByDom(wide)); })};
        EXPECT_THAT(found, testing::Each(testing::Truly([&expected = expected](const std::string& each) {
                        return support::matches(expected, each);
                    })))
            << xml;
        const auto scanned = detail::scanForCode(xml);
        EXPECT_EQ(scanned ? text(*scanned) : "none", isUsual ? expected : "none") << xml;
    };
    std::for_each(usual.begin(), usual.end(), [&](const auto& row) { check(row, true); });
    std::for_each(leftToTheDom.begin(), leftToTheDom.end(), [&](const auto& row) { check(row, false); });
    std::for_each(refused.begin(), refused.end(), [&](const auto& row) { check(row, false); });
    for (const char* const bytes : {"\xC3", "\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
                                    "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xE2\x82(", "\xC3("}) {
        EXPECT_FALSE(detail::scanForCode(body(code(bytes)))) << bytes;
        EXPECT_FALSE(detail::scanForCode(body(code("a")) + bytes)) << bytes;
        EXPECT_FALSE(detail::scanForCode(body("<b a='" + std::string(bytes) + "'/>"))) << bytes;
    }
}

TEST(RichCode, PassesOnWhatItsStreamThrows) {
    struct FailingStream : opc::InputStream {
        std::size_t read(void*, std::size_t) override { throw std::underflow_error("the line is dead"); }
    } stream;
    EXPECT_THROW(FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(stream), std::underflow_error);
}

TEST(ControlCharacters, AreReplacedInExactlyTheListedRanges) {
    const std::pair<unsigned, unsigned> ranges[] = {{0x0, 0x8},   {0xB, 0xC},       {0xE, 0x1F},
                                                    {0x7F, 0x9F}, {0x200B, 0x200B}, {0xFFFE, 0xFFFF}};
    std::u16string all(0x10000, u'\0');
    std::iota(all.begin(), all.end(), u'\0');
    std::u16string expected = all;
    for (const auto& [first, last] : ranges) {
        std::fill(&expected[first], &expected[last] + 1, u'\uFFFD');
    }
    EXPECT_TRUE(FlowbookFileUtils::encodeControlCharacters(all) == expected);
    for (const std::size_t length : {0U, 1U, 127U, 128U, 129U, 300U}) {  // the scan goes by blocks
        EXPECT_TRUE(FlowbookFileUtils::encodeControlCharacters(std::u16string(length, u'\0')) ==
                    std::u16string(length, u'\uFFFD'))
            << length;
    }
}

}  // namespace
}  // namespace flowbook
