#pragma once

#include "flowbook/FlowbookExport.hpp"

#include <string>
#include <vector>

namespace flowbook {

/// A copy of a flowbook package in memory: its parts with their bytes, content types and
/// relationships, and the package's own relationships. A plain value: nothing in it is checked for
/// consistency, no file is held, every accessor returns a copy. Distinct objects may be used from
/// different threads.
class PXFLOWBOOK_EXPORT FlowbookFilePackage {
public:
    /// A relationship of the package or of a part (ECMA-376-2, clause 9.3).
    struct Relationship {
        std::u16string type;    ///< the relationship type, a URI
        std::u16string target;  ///< as stored; of an internal one usually the absolute part name
        std::u16string id;      ///< unique per source, such as "rId1"
        bool isInternal;        ///< whether the target is a part of the package
    };

    /// A part of the package with the relationships that it is the source of.
    struct Part {
        std::vector<unsigned char> content;       ///< the bytes as they are in the package
        std::u16string contentType;               ///< in full, parameters included
        std::u16string partName;                  ///< absolute, such as "/tarmic/document.xml"
        std::vector<Relationship> relationships;  ///< whose source is this part
    };

    /// A new flowbook: an empty document part, an empty output part, and the package relationships to
    /// them. The output part has the layout that the user's settings ask for; a file of settings that cannot be used
    /// counts as none.
    FlowbookFilePackage();

    /// Copies of the given parts and package relationships, in their order; the arguments are not
    /// changed.
    FlowbookFilePackage(std::vector<Part>& parts, std::vector<Relationship>& relationships);

    /// As above, without copying.
    FlowbookFilePackage(std::vector<Part>&& parts, std::vector<Relationship>&& relationships) noexcept;

    /// A new flowbook whose document part has the given bytes, unchecked.
    explicit FlowbookFilePackage(std::vector<unsigned char>& documentContent);

    /// A new flowbook with a document and its images. Each image string, such as
    /// "data:image/png;base64,...", becomes a part, whole and undecoded, of the type that the string
    /// names and numbered per extension, with a relationship ("rId1", ... in list order) of the
    /// document part. The image parts come before the document and the output part.
    FlowbookFilePackage(std::vector<unsigned char>& documentContent, std::vector<std::string>& images);

    std::vector<Part> getParts() const;
    std::vector<Relationship> getRelationships() const;

    /// The types of the package relationships that belong to a flowbook: document, output,
    /// documentation, styles, in this order.
    static std::vector<std::u16string> getPackageRelationshipTypes();

    /// The document part with the empty rich code document: one code paragraph without text.
    static Part createEmptyDocumentPart();
    static Part createDocumentPartWithContent(std::vector<unsigned char>& content);

    /// The output part without outputs, in the user's preferred layout.
    static Part createEmptyOutputPart();

    static Relationship createDocumentRelationship();  ///< always "rId1"
    static Relationship createOutputRelationship();    ///< always "rId2"

    /// An image part; nothing is checked.
    /// @param contentType  UTF-8. @param data  the part's bytes.
    static Part createImagePart(std::u16string& partName, std::string& contentType, std::string& data);

    /// The document part's relationship "rId<relationshipNumber>" to
    /// "/media/image<imageNumber>.<extension>"; nothing is checked.
    /// @param extension  UTF-8; malformed text throws the platform's conversion error.
    static Relationship createImageRelationship(int relationshipNumber, std::string& extension, int imageNumber);

private:
    std::vector<Part> parts_;
    std::vector<Relationship> relationships_;
};

}  // namespace flowbook
