#pragma once

#include "kit/document/Document.hpp"
#include "kit/page/Faults.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// A picture that is small enough for a table of many.
struct Thumbnail {
    std::string uri;  ///< a data URI; empty when there is none
    std::uint64_t pixels = 0;
};

/// Whether an address may be a link: a place in the web or a mail address.
bool isLinkAddress(std::string_view address);

/// The pictures of a page, each held once, and the links: what the relationships of the document part lead to.
/// A picture whose decoding would take too much memory is a link by which it can be saved.
class Figures {
public:
    /// @throws opc::Exception when there are no relationships that can be read.
    /// @param ids  what the ids of the figures begin with.
    Figures(const Document& document, Faults& faults, std::string ids = "picture-");

    /// From now on ids are those of other relationships. @returns those that they were of.
    std::vector<opc::model::Relationship> follow(std::vector<opc::model::Relationship> relationships);

    /// The picture that a relationship names, or a link to where it stands already.
    /// @param words    describe the picture; may be empty.
    /// @param caption  inline content for below the picture; null for none.
    void write(Markup& out, const std::string& relationship, const std::string& words, const Markup* caption);

    /// The pictures that belong to the flowbook and stand nowhere in its text.
    void writeOthers(Markup& out);

    /// The picture in a part.
    void write(Markup& out, const opc::model::Part& part);

    /// A picture that is a data URI in a text.
    void writeDataUri(Markup& out, const std::string& uri);

    /// Where a hyperlink leads; empty unless it is a place in the web or a mail address.
    const std::string& linkTarget(const std::string& relationship) const;

    /// The first picture, if it is small.
    const Thumbnail& thumbnail() const noexcept { return thumbnail_; }

private:
    struct Picture;

    void addLink(const std::string& id, std::string target);
    void writePart(Markup& out, const opc::model::Part& part, const std::string& words, const Markup* caption);
    void writeNew(Markup& out, const Picture& picture);
    void writeImage(Markup& out, const Picture& picture);
    bool takesTooMuch(const Picture& picture);

    const Document* document_;
    Faults* faults_;
    std::vector<opc::model::Relationship> relationships_;
    std::map<std::string, std::size_t> byId_;
    std::map<std::string, std::string> links_;    ///< targets that may be links, by id
    std::map<std::string, std::string> anchors_;  ///< of what is shown already, by folded part name
    std::string ids_;
    std::size_t count_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t pixels_ = 0;
    Thumbnail thumbnail_;
};

}  // namespace flowbook::kit
