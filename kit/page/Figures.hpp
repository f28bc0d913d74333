#pragma once

#include "kit/document/Document.hpp"
#include "kit/page/Faults.hpp"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

/// The pictures of a page, each held once, and the links: what the relationships of the document part lead to.
class Figures {
public:
    /// @throws opc::Exception when there are no relationships that can be read.
    Figures(const Document& document, Faults& faults);

    /// The picture that a relationship names, or a link to where it stands already.
    void write(Markup& out, const std::string& relationship);

    /// The pictures that belong to the flowbook and stand nowhere in its text.
    void writeOthers(Markup& out);

    /// Where a hyperlink leads; empty unless it is a place in the web or a mail address.
    const std::string& linkTarget(const std::string& relationship) const;

    /// The first picture as a data URI; empty when there is none, or it is large.
    const std::string& thumbnail() const noexcept { return thumbnail_; }

private:
    void addLink(const std::string& id, std::string target);
    std::optional<opc::model::Part> pictureAt(const opc::model::Relationship& relationship) const;
    void write(Markup& out, const opc::model::Part& part);
    void writeNew(Markup& out, const opc::model::Part& part);

    const Document* document_;
    Faults* faults_;
    std::vector<opc::model::Relationship> relationships_;
    std::map<std::string, std::size_t> byId_;
    std::map<std::string, std::string> links_;    ///< targets that may be links, by id
    std::map<std::string, std::string> anchors_;  ///< of what is shown already, by folded part name
    std::string thumbnail_;
};

}  // namespace flowbook::kit
