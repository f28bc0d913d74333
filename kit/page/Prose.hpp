#pragma once

#include "kit/document/RichText.hpp"
#include "kit/page/Figures.hpp"

#include <cstddef>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// Writes prose and code in their order. Lines of code are numbered as those of the code alone.
class Prose {
public:
    Prose(Markup& out, Figures& figures) : out_(&out), figures_(&figures) {}

    void write(const std::vector<Paragraph>& paragraphs);

    /// How many lines of code there are, those included that a page is too small for.
    std::size_t lineCount() const noexcept { return lineCount_ + unshownCount_; }

private:
    using Runs = std::vector<Run>::const_iterator;

    void gatherLines(std::string_view code, bool isLast);
    void gatherLine(std::string_view line);
    std::string_view linkTargetOf(const Run& run);
    void writeListing();
    void writeLine(std::string_view line);
    void writeParagraph(const Paragraph& paragraph);
    void writeRuns(int heading, Runs begin, Runs end);
    void writeRun(const Run& run);

    Markup* out_;
    Figures* figures_;
    std::vector<std::string_view> pending_;  ///< lines of the listing that is being gathered
    std::size_t lineCount_ = 0;
    std::size_t unshownCount_ = 0;
    std::size_t linkBytes_ = 0;
    std::size_t level_ = 1;  ///< of the last heading
};

}  // namespace flowbook::kit
