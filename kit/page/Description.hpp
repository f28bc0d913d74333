#pragma once

#include "kit/document/Document.hpp"
#include "kit/document/XmlTree.hpp"
#include "kit/page/Definitions.hpp"
#include "kit/page/Pieces.hpp"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// Describes paragraphs of one version, so that those of two versions can be compared: what they say and look like is
/// the same where the descriptions are. What a program gives anew each time, such as ids of relationships, is left out.
class Description {
public:
    /// @param document, definitions  must outlive this object.
    Description(const Document& document, const Definitions& definitions);

    /// Takes ids from now on as these relationships have them; at first, as those of the document have them.
    void follow(const std::vector<opc::model::Relationship>& relationships);

    /// Its place in a list, as a heading and from the margin.
    std::string ofParagraph(const XmlNode& paragraph) const;

    /// How a piece of a paragraph looks: where a link leads, the content of a picture and the form of a formula.
    std::string ofPiece(const Piece& piece);

    /// An element without text, and without the paragraphs and tables in it.
    std::string ofMarkup(const XmlNode& node);

    /// Its name and attributes alone.
    std::string ofTag(const XmlNode& node);

private:
    const std::string& ofTarget(std::string_view relationship);

    const Document* document_;
    const Definitions* definitions_;
    std::map<std::string, opc::model::Relationship, std::less<>> relationships_;  ///< by id
    std::map<std::string, std::string, std::less<>> targets_;                     ///< what is known of them already
};

}  // namespace flowbook::kit
