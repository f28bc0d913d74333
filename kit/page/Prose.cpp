#include "kit/page/Prose.hpp"

#include "kit/page/Wording.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

constexpr Markup::Name kHeadings[] = {"h1", "h2", "h3", "h4", "h5", "h6"};

// What a small file can be inflated to would otherwise make pages that no machine can hold.
constexpr std::size_t kMostLines = 200000;
constexpr std::size_t kMostLinkBytes = std::size_t{16} << 20;

bool isPictureRun(const Run& run) { return !run.picture.empty(); }

bool isCode(const Paragraph& paragraph) { return paragraph.code.has_value(); }

bool hasText(const Run& run) { return run.text.find_first_not_of(" \t\n") != std::string::npos; }

bool isShown(const Run& run) { return isPictureRun(run) || hasText(run); }

}  // namespace

void Prose::write(const std::vector<Paragraph>& paragraphs) {
    const auto lastCode = std::find_if(paragraphs.rbegin(), paragraphs.rend(), isCode);
    for (const Paragraph& paragraph : paragraphs) {
        if (paragraph.code) {
            gatherLines(*paragraph.code, &paragraph == &*lastCode);
        } else if (std::any_of(paragraph.runs.begin(), paragraph.runs.end(), isShown)) {
            writeListing();
            writeParagraph(paragraph);
        }
    }
    writeListing();
    if (unshownCount_ != 0) {
        writeNotice(*out_, "Too long to be shown whole",
                    counted(unshownCount_, "line") + " of code after line " + grouped(lineCount_) + " left out.");
    }
}

/// A line feed at the end of the code ends its last line and begins none.
void Prose::gatherLines(std::string_view code, bool isLast) {
    for (std::size_t end = code.find('\n'); end != std::string_view::npos; end = code.find('\n')) {
        gatherLine(code.substr(0, end));
        code.remove_prefix(end + 1);
    }
    if (!isLast || !code.empty()) {
        gatherLine(code);
    }
}

void Prose::gatherLine(std::string_view line) {
    if (lineCount_ + pending_.size() < kMostLines) {
        pending_.push_back(line);
    } else {
        ++unshownCount_;
    }
}

void Prose::writeListing() {
    if (pending_.empty()) {
        return;
    }
    const std::string first = std::to_string(lineCount_ + 1);
    const std::string last = std::to_string(lineCount_ + pending_.size());
    const std::string label = first == last ? "Code, line " + first : "Code, lines " + first + " to " + last;
    out_->open("pre", {{"tabindex", "0"}, {"role", "region"}, {"aria-label", label}});
    for (const std::string_view line : pending_) {
        writeLine(line);
    }
    out_->close();
    pending_.clear();
}

void Prose::writeLine(std::string_view line) {
    const std::string number = std::to_string(++lineCount_);
    const std::string anchor = "L" + number;
    out_->open("span", {{"class", "line"}, {"id", anchor}}).element("a", {{"href", "#" + anchor}}, number);
    out_->element("code", line).text("\n").close();
}

void Prose::writeParagraph(const Paragraph& paragraph) {
    auto at = paragraph.runs.begin();
    for (auto next = at; next != paragraph.runs.end(); at = next + 1) {
        next = std::find_if(at, paragraph.runs.end(), isPictureRun);
        writeRuns(paragraph.heading, at, next);
        if (next == paragraph.runs.end()) {
            return;
        }
        figures_->write(*out_, next->picture);
    }
}

/// Headings say what they are below; no level is left out, so that they can be found one from another.
void Prose::writeRuns(int heading, Runs begin, Runs end) {
    if (std::none_of(begin, end, hasText)) {
        return;
    }
    if (heading > 0) {
        level_ = std::min({static_cast<std::size_t>(heading), level_, std::size(kHeadings) - 1});
        out_->open(kHeadings[level_], {{"dir", "auto"}});
        ++level_;
    } else {
        out_->open("p", {{"dir", "auto"}});
    }
    std::for_each(begin, end, [this](const Run& run) { writeRun(run); });
    out_->close();
}

/// A long target may be that of any number of runs.
std::string_view Prose::linkTargetOf(const Run& run) {
    const std::string_view target = run.link.empty() ? std::string_view() : figures_->linkTarget(run.link);
    linkBytes_ += target.size();
    return linkBytes_ <= kMostLinkBytes ? target : std::string_view();
}

void Prose::writeRun(const Run& run) {
    const std::string_view target = linkTargetOf(run);
    std::size_t open = 0;
    const auto openIf = [&](bool wanted, Markup::Name name) { wanted ? (out_->open(name), ++open) : open; };
    if (!target.empty()) {
        out_->open("a", {{"href", target}, {"rel", "noopener noreferrer"}});
        ++open;
    }
    openIf(run.bold, "strong");
    openIf(run.italic, "em");
    openIf(run.underline, "u");
    openIf(run.strike, "s");
    for (out_->lines(run.text); open > 0; --open) {
        out_->close();
    }
}

}  // namespace flowbook::kit
