// The lines of a paragraph in Markdown. An asterisk is a mark only beside certain characters (CommonMark, 6.2), and
// which ones depends on the whole line. Where it is certain, asterisks are written; everywhere else an HTML element,
// which means the same and cannot be misread.
#include "kit/markdown/MarkdownLines.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Pictures.hpp"

#include <algorithm>
#include <cctype>

namespace flowbook::kit {

using opc::model::Part;
using opc::model::Relationship;

namespace {

bool isAsciiWord(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 && (c & 0x80) == 0; }

/// Whether `*` beside the character begins or ends emphasis, independently of its other side: letters and digits.
/// Not all of them are recognised; where none is, an HTML element serves.
bool isLetterOrDigit(char32_t c) {
    return c < 0x80 ? isAsciiWord(static_cast<char>(c))
                    : (c >= 0xC0 && c <= 0x24F) || (c >= 0x400 && c <= 0x481) || (c >= 0x4E00 && c <= 0x9FFF);
}

bool isBetweenLetters(std::string_view text) {
    const std::u16string wide = fl::i18n::to_ustring(std::string(text));
    return !wide.empty() && isLetterOrDigit(wide.front()) && isLetterOrDigit(wide.back());
}

std::string codeSpan(const std::string& code) {
    // A longer run of backticks than any in the code; CommonMark, 6.1, takes one blank at each side away again.
    const std::string marks = backticksFor(code, 1);
    const bool isPadded = code.front() == '`' || code.back() == '`' || (code.front() == ' ' && code.back() == ' ');
    const std::string pad = isPadded && code.find_first_not_of(' ') != std::string::npos ? " " : "";
    return marks + pad + code + pad + marks;
}

/// A destination, between angle brackets where it holds more than letters, digits and the like.
std::string destination(std::string_view target) {
    const bool isPlain = !target.empty() && std::all_of(target.begin(), target.end(), [](char c) {
        return isAsciiWord(c) || std::string_view(":/?#@!$'+,;=._~%-").find(c) != std::string_view::npos;
    });
    if (isPlain) {
        return std::string(target);
    }
    // A line feed cannot stand in it, and none does, as targets of relationships are URIs.
    std::string result = "<";
    for (const char c : target) {
        result += c == '<' || c == '>' || c == '\\' || c == '&' ? std::string{'\\', c} : std::string{c};
    }
    return result + ">";
}

/// Text of one look, or a picture, as it stands in a line.
struct Segment {
    std::string text;
    Look look;
    bool isPicture = false;
    std::string words;
};

bool looksSame(const Look& a, const Look& b) {
    return a.bold == b.bold && a.italic == b.italic && a.underline == b.underline && a.strike == b.strike &&
           a.raised == b.raised && a.lowered == b.lowered && a.fixed == b.fixed && a.link == b.link;
}

/// The segments of a paragraph: neighbours of one look are one.
std::vector<Segment> segmentsOf(const std::vector<Piece>& pieces) {
    std::vector<Segment> segments;
    for (const Piece& piece : pieces) {
        if (piece.kind == Piece::Kind::Blocks) {
            continue;
        }
        const bool isPicture = piece.kind == Piece::Kind::Picture;
        const std::string text = piece.kind == Piece::Kind::Formula  ? piece.node->allText()
                                 : piece.kind == Piece::Kind::Remark ? "[" + piece.text + "]"
                                                                     : piece.text;
        Look look = piece.look;
        look.strike = look.strike || look.deleted;
        const bool isMore =
            !isPicture && !segments.empty() && !segments.back().isPicture && looksSame(segments.back().look, look);
        if (isMore) {
            segments.back().text += text;
        } else if (!text.empty() || isPicture) {
            segments.push_back({text, look, isPicture, piece.words});
        }
    }
    return segments;
}

/// Writes the lines of one paragraph.
class LineWriter {
public:
    LineWriter(const MarkdownTargets& targets, MarkdownLine kind) : targets_(targets), kind_(kind) {}

    std::vector<std::string> write(const std::vector<Segment>& segments) {
        for (std::size_t i = 0; i < segments.size();) {
            const std::string& link = segments[i].look.link;
            const std::string target = link.empty() ? "" : targets_.linkTo(link);
            std::size_t end = i + 1;
            for (; end < segments.size() && segments[end].look.link == link; ++end) {
            }
            lines_.back() += target.empty() ? "" : "[";
            for (; i < end; ++i) {
                segments[i].isPicture ? writePicture(segments[i]) : writeText(segments[i]);
            }
            lines_.back() += target.empty() ? "" : "](" + destination(target) + ")";
        }
        return lines_;
    }

private:
    void writePicture(const Segment& segment) {
        std::string words = segment.words;
        std::replace(words.begin(), words.end(), '\n', ' ');
        const auto picture = targets_.pictureAt(segment.text);
        const std::string missing = "[a picture is missing" + (words.empty() ? "" : ": " + words) + "]";
        const std::string shown = withEscapes(picture ? words : missing, kind_ == MarkdownLine::Heading);
        lines_.back() += picture ? "![" + shown + "](" + destination(*picture) + ")" : shown;
    }

    void writeText(const Segment& segment) {
        const std::string marks = marksOf(segment);
        // Elements are ended in the reverse order, as HTML requires.
        std::vector<const char*> open;
        const auto openIf = [&](bool isWanted, const char* element) {
            if (isWanted) {
                lines_.back() += "<" + std::string(element) + ">";
                open.push_back(element);
            }
        };
        const Look& look = segment.look;
        openIf(look.underline, "u");
        openIf(look.strike, "s");
        openIf(look.raised, "sup");
        openIf(look.lowered, "sub");
        openIf(look.bold && marks.empty(), "b");
        openIf(look.italic && marks.empty(), "i");
        lines_.back() += marks;
        writeLines(segment);
        lines_.back() += marks;
        for (; !open.empty(); open.pop_back()) {
            lines_.back() += "</" + std::string(open.back()) + ">";
        }
    }

