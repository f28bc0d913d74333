#include "kit/document/EditText.hpp"

#include "kit/KitTesting.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/ParagraphEdits.hpp"
#include "opc/Exception.hpp"

#include <gtest/gtest.h>
#include <random>

namespace flowbook::kit {
namespace {

using support::bytes;
using testing::codeParagraph;
using testing::richCode;

std::string prose(const std::string& text) {
    return "<w:p><w:pPr><w:pStyle w:val=\"Text\"/></w:pPr><w:r><w:t>" + text + "</w:t></w:r></w:p>";
}

const std::string kBold = "<w:p><w:pPr><w:pStyle w:val=\"code\"/></w:pPr><w:r><w:rPr><w:b/></w:rPr><w:t "
                          "xml:space=\"preserve\">b = 2;</w:t></w:r></w:p>";
const std::string kBeside = "<w:p><w:pPr><w:pStyle w:val=\"code\"/></w:pPr><w:r><w:t>c</w:t></w:r><w:r><w:t>why</w:t>"
                            "</w:r></w:p>";
const std::string kCdata =
    "\n <w:p><w:pPr><w:pStyle w:val=\"code\"/></w:pPr><w:r><w:t><![CDATA[d\n::e\n]]></w:t></w:r></w:p>";
const std::string kEmpty = "<w:p><w:pPr><w:pStyle w:val=\"code\"/></w:pPr><w:r><w:t /></w:r></w:p>";
const std::string kTable = "<w:tbl><w:tr><w:tc><w:p><w:r><w:t>1\t2</w:t></w:r></w:p><w:p/></w:tc></w:tr></w:tbl>";
const std::string kEnd = "<w:sectPr/>";
const std::string kAll = prose("Why") + codeParagraph("a = 1;") + kBold + kBeside + kTable + kCdata + kEmpty + kEnd;
const std::string kText = ":: [Text] Why\na = 1;\nb = 2;\n::{ [beside] why\nc\n::}\n:: [<w:tbl>] 1\\u00092 |\n"
                          "::{\nd\n\\::e\n\n::}\n\n";

std::string edited(const std::string& body, const std::string& text) {
    const fl::Bytes document = withEditText(bytes(richCode(body)), text);
    return {document.begin(), document.end()};
}

std::string with(std::string text, const std::string& what, const std::string& by) {
    return text.replace(text.find(what), what.size(), by);
}

TEST(EditTextTest, ShowsCodeAndKeepsTheRest) {
    EXPECT_EQ(editText(bytes(richCode(kAll))), kText);
    const std::string two = "a = 1;\nb = 2;\n", table = ":: [<w:tbl>] 1\\u00092 |\n";
    const struct {
        std::string text, body;
    } rows[] = {
        {kText, kAll},
        {with(kText, "b = 2;", "b<2;"), with(kAll, "b = 2;", "b&lt;2;")},
        {with(kText, "c\n", "c\n\\\\::d\n"), with(kAll, "<w:t>c<", "<w:t>c\n\\::d<")},
        {with(kText, "d\n", "]]>\r\n"), with(kAll, "[CDATA[d", "[CDATA[]]]]><![CDATA[>")},
        {with(kText, "::}\n\n", "::}\nx"), with(kAll, "<w:t />", "<w:t >x</w:t>")},
        {with(kText, two, "a = 1;\nn\nb = 2;\n"), with(kAll, kBold, codeParagraph("n") + kBold)},
        {with(kText, two, "b = 2;\n"), with(kAll, codeParagraph("a = 1;"), "")},
        {with(kText, table, ""), with(kAll, kTable, "")},
        {table + with(kText, table, ""), kTable + with(kAll, kTable, "")},
        {"x\n" + kText + "y\n", codeParagraph("x") + with(kAll, kEnd, codeParagraph("y") + kEnd)},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(edited(kAll, row.text), richCode(row.body)) << row.text;
    }
    const std::string again = "<w:p><w:r><w:t>a</w:t></w:r></w:p>", odd = "<w:p ><w:r><w:t>a</w:t></w:r></w:p>";
    EXPECT_EQ(editText(bytes(richCode(again + odd + again))), ":: [] a\n:: [] a (2)\n:: [] a\n");
    EXPECT_EQ(edited(again + odd + again, ":: [] a (2)\n:: [] a\n"), richCode(odd + again));
    EXPECT_EQ(edited("", "a\n::{\nb\nc\n::}\n"), richCode(codeParagraph("a") + codeParagraph("b\nc")));
    EXPECT_EQ(edited("", ""), richCode(""));
    const std::string other = "<d xmlns=\"" + testing::kWord + "\"><body/></d>";
    EXPECT_NE(support::text(withEditText(bytes("<document" + other.substr(2, other.size() - 4) + "document>"), "a"))
                  .find("<body><w:p xmlns:w="),
              std::string::npos);
}

TEST(EditTextTest, RefusesChangedProseWithItsLine) {
    const std::pair<std::string, const char*> rows[] = {
        {with(kText, "Why", "Because"), "line 1: this is prose"},
        {with(kText, "beside] why", "beside]"), "line 4: this is prose"},
        {kText + ":: [Text] Why\n", "line 14: this repeats line 1"},
        {with(kText, "\\::e", "::e"), "line 10: code that begins with '::'"},
        {with(kText, "\n::}\n\n", "\n"), "line 8: the paragraph that begins here"},
        {kText + "::}", "line 14: '::}' closes nothing"},
        {"", "line 0: the text is empty"},
    };
    for (const auto& [text, message] : rows) {
        try {
            edited(kAll, text);
            ADD_FAILURE() << text;
        } catch (const opc::Exception& refusal) {
            EXPECT_EQ(std::string(refusal.what()).find(message), 0U) << refusal.what();
        }
    }
    EXPECT_THROW(editText(bytes("<w:document>")), opc::Exception);
    EXPECT_THROW(edited("<", "a"), opc::Exception);
}

/// Lines of an edited text, and what they mean as code.
class Generator {
public:
    explicit Generator(unsigned seed) : random_(seed) {}

