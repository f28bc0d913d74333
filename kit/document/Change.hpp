#pragma once

#include "fl/Bytes.hpp"
#include "kit/document/ParagraphEdits.hpp"
#include "opc/model/Package.hpp"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace flowbook::kit {

// The changes that a flowbook's package can take, as values. Texts are UTF-8 unless they say otherwise; names of parts
// are absolute, and "/" as a source of relationships is the package.

/// Other code, which becomes plain. What XML cannot hold becomes U+FFFD. Where there is more than code, the text is
/// divided among the code paragraphs, and refused when it is not clear which line belongs to which.
struct SetPlainCode {
    std::u16string text;
    bool flatten = false;  ///< whether the code becomes plain, and prose, formatting and pictures in the text go
};

/// Changes of single paragraphs of rich or plain code.
struct EditParagraphs {
    std::vector<ParagraphEdit> edits;
};

/// A rich code document takes the place of the code.
struct SetRichCode {
    fl::Bytes document;
};

/// Encrypted code, as it is to be stored.
struct SetEncryptedCode {
    fl::Bytes content;
};

/// Sets an element of the core properties that holds text, such as "title" or "creator", by its local name; without a
/// value, removes any element of that name.
struct SetProperty {
    std::string label;
    std::optional<std::string> value;
};

/// Adds a picture that belongs to the code, stored as a data URI.
struct AddPicture {
    std::string mediaType;
    fl::Bytes content;
};

/// Replaces a part's content, or adds a part. Pictures are decoded ones where the part held a data URI.
struct PutPart {
    std::string name;
    std::string contentType;  ///< in full; empty keeps the one of the part
    fl::Bytes content;
    bool isNew = false;      ///< whether the part must not be there yet, or must
    bool isPicture = false;  ///< stored as a data URI of the content type
};

/// Removes a part, its relationships, and those that lead to it.
struct RemovePart {
    std::string name;
};

/// Gives a part another name, which the relationships to it follow. Its relationships stay with it.
struct RenamePart {
    std::string name;
    std::string to;
};

/// Adds a relationship. An empty id gives a free one.
struct AddRelationship {
    std::string source;
    std::string id;
    std::string type;
    std::string target;
    bool isInternal = true;
};

struct RemoveRelationship {
    std::string source;
    std::string id;
};

using Change = std::variant<SetPlainCode, EditParagraphs, SetRichCode, SetEncryptedCode, SetProperty, AddPicture,
                            PutPart, RemovePart, RenamePart, AddRelationship, RemoveRelationship>;

/// What a change has made: the name of a part, the id of a relationship; empty where it has made none.
struct Made {
    std::string part;
    std::string relationship;
};

/// Makes a change in a package that is open for update. Applying the same changes to the same package makes the same
/// names and ids. When it throws, the package may hold a part of the change and is to be dropped.
/// @throws opc::Exception: of kind Misuse or Conflict for what the package cannot take, Damaged for rich code that is
///         none, LimitExceeded.
Made apply(const Change& change, opc::model::Package& package);

/// Notes release and time of a save in the properties, as every save does.
void stamp(opc::model::Package& package);

}  // namespace flowbook::kit
