#include "kit/page/Notes.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace flowbook::kit {

using opc::model::Relationship;

namespace {

/// The parts of notes, by the end of the type of the relationship that leads to them.
constexpr struct {
    std::string_view type;
    std::string_view called;
    bool isOne;  ///< whether the part is one note, named by the relationship; else each of its elements with an id is
} kNoteParts[] = {{"/footnotes", "footnote", false},
                  {"/endnotes", "endnote", false},
                  {"/comments", "comment", false},
                  {"/header", "page header", true},
                  {"/footer", "page footer", true}};

}  // namespace

Notes::Notes(const Document& document) {
    for (const Relationship& each : document.codeRelationships()) {
        const std::string type = fl::i18n::to_string(each.getType());
        const auto* const kind = std::find_if(std::begin(kNoteParts), std::end(kNoteParts),
                                              [&](const auto& known) { return endsWith(type, known.type); });
        const auto part = kind == std::end(kNoteParts) ? std::nullopt : document.partAt(each);
        if (!part) {
            continue;
        }
        parts_.push_back(
            {readPartTree(document, *part, faults_), part->getRelationships(opc::model::ExcludeMode::None)});
        const XmlNode* const root = parts_.back().tree.root();
        if (root != nullptr && kind->isOne) {
            add(kind->called, fl::i18n::to_string(each.getID()), *root);
        }
        for (std::size_t i = 0; root != nullptr && !kind->isOne && i < root->children.size(); ++i) {
            const XmlNode& note = root->children[i];
            if (!note.attribute("id").empty()) {
                add(kind->called, note.attribute("id"), note);
            }
        }
    }
}

void Notes::add(std::string_view kind, std::string_view id, const XmlNode& text) {
    std::string name = std::string(kind) + " " + std::string(id);
    if (names_.emplace(name, all_.size()).second) {
        std::string about(text.attribute("author"));
        about += (about.empty() || text.attribute("date").empty() ? "" : ", ") + std::string(text.attribute("date"));
        all_.push_back({std::move(name), std::string(kind), std::move(about), &text, parts_.size() - 1});
    }
}

}  // namespace flowbook::kit
