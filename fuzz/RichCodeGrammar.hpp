#pragma once

#include <initializer_list>
#include <random>
#include <string>

namespace fuzzing {

/// Makes documents that look like rich code: mostly well-formed, and often broken at one place.
class RichCodeGrammar {
public:
    explicit RichCodeGrammar(std::uint64_t seed) : random_(seed) {}

    /// Returns one document. First it is decided how rarely an odd choice is made, so that some documents are nearly
    /// always plain and others odd in many places; a quarter of them is broken at one or two places afterwards.
    std::string document() {
        oddOneIn_ = std::uint64_t{1} << (5 + 4 * below(4));
        prefix_ = pick({"w", "w", "w", ""}, {"x", "xml"});
        std::string made = pick({""}, {"\xEF\xBB\xBF", " "}) + declaration() + asides() + root() + asides() +
                           pick({""}, {" x", "<a/>"});
        for (std::uint64_t breaks = below(4) == 0 ? 1 + below(2) : 0; breaks != 0; --breaks) {
            breakAt(made, below(made.size() + 1));
        }
        return made;
    }

private:
    using Choices = std::initializer_list<const char*>;

    std::uint64_t below(std::uint64_t limit) { return random_() % limit; }
    bool isOdd() { return below(oddOneIn_) == 0; }

    /// Picks one of the usual choices, or now and then one of the odd ones: those that are malformed, or that two
    /// parsers could read differently.
    std::string pick(Choices usual, Choices odd = {}) {
        const Choices& choices = odd.size() != 0 && isOdd() ? odd : usual;
        return choices.begin()[below(choices.size())];
    }

    std::string declaration() {
        if (below(3) != 0) {
            return "";
        }
        return "<?xml version=" + pick({"\"1.0\"", "'1.0'"}, {"\"1.1\"", "\"1.0'"}) +
               pick({"", " encoding=\"UTF-8\"", " encoding='utf-8'"},
                    {" encoding=\"ISO-8859-1\"", "encoding=\"UTF-8\"", " encoding=\"UTF-16\""}) +
               pick({"", " standalone=\"yes\"", "\nstandalone='no'"}, {" standalone=\"\""}) +
               pick({"?>", " ?>", "\n?>"}, {">", "? >"});
    }

    /// A comment or a processing instruction, also with what looks like other markup inside.
    std::string aside() {
        return below(2) == 0
                   ? "<!--" +
                         pick({"", "c", "- -", "\r", "<t>&x;\n", "\xC3\xA4", "?>]]>"},
                              {"-", "--", "->", "\xC3", "\x01", "\xEF\xBF\xBE"}) +
                         pick({"-->"}, {"--->", "->", "--"})
                   : "<?" +
                         pick({"p", "xm", "xmlp", "_", "xml-stylesheet"},
                              {"", "1", "xml", "XmL", "p:q", "\xC3\xA4", " p"}) +
                         pick({"", " ", "\r\nq", " ?", " -->", " \xC3\xA4<t>&"}, {"?q", "<", " \xFF", " \x02"}) +
                         pick({"?>"}, {">", "? >", ""});
    }

    std::string asides() {
        std::string made;
        while (below(4) == 0) {
            made += pick({"", "\n", "\r\n"}) + aside();
        }
        return made + pick({"", "\n"});
    }

    std::string name(const std::string& local) {
        const std::string prefix = isOdd() ? pick({"", "x", "y", "xml", "xmlns", "w"}) : prefix_;
        return (prefix.empty() ? "" : prefix + ":") + local;
    }

    /// A namespace declaration, which may bind the prefix of rich code to something else.
    std::string binding() {
        return pick({" "}, {""}) + "xmlns" + pick({":w", ":x", ":y", ""}, {":xml", ":xmlfoo", ":", "::"}) + "=" +
               pick({"\"http://schemas.openxmlformats.org/wordprocessingml/2006/main\"",
                     "'http://schemas.openxmlformats.org/wordprocessingml/2006/main'", "\"urn:x\"", "'urn:y'"},
                    {"\"\"", "\"a&amp;b\"", "\"http://www.w3.org/XML/1998/namespace\"",
                     "\"http://www.w3.org/2000/xmlns/\"", "\"\xC3\xA4\"", "\" \"",
                     "\"\thttp://schemas.openxmlformats.org/wordprocessingml/2006/main\""});
    }

    std::string attribute() {
        return pick({" ", "\n", "\t ", "\r\n"}, {""}) +
               pick({"val", "xml:space", "a", "b", "c-.1"}, {"w:val", "x:val", "y:a", "w:a", "\xC3\xA4", "1", ":a"}) +
               pick({"="}, {" = ", ""}) +
               pick({"\"code\"", "'code'", "\"a&lt;\"", "'\xC3\xA4\"'", "\"]]>\"", "\"a\n\t\"", "\"a\r\n\""},
                    {"\"co&#100;e\"", "\"a<\"", "\"a&b;\"", "\"\xC3\"", "\"\x01\"", "\"&#0;\"", "a"});
    }

    std::string attributes() {
        std::string made;
        while (below(10) == 0) {
            made += below(3) == 0 ? binding() : attribute();
        }
        return made + pick({"", "", "", " ", "\n"});
    }

