#include "kit/page/Prose.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

constexpr Markup::Name kHeadings[] = {"h1", "h2", "h3", "h4", "h5", "h6"};

void addLines(std::vector<std::string_view>& lines, std::string_view code) {
    for (std::size_t end = code.find('\n'); end != std::string_view::npos; end = code.find('\n')) {
        lines.push_back(code.substr(0, end));
        code.remove_prefix(end + 1);
    }
    lines.push_back(code);
}

bool isPictureRun(const Run& run) { return !run.picture.empty(); }

bool hasText(const Run& run) { return run.text.find_first_not_of(" \t\n") != std::string::npos; }

}  // namespace

void Prose::write(const std::vector<Paragraph>& paragraphs) {
    for (const Paragraph& paragraph : paragraphs) {
        if (paragraph.code) {
            addLines(pending_, *paragraph.code);
        } else if (std::any_of(paragraph.runs.begin(), paragraph.runs.end(),
                               [](const Run& run) { return isPictureRun(run) || hasText(run); })) {
            writeListing();
            writeParagraph(paragraph);
        }
    }
    // A line feed at the end of the code ends its last line and begins none.
    if (!pending_.empty() && pending_.back().empty()) {
        pending_.pop_back();
    }
    writeListing();
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

void Prose::writeRun(const Run& run) {
    const std::string target = run.link.empty() ? std::string() : figures_->linkTarget(run.link);
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
