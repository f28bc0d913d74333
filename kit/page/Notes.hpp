#pragma once

#include "kit/document/Document.hpp"
#include "kit/document/XmlTree.hpp"
#include "kit/page/Faults.hpp"

#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// What belongs to a document's text and lies in parts of its own: footnotes, endnotes, comments, and what stands above
/// and below each printed page.
class Notes {
public:
    struct Note {
        std::string name;   ///< as nameOfNote() has it
        std::string kind;   ///< what it is, such as "footnote": the name without an id
        std::string about;  ///< who wrote it and when; empty when it does not say so
        const XmlNode* text;
        std::size_t part;  ///< for relationshipsOf()
    };

    explicit Notes(const Document& document);
    Notes(const Notes&) = delete;
    Notes& operator=(const Notes&) = delete;
    ~Notes() = default;

    /// In the order of their parts, and of the notes in those.
    const std::vector<Note>& all() const noexcept { return all_; }

    bool has(std::string_view name) const { return names_.count(name) != 0; }

    /// What the ids in a note's text refer to.
    const std::vector<opc::model::Relationship>& relationshipsOf(const Note& note) const {
        return parts_[note.part].relationships;
    }

    /// Why something of them cannot be read.
    const std::vector<PageFault>& faults() const noexcept { return faults_; }

private:
    struct NotePart {
        XmlTree tree;
        std::vector<opc::model::Relationship> relationships;
    };

    void add(std::string_view kind, std::string_view id, const XmlNode& text);

    std::vector<PageFault> faults_;
    std::deque<NotePart> parts_;
    std::vector<Note> all_;
    std::map<std::string, std::size_t, std::less<>> names_;
};

}  // namespace flowbook::kit