    /// The asterisks of a text that is bold or italic; none where they would not be taken for marks.
    std::string marksOf(const Segment& segment) const {
        const Look& look = segment.look;
        // Two runs of asterisks in a row would be read as one run with another meaning.
        const bool isBesideOthers = !lines_.back().empty() && lines_.back().back() == '*';
        return look.fixed || isBesideOthers || !isBetweenLetters(segment.text)
                   ? ""
                   : std::string((look.bold ? 2 : 0) + (look.italic ? 1 : 0), '*');
    }

    void writeLines(const Segment& segment) {
        std::string_view rest = segment.text;
        for (bool isFirst = true; isFirst || !rest.empty(); isFirst = false) {
            const std::string line(rest.substr(0, rest.find('\n')));
            if (!line.empty()) {
                lines_.back() += segment.look.fixed ? fixed(line) : withEscapes(line, kind_ == MarkdownLine::Heading);
            }
            if (line.size() == rest.size()) {
                return;
            }
            rest.remove_prefix(line.size() + 1);
            breakLine();
        }
    }

    /// In backticks no backslash distinguishes a bar of the code from one between cells.
    std::string fixed(const std::string& line) const {
        const bool isPlain = kind_ != MarkdownLine::Cell || line.find('|') == std::string::npos;
        return isPlain ? codeSpan(line) : "<code>" + withEscapes(line, false) + "</code>";
    }

    void breakLine() {
        if (kind_ != MarkdownLine::Paragraph) {
            lines_.back() += "<br>";
        } else {
            lines_.emplace_back();
        }
    }

    const MarkdownTargets& targets_;
    MarkdownLine kind_;
    std::vector<std::string> lines_{""};
};

}  // namespace

MarkdownTargets::MarkdownTargets(const Document& document) : document_(document) {
    for (const Relationship& each : document.codeRelationships()) {
        byId_.emplace(fl::i18n::to_string(each.getID()), each);
    }
}

std::string MarkdownTargets::linkTo(const std::string& id) const {
    const auto found = byId_.find(id);
    const bool isLink = found != byId_.end() && found->second.getTargetMode() == opc::model::TargetMode::External;
    return isLink ? fl::i18n::to_string(found->second.getTarget()) : "";
}

std::optional<std::string> MarkdownTargets::pictureAt(const std::string& id) const {
    const auto found = byId_.find(id);
    const std::optional<Part> part = found == byId_.end() ? std::nullopt : document_.partAt(found->second);
    if (!part) {
        return std::nullopt;
    }
    const std::string type = fl::i18n::to_string(part->getContentType().getMediaType());
    return writeDataUri({"data:" + type + ";base64", pictureOf(contentOf(*part), part->getName().ascii())});
}

std::vector<std::string> markdownLines(const std::vector<Piece>& pieces, const MarkdownTargets& targets,
                                       MarkdownLine kind) {
    return LineWriter(targets, kind).write(segmentsOf(pieces));
}

std::string withEscapes(std::string_view text, bool isHeading) {
    // The tilde is no mark of CommonMark. Many programs that read more than that strike out what stands between two.
    constexpr std::string_view kMarks = "\\`*[]<~";
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const char next = i + 1 < text.size() ? text[i + 1] : '\0';
        // Within a word an underscore is never a mark, and names such as x_y_z stay readable.
        const bool isInWord = i != 0 && isAsciiWord(text[i - 1]) && isAsciiWord(next);
        const bool isMark = kMarks.find(c) != std::string_view::npos || (c == '_' && !isInWord) ||
                            (c == '&' && (isAsciiWord(next) || next == '#')) || (c == '!' && next == '\0') ||
                            (c == '#' && isHeading);
        if (c == '\t') {
            result += "&#9;";
        } else if (c == '\r') {
            result += "&#13;";
        } else {
            result += isMark ? std::string{'\\', c} : std::string{c};
        }
    }
    return result;
}

std::string withBlanks(std::string line) {
    if (!line.empty() && line.back() == ' ') {
        line.replace(line.size() - 1, 1, "&#32;");
    }
    return !line.empty() && line.front() == ' ' ? line.replace(0, 1, "&#32;") : line;
}

std::string guarded(std::string line) {
    line = withBlanks(std::move(line));
    // A line that begins as a list, heading, quote, rule or fence does would become one.
    const std::size_t digits = std::min(line.find_first_not_of("0123456789"), line.size());
    const auto isBlankAt = [&](std::size_t at) { return at == line.size() || line[at] == ' ' || line[at] == '&'; };
    if (digits != 0 && digits < line.size() && (line[digits] == '.' || line[digits] == ')') && isBlankAt(digits + 1)) {
        return line.insert(digits, 1, '\\');
    }
    const char first = line.empty() ? '\0' : line.front();
    const bool isMark = first == '#' || first == '>' || first == '=' ||
                        ((first == '-' || first == '+') && (isBlankAt(1) || line[1] == first));
    return isMark ? '\\' + line : line;
}

std::string backticksFor(std::string_view code, std::size_t least) {
    std::size_t longest = 0;
    std::size_t run = 0;
    for (const char c : code) {
        run = c == '`' ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return std::string(std::max(least, longest + 1), '`');
}

}  // namespace flowbook::kit
