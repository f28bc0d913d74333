#include "kit/compare/MarkedCode.hpp"

#include "kit/compare/ParagraphLines.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

namespace {

constexpr std::string_view kOursMark = "<<<<<<< ", kMiddleMark = "=======", kTheirsMark = ">>>>>>> ";

/// Where a conflict lies among lines; nothing when its markers are not complete.
struct MarkedLines {
    std::size_t begin, middle, end;
};

std::optional<MarkedLines> findMarked(const std::vector<std::string_view>& lines, std::size_t from) {
    enum { Outside, Ours, Theirs } place = Outside;
    MarkedLines found{0, 0, 0};
    for (std::size_t i = from; i < lines.size(); ++i) {
        if (startsWith(lines[i], kOursMark)) {
            found.begin = i;
            place = Ours;
        } else if (place == Ours && lines[i] == kMiddleMark) {
            found.middle = i;
            place = Theirs;
        } else if (place == Theirs && startsWith(lines[i], kTheirsMark)) {
            found.end = i;
            return found;
        }
    }
    return std::nullopt;
}

/// Which lines a side has, of all; nothing that is not in conflict is left out.
std::vector<bool> keptLines(const std::vector<std::string_view>& lines, Side side) {
    std::vector<bool> kept(lines.size(), true);
    const auto leaveOut = [&](std::size_t begin, std::size_t end) {
        std::fill(kept.begin() + static_cast<std::ptrdiff_t>(begin), kept.begin() + static_cast<std::ptrdiff_t>(end),
                  false);
    };
    for (auto found = findMarked(lines, 0); found; found = findMarked(lines, found->end + 1)) {
        kept[found->begin] = false;
        side == Side::Ours ? leaveOut(found->middle, found->end + 1) : leaveOut(found->begin, found->middle + 1);
        kept[found->end] = false;
    }
    return kept;
}

}  // namespace

bool hasMarkers(const fl::Bytes& document) {
    const std::vector<std::string> paragraphs = codeParagraphs(document);
    std::vector<std::string_view> lines;
    for (std::string_view text : paragraphs) {
        for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
            lines.push_back(text.substr(0, end));
            text.remove_prefix(end + 1);
        }
        lines.push_back(text);
    }
    return findMarked(lines, 0).has_value();
}

fl::Bytes settledCode(const fl::Bytes& document, Side side) {
    const auto asItStands = [](const std::string& id) { return escapedValue(id); };
    const auto paragraphs = ParagraphLines::cut(inUtf8(document, "the code"), {}, asItStands);
    if (!paragraphs) {
        throw opc::Exception(opc::ErrorKind::Damaged, "the code cannot be read");
    }
    std::vector<std::string_view> texts;
    for (const BlockLine& line : paragraphs->lines()) {
        texts.push_back(paragraphs->isCode(line) ? std::string_view(line.text) : std::string_view());
    }
    const std::vector<bool> kept = keptLines(texts, side);
    std::string result = paragraphs->spelled(paragraphs->head(), asItStands);
    std::size_t line = 0;
    for (std::size_t block = 0; block < paragraphs->blocks().size(); ++block) {
        std::optional<std::string> code;
        for (; line < texts.size() && paragraphs->lines()[line].block == block; ++line) {
            if (kept[line]) {
                code = code ? *code + "\n" + std::string(texts[line]) : std::string(texts[line]);
            }
        }
        const MergeBlock& each = paragraphs->blocks()[block];
        const bool isCode = each.paragraph.code.has_value();
        result += code ? paragraphs->spelled(each, isCode ? code : std::nullopt, asItStands) : "";
    }
    result += paragraphs->spelled(paragraphs->tail(), asItStands);
    return {result.begin(), result.end()};
}

}  // namespace flowbook::kit
