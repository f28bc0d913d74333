#pragma once

#include "kit/document/References.hpp"
#include "kit/document/RichText.hpp"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// The text that stands for a reference.
using SpellReference = std::function<std::string(const std::string& id)>;

/// A child of the body of rich code: a paragraph, a table or the like.
struct MergeBlock {
    XmlSpan span{};       ///< from the end of the one before, so that white space between them is kept
    std::string style;    ///< names, attributes and text as one text, which does not depend on how they are written; of
                          ///< a paragraph of code without its code
    std::string text;     ///< for people; of a paragraph of code what stands beside the code
    Paragraph paragraph;  ///< of one whose code can be replaced; else without code
};

/// A line of a document: a block, or a line of the code in it.
struct BlockLine {
    std::size_t block;
    std::size_t line;  ///< of the block's code, from 0
    std::string text;  ///< of that line
};

/// A rich code document cut into lines that can be merged, and what it takes to put such lines together again.
class ParagraphLines {
public:
    /// @param references  of the document.
    /// @param compared    stands for a reference where texts are compared.
    /// @returns nothing for a document that is malformed or has no body.
    static std::optional<ParagraphLines> cut(const fl::Bytes& document, std::vector<Reference> references,
                                             const SpellReference& compared);

    const std::vector<MergeBlock>& blocks() const noexcept { return blocks_; }
    const std::vector<BlockLine>& lines() const noexcept { return lines_; }

    /// What equal lines have in common.
    /// @param withStyle  whether code counts as different that looks different or is divided differently.
    std::string keyOf(const BlockLine& line, bool withStyle) const;

    bool isCode(const BlockLine& line) const { return blocks_[line.block].paragraph.code.has_value(); }

    /// Whether a paragraph of code shows words, or refers to something, beside its code.
    bool hasBeside(const MergeBlock& block) const {
        return block.paragraph.code && (!block.text.empty() || !idsIn(block.span).empty());
    }

    /// What is declared around the lines, by prefix.
    const std::map<std::string, std::string>& namespaces() const noexcept { return namespaces_; }

    /// What stands before the first block, and behind the last.
    XmlSpan head() const noexcept { return head_; }
    XmlSpan tail() const noexcept { return tail_; }
    /// The elements around the blocks as MergeBlock::style has it.
    const std::string& frameStyle() const noexcept { return frameStyle_; }
    /// Where the start tag of the root takes more attributes.
    std::size_t rootAttributes() const noexcept { return rootAttributes_; }

    /// A piece of the document with its references spelled anew.
    std::string spelled(XmlSpan span, const SpellReference& spell) const;

    /// A block likewise, with other code in it. @param code  none for its own.
    std::string spelled(const MergeBlock& block, const std::optional<std::string>& code,
                        const SpellReference& spell) const;

    /// The ids of the references in a piece of the document.
    std::vector<std::string> idsIn(XmlSpan span) const;

private:
    ParagraphLines() = default;
    void addBlocks(RichText&& text, std::vector<std::string>&& styles, std::vector<std::string>&& texts);
    std::vector<Reference>::const_iterator firstReference(std::size_t from) const;

    std::string document_;
    std::vector<Reference> references_;
    std::vector<MergeBlock> blocks_;
    std::vector<BlockLine> lines_;
    std::map<std::string, std::string> namespaces_;
    XmlSpan head_{}, tail_{};
    std::string frameStyle_;
    std::size_t rootAttributes_ = 0;
};

/// A document with its references spelled anew.
std::string spelled(std::string_view document, const std::vector<Reference>& references, const SpellReference& spell);

}  // namespace flowbook::kit
