#pragma once

#include "kit/page/Figures.hpp"
#include "kit/page/Pieces.hpp"

#include <cstddef>
#include <string_view>

namespace flowbook::kit {

/// Writes pieces that stand in lines.
class InlineWriter {
public:
    InlineWriter(Markup& out, Figures& figures) : out_(&out), figures_(&figures) {}

    void write(const Piece& piece);

private:
    void writeText(const Piece& piece);
    std::string_view targetOf(const Look& look);

    Markup* out_;
    Figures* figures_;
    std::size_t linkBytes_ = 0;
};

}  // namespace flowbook::kit
