#pragma once

#include "kit/page/Links.hpp"
#include "kit/page/Markup.hpp"
#include "kit/page/Pieces.hpp"

namespace flowbook::kit {

/// Writes pieces that stand in lines.
class InlineWriter {
public:
    InlineWriter(Markup& out, Links& links) : out_(&out), links_(&links) {}

    void write(const Piece& piece);

private:
    void writeText(const Piece& piece);
    void writeRemark(const Piece& piece);

    Markup* out_;
    Links* links_;
};

}  // namespace flowbook::kit