    std::size_t below(std::size_t count) { return random_() % count; }

    std::string code() {
        static const char* const kPieces[] = {"a", "b", "::", "\\", " ", "}", "{", "]]>", "&lt;", "\xC3\xA4", "x = 1;"};
        std::string text;
        for (std::size_t count = below(4); count != 0; --count) {
            text += kPieces[below(std::size(kPieces))];
        }
        return below(5) == 0 ? text + "\n" + code() : text;
    }

    std::string body() {
        std::string all;
        for (std::size_t count = below(12); count != 0; --count) {
            const std::string* const kOthers[] = {&kBold, &kBeside, &kCdata, &kEmpty, &kTable};
            const std::size_t kind = below(10);
            all += kind < 5 ? *kOthers[kind] : kind == 5 ? prose(std::to_string(below(3))) : "";
            all += kind > 5 ? "<w:p><w:pPr><w:pStyle w:val=\"code\"/></w:pPr><w:r><w:t><![CDATA[" +
                                  with(code() + "]]>", "]]>", "") + "]]></w:t></w:r></w:p>"
                            : "";
        }
        return all;
    }

private:
    std::mt19937 random_;
};

std::string escapedLine(const std::string& line) {
    const std::size_t mark = line.find_first_not_of('\\');
    return (mark != std::string::npos && line.compare(mark, 2, "::") == 0 ? "\\" : "") + line;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
        lines.push_back(text.substr(at, text.find('\n', at) - at));
    }
    return lines;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

TEST(EditTextTest, TextBecomesAFlowbookThatShowsTheText) {
    for (unsigned seed = 0; seed < 2000; ++seed) {
        SCOPED_TRACE(seed);
        Generator random(seed);
        const fl::Bytes document = bytes(richCode(random.body()));
        if (!readRichText(document, "").fault.empty()) {
            continue;  // "]]>" within what was to be one section
        }
        const std::string text = editText(document);
        ASSERT_EQ(withEditText(document, text), document);
        std::vector<std::string> lines = linesOf(text);
        for (std::size_t count = random.below(4); count != 0; --count) {
            const std::size_t at = random.below(lines.size() + 1);
            const bool isCode = at < lines.size() && lines[at].compare(0, 2, "::") != 0;
            if (isCode && random.below(3) != 0) {
                lines[at] = escapedLine(with(random.code() + "\n", "\n", ""));
                lines[at].erase(std::min(lines[at].find('\n'), lines[at].size()));
            } else {
                lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), "new");
            }
        }
        const fl::Bytes after = withEditText(document, joined(lines));
        ASSERT_EQ(editText(after), joined(lines)) << text;
        ASSERT_EQ(withEditText(after, joined(lines)), after);
    }
}

