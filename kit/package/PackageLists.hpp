#pragma once

#include "fl/Bytes.hpp"
#include "flowbook/FlowbookFilePackage.hpp"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace flowbook::kit {

/// The content types of the parts of a damaged package: as its list says, else by the names that flowbooks use.
class PartTypes {
public:
    /// Takes what the list says, up to a fault, about parts that no earlier list named. @returns whether it is whole.
    bool read(const fl::Bytes& xml);

    /// The type that the list gives a part; empty when it gives nothing that is a content type.
    std::u16string declared(const std::string& partName) const;

    /// The names of the parts that the list names, as it writes them.
    const std::set<std::string>& names() const noexcept { return names_; }

    static std::u16string guess(const std::string& partName, const fl::Bytes& content);

private:
    std::map<std::string, std::string> types_;  ///< by folded name, or by "." and folded extension
    std::set<std::string> names_;
};

/// The relationships that a list holds, up to a fault.
struct FoundRelationships {
    std::vector<FlowbookFilePackage::Relationship> records;
    std::vector<std::string> faulty;  ///< ids of those with a target mode that there is none of
    bool isWhole = false;

    bool isDamaged() const noexcept { return !isWhole || !faulty.empty(); }
};

FoundRelationships readRelationships(const fl::Bytes& xml);

/// Whether a content type is that of code; of pictures; of a part in XML that reading a flowbook needs.
bool isCodeType(const std::u16string& contentType);
bool isPictureType(const std::u16string& contentType);
bool isNeededXml(const std::u16string& contentType);

bool isWellFormedXml(const fl::Bytes& xml);

/// The relationship type that leads from code to a picture.
std::u16string pictureRelationshipType();

/// The relationship type that leads from a package to a part of this name and content type; empty for other parts.
std::u16string packageRelationshipType(const std::string& partName, const std::u16string& contentType);

/// The relationships of a code part to its pictures, where those were lost: the pictures, in the order of their
/// numbers, get the ids that the text shows pictures by; where there are not as many, the first id goes to the picture
/// that has the number 1, and so on, and others get ids that the text does not name.
/// @param pictures  part names, in the order in which they lie in the file.
/// @param known     what is known of the relationships; its ids and targets are left out of the result.
std::vector<FlowbookFilePackage::Relationship>
guessPictures(const fl::Bytes& document, const std::vector<std::string>& pictures,
              const std::vector<FlowbookFilePackage::Relationship>& known);

/// The ids of the relationships by which a rich text shows pictures, by their numbers; none for what is no such text.
std::vector<std::string> shownPictures(const fl::Bytes& document);

/// The ids of all relationships that a rich text names: of pictures, links and others; none for what is no XML.
std::set<std::string> namedRelationships(const fl::Bytes& document);

/// The content type of plain code for a document that is just what saving its code as text makes, else that of rich
/// code, or of encrypted code for what is no XML.
std::u16string guessCodeType(const fl::Bytes& document);

}  // namespace flowbook::kit
