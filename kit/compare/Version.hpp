#pragma once

#include "flowbook/FlowbookFilePackage.hpp"
#include "kit/document/Document.hpp"

#include <map>
#include <string>
#include <vector>

namespace flowbook::kit {

struct Node;

/// A relationship with what it leads to.
struct Link {
    FlowbookFilePackage::Relationship record;
    const Node* source = nullptr;  ///< null for the package
    const Node* target = nullptr;  ///< the part of an internal one; null when there is none
    std::string fragment;          ///< what follows the target's "#", with it
    std::string place;             ///< a digest of type, mode and the name of the part, or what is written in its place
    /// Type, mode and what is found there: parts of one content type, the same bytes and the same relationships of
    /// their own give the same text under any name.
    std::string leadsTo;
};

/// A part of a version. Its bytes stay in the file until they are asked for.
struct Node {
    opc::model::Part part;
    std::string name;  ///< folded
    std::u16string contentType;
    std::string own;   ///< a digest of the content type and the bytes; of core properties as partDigest() takes them
    std::string deep;  ///< a digest of that and of all that the relationships lead to
    std::vector<Link> links;
};

/// One version of a flowbook as a graph: what it shows, rather than how its parts and relationships are called.
class Version {
public:
    /// An empty one.
    Version() = default;

    /// Reads each part once. @param document  outlives the object.
    /// @throws opc::Exception when a part cannot be read.
    explicit Version(const Document& document);
    Version(const Version&) = delete;
    Version& operator=(const Version&) = delete;

    const Document* document() const noexcept { return document_; }
    const Node* code() const noexcept { return code_; }
    CodeForm form() const noexcept { return form_; }

    /// The relationships of the package, in their order.
    const std::vector<Link>& links() const noexcept { return links_; }

    /// The parts that no relationship leads to.
    std::vector<const Node*> unreached() const;

private:
    void addNodes();
    void findCode();
    void addLinks(const opc::model::RelationshipSource& from, const Node* source, std::vector<Link>& links);
    void digestDeeply();
    void digestUpwards();

    const Document* document_ = nullptr;
    const Node* code_ = nullptr;
    CodeForm form_ = CodeForm::None;
    std::map<std::string, Node> nodes_;  ///< by name
    std::vector<Link> links_;
};

}  // namespace flowbook::kit