    std::string element(const std::string& local, const std::string& extra, const std::string& content) {
        const std::string qualified = name(local);
        if (content.empty() && below(2) == 0) {
            return "<" + qualified + extra + attributes() + "/>";
        }
        return "<" + qualified + extra + attributes() + ">" + content + "</" + (isOdd() ? name(local) : qualified) +
               pick({"", "", "", " "}) + ">";
    }

    std::string root() {
        const std::string ns = "=\"http://schemas.openxmlformats.org/wordprocessingml/2006/main\"";
        std::string bodies;
        for (std::uint64_t count = below(8) == 0 ? below(3) : 1; count != 0; --count) {
            bodies += space() + element(pick({"body", "body", "body", "other"}), "", paragraphs());
        }
        return element("document", " xmlns" + (prefix_.empty() ? "" : ":" + prefix_) + ns, bodies + space());
    }

    std::string paragraphs() {
        std::string made;
        for (std::uint64_t count = below(4); count != 0; --count) {
            made += space() + element(pick({"p", "p", "p", "p", "q"}), "", paragraph());
        }
        return made;
    }

    /// Properties and runs in any number and order, as only the first of each counts.
    std::string paragraph() {
        std::string made;
        for (std::uint64_t count = below(5); count != 0; --count) {
            made += space() + (below(2) == 0 ? properties() : element(pick({"r", "r", "r", "s"}), "", texts()));
        }
        return below(3) == 0 ? made : properties() + element("r", "", texts()) + made;
    }

    std::string properties() {
        const std::string value =
            " " + name("val") + "=" + pick({"\"code\"", "\"code\"", "'code'", "\"text\"", "\"Code\""});
        return element("pPr", "", below(8) == 0 ? "" : element("pStyle", below(8) == 0 ? "" : value, ""));
    }

    std::string texts() {
        std::string made;
        for (std::uint64_t count = 1 + below(2); count != 0; --count) {
            made += space() + element(pick({"t", "t", "t", "b"}), "", text(2));
        }
        return made;
    }

    std::string space() { return below(16) == 0 ? aside() : pick({"", "", "", "\n  ", " ", "\t", "stray", "\r\n "}); }

    std::string text(int depth) {
        std::string made;
        for (std::uint64_t count = below(5); count != 0; --count) {
            made += below(12) == 0 && depth != 0 ? element(pick({"b", "t", "p"}), "", text(depth - 1)) : piece();
        }
        return made;
    }

    /// A piece of text. The lengths of plain text reach beyond the block that the reader looks at in one step.
    std::string piece() {
        switch (below(6)) {
        case 0:
            return std::string(below(70), static_cast<char>('a' + below(26)));
        case 1:
            return "<![CDATA[" +
                   pick({"", "a<b&&c", "]]", "]", "]]]", "\xE2\x82\xAC", "]>", "a\n]]\xC3\xA4", "\r\n", "a\r", "<!--",
                         "<?p?>"},
                        {"\xFF", "]]>", "\x02"}) +
                   "]]>";
        case 2:
            return pick({"&lt;", "&gt;", "&amp;", "&quot;", "&apos;", "&#65;", "&#x1F600;", "&#10;", "&#13;", "&#x9f;"},
                        {"&#0;", "&#xD800;", "&#xFFFE;", "&#x110000;", "&#000000065;", "&#X41;", "&#;", "&#x;", "&lt",
                         "&b;", "&", "&#1;", "&LT;"});
        case 3:
            return pick({"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xEF\xBB\xBF", "\xC2\x85", "\xE2\x80\xA8",
                         "\xEF\xBF\xBD", "\x7F", "\xF0\x9F\xBF\xBE", "\xEE\x80\x80", "\xF4\x8F\xBF\xBF"},
                        {"\xEF\xBF\xBE", "\xED\xA0\x80", "\xC0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80",
                         "\xE0\x80\x80", "\xF0\x80\x80\x80"});
        case 4:
            return below(4) == 0 ? aside() : pick({"\r", "\r\n", "\r\r", "\n\r", "-", "--", "?>"});
        default:
            return pick({"\n", "\t", "]", "]]", ">", "]>", " ", "'", "\"", "x = 1", " end", "a\nb"},
                        {"]]>", "\x01", "\x1F", "<", "<!", "<!->", "<?"});
        }
    }

    /// Inserts a piece of markup, or takes some bytes out, wherever that is: also within a character.
    void breakAt(std::string& made, std::size_t at) {
        const std::string piece =
            pick({"<", ">",  "&",  "\"", "'",    "/",     " ",    "=", ":",      "]]>",   "<![CDATA[",   "<!--",
                  "-", "<?", "?>", "\r", "\xC3", "xmlns", "\x02", "a", "</w:p>", "<w:t>", "<!DOCTYPE d>"});
        if (below(2) == 0) {
            made.insert(at, piece);
        } else {
            made.erase(at, 1 + below(4));
        }
    }

    std::mt19937_64 random_;
    std::uint64_t oddOneIn_ = 1;  ///< how rarely something is chosen that is malformed, or unusual
    std::string prefix_;
};

}  // namespace fuzzing
