#pragma once

#include "kit/document/Document.hpp"
#include "kit/page/CodeTree.hpp"
#include "kit/page/Definitions.hpp"
#include "kit/page/Faults.hpp"
#include "kit/page/Figures.hpp"
#include "kit/page/Headings.hpp"
#include "kit/page/Links.hpp"
#include "kit/page/Notes.hpp"

#include <cstddef>
#include <optional>
#include <string>

namespace flowbook::kit {

/// The rich code document of a flowbook, for a page.
class DocumentText {
public:
    /// @param remains  what is left of the stored document, to be read in its place; null for none.
    /// @throws opc::Exception when there is a document and it cannot be read at all.
    DocumentText(const Document& document, const fl::Bytes* remains);

    /// Writes all of it, read past faults of its XML; where that cannot be, what follows is shown as it is stored.
    /// @param outline  takes links to the headings.
    /// @returns the number of lines of code; nothing where there is no code, or it was not read to its end.
    std::optional<std::size_t> write(Markup& out, Figures& figures, Faults& faults, Markup& outline) const;

    /// The language of its text (BCP 47): the one that its styles name for all text, or else the first that it names;
    /// empty when there is none.
    std::string language() const;

private:
    void showFaults(Markup& out, Faults& faults) const;
    bool writeNotes(Markup& out, Figures& figures, Links& links, Headings& headings, const Notes& notes) const;

    const Document* document_;
    std::optional<opc::model::Part> part_;  ///< nothing when there is no document that can be read
    fl::Bytes stored_;
    CodeTree code_;
    std::optional<Definitions> definitions_;  ///< when there is a document
};

}  // namespace flowbook::kit
