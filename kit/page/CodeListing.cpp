#include "kit/page/CodeListing.hpp"

#include "kit/page/Faults.hpp"
#include "kit/page/Wording.hpp"

#include <string>

namespace flowbook::kit {

namespace {

// What a small file can be inflated to would otherwise make pages that no machine can hold.
constexpr std::size_t kMostLines = 200000;

// The style gives the height of a block of so many lines.
constexpr std::size_t kLinesOfBlock = 100;

}  // namespace

void CodeListing::add(std::string_view code, const Markup& before, const Markup& after, bool isLast) {
    static const Markup& none = *new Markup;
    const Markup* first = &before;
    for (std::size_t end = code.find('\n'); end != std::string_view::npos; end = code.find('\n')) {
        const bool isEnd = isLast && end + 1 == code.size();
        writeLine(code.substr(0, end), *first, isEnd ? after : none);
        if (isEnd) {
            return;
        }
        code.remove_prefix(end + 1);
        first = &none;
    }
    if (!isLast || !code.empty() || !before.finished().empty() || !after.finished().empty()) {
        writeLine(code, *first, after);
    }
}

void CodeListing::writeLine(std::string_view line, const Markup& before, const Markup& after) {
    if (lineCount_ == kMostLines) {
        ++unshownCount_;
        return;
    }
    if (gathered_ % kLinesOfBlock == 0) {
        if (gathered_ != 0) {
            lines_.close();
        }
        lines_.open("code", {{"translate", "no"}});
    }
    ++gathered_;
    const std::string number = std::to_string(++lineCount_);
    lines_.open("span", {{"id", "L" + number}});
    lines_.element("a", {{"href", "#L" + number}, {"tabindex", "-1"}}, number);
    lines_.append(before).text(line).append(after).text("\n").close();
}

void CodeListing::finish() {
    if (gathered_ == 0) {
        return;
    }
    lines_.close();
    const std::string first = std::to_string(lineCount_ - gathered_ + 1);
    const std::string last = std::to_string(lineCount_);
    const std::string label = first == last ? "Code, line " + first : "Code, lines " + first + " to " + last;
    out_->open("pre", {{"class", "code"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", label}});
    out_->append(lines_).close();
    lines_ = Markup();
    gathered_ = 0;
}

void CodeListing::writeRest() {
    if (unshownCount_ != 0) {
        writeNotice(*out_, "Too long to be shown whole",
                    counted(unshownCount_, "line") + " of code after line " + grouped(lineCount_) + " left out.");
    }
}

}  // namespace flowbook::kit
