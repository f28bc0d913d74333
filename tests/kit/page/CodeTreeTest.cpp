#include "kit/page/CodeTree.hpp"

#include <gtest/gtest.h>

namespace flowbook::kit {
namespace {

TEST(CodeTree, MendsWhatAParserRefuses) {
    const std::pair<std::string, std::optional<std::string>> cases[] = {
        {"<d>x", "<d>x</d>"},
        {"<d>1 < 2 & 3 &nbsp; &amp;</d>", "<d>1 &lt; 2 &amp; 3 &amp;nbsp; &amp;</d>"},
        {"<d>&#65;&#x41;&#0;&#x110000;&#xD800;&#xFFFE;&#9;</d>",
         "<d>&#65;&#x41;&amp;#0;&amp;#x110000;&amp;#xD800;&amp;#xFFFE;&#9;</d>"},
        {"<d>\x01\xEF\xBF\xBE\xEF\xBF\xBF.</d>", "<d>\uFFFD\uFFFD\uFFFD.</d>"},
        {"<d><![CDATA[a<b&amp;]]>c<![CDATA[d</d>", "<d>a&lt;b&amp;amp;cd&lt;/d&gt;</d>"},
        {"<d><w:t>one<w:r>two</w:r></d>", "<d><w:t>one</w:t><w:r>two</w:r></d>"},
        {"<d><p>a<p>b</p></d>", "<d><p>a</p><p>b</p></d>"},
        {"<d><p><tc><p>a</p></tc></p></d>", "<d><p><tc><p>a</p></tc></p></d>"},
        {"<d><a><b>x</a>y</c></d>z", "<d><a><b>x</b></a>yz</d>"},
        {"<d><w:rPr><b/>x<w:pPr><w:p>y</d>", "<d><w:rPr><b/></w:rPr>x<w:pPr></w:pPr><w:p>y</w:p></d>"},
        {"<?xml?><!-- < --><d a='&' b = \"1\"/>", "<d a='&amp;' b=\"1\"/>"},
        {"x<d/>", std::nullopt},
        {"<d b=2>x</d>", std::nullopt},
        {" ", std::nullopt},
    };
    for (const auto& [broken, mended] : cases) {
        EXPECT_EQ(mendedXml(broken), mended) << broken;
    }
}

}  // namespace
}  // namespace flowbook::kit