TEST(CodeParagraphsTest, DividesCodeAmongParagraphs) {
    using Texts = std::vector<std::string>;
    const struct {
        Texts before;
        const char* code;
        std::optional<Texts> expected;
        FinalLineFeed final = FinalLineFeed::EndsFile;
    } rows[] = {
        {{"a", "b"}, "x\ny\n", Texts{"x", "y"}},
        {{"a", "b"}, "x\ny\n", Texts{"x", "y\n"}, FinalLineFeed::Counts},
        {{"a", "b"}, "x\n", Texts{"x", ""}, FinalLineFeed::Counts},
        {{"a", "b\nc"}, "a\nb\n", Texts{"a", "b\n"}, FinalLineFeed::Counts},
        {{"a\nb", "c"}, "1\r\n2\r\n3", Texts{"1\n2", "3"}},
        {{"a\nb", "c"}, "a\nx\nb\nc", Texts{"a\nx\nb", "c"}},
        {{"a\nb", "c"}, "b\nc", Texts{"b", "c"}},
        {{"a\nb", "c"}, "a\nb\nx\nc", std::nullopt},
        {{"a\nb", "c\nd"}, "a\nx\ny\nz\nd", std::nullopt},
        {{"a", "a"}, "a", std::nullopt},
        {{"a", ""}, "b\n", Texts{"b", ""}},
        {{"a"}, "", Texts{""}},
        {{}, "", std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(divideCode(row.before, row.code, row.final), row.expected) << row.code;
    }
    const fl::Bytes document = bytes(richCode(kAll));
    Texts code = codeParagraphs(document);
    EXPECT_EQ(code, (Texts{"a = 1;", "b = 2;", "c", "d\n::e\n", ""}));
    EXPECT_EQ(withCodeParagraphs(document, code), document);
    code[2] = "\x01";
    EXPECT_EQ(withCodeParagraphs(document, code), bytes(richCode(with(kAll, "<w:t>c<", "<w:t>\xEF\xBF\xBD<"))));
    code.pop_back();
    EXPECT_THROW(withCodeParagraphs(document, code), opc::Exception);
}

TEST(ParagraphEdits, ChangeTheElementsThatHoldTheText) {
    const std::string begin =
        "<x:document xmlns:x=\"http://schemas.openxmlformats.org/wordprocessingml/2006/main\"><x:body>";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"<x:p><x:r><x:t>one</x:t></x:r></x:p>", "one two",
         "<x:p><x:r><x:t xml:space=\"preserve\">one two</x:t></x:r></x:p>"},
        {"<x:p><x:r><x:br/></x:r></x:p>", "a\n", "<x:p><x:r><x:t xml:space=\"preserve\">a</x:t><x:br/></x:r></x:p>"},
        {"<x:p><x:r><x:t>a</x:t><x:tab/><x:t>b</x:t></x:r></x:p>", "a\tc",
         "<x:p><x:r><x:t>a</x:t><x:tab/><x:t xml:space=\"preserve\">c</x:t></x:r></x:p>"},
        {"<x:p/>", "a", "<x:p><x:r><x:t xml:space=\"preserve\">a</x:t></x:r></x:p>"},
    };
    for (const auto& [before, text, after] : cases) {
        const std::string end = "</x:body></x:document>";
        const fl::Bytes edited =
            withParagraphEdits(bytes(begin + before + end), {{ParagraphEdit::Kind::Replace, 0, text}});
        EXPECT_EQ(std::string(edited.begin(), edited.end()), begin + after + end);
    }
}

}  // namespace
}  // namespace flowbook::kit
