#include "kit/page/Figures.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/page/Wording.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <strings.h>

namespace flowbook::kit {

using opc::model::Part;
using opc::model::PartName;
using opc::model::Relationship;
using opc::model::TargetMode;

namespace {

constexpr std::size_t kLargestThumbnail = std::size_t{48} << 10;

/// What browsers show as a picture, by the name that they know it by. Scripts in an SVG picture do not run in an <img>.
constexpr struct {
    std::string_view type;
    std::string_view shownAs;
} kTypes[] = {{"image/png", "image/png"},   {"image/jpeg", "image/jpeg"},   {"image/jpg", "image/jpeg"},
              {"image/gif", "image/gif"},   {"image/webp", "image/webp"},   {"image/bmp", "image/bmp"},
              {"image/x-bmp", "image/bmp"}, {"image/svg", "image/svg+xml"}, {"image/svg+xml", "image/svg+xml"}};

constexpr std::string_view kSchemes[] = {"http://", "https://", "mailto:"};

std::string mediaTypeOf(const Part& part) { return fl::i18n::to_string(part.getContentType().getMediaType()); }

bool startsWithFolded(std::string_view text, std::string_view start) {
    return text.size() >= start.size() && strncasecmp(text.data(), start.data(), start.size()) == 0;
}

std::string_view shownAs(const std::string& mediaType) {
    const auto* const found = std::find_if(std::begin(kTypes), std::end(kTypes), [&](const auto& each) {
        return each.type.size() == mediaType.size() && startsWithFolded(mediaType, each.type);
    });
    return found == std::end(kTypes) ? std::string_view() : found->shownAs;
}

std::vector<Relationship> relationshipsOfCode(const Document& document) {
    const std::optional<Part> part = document.codePart();
    return part ? part->getRelationships(opc::model::ExcludeMode::None) : std::vector<Relationship>();
}

}  // namespace

Figures::Figures(const Document& document, Faults& faults)
    : document_(&document), faults_(&faults), relationships_(relationshipsOfCode(document)) {
    for (std::size_t i = 0; i < relationships_.size(); ++i) {
        const std::string id = fl::i18n::to_string(relationships_[i].getID());
        byId_.emplace(id, i);
        if (relationships_[i].getTargetMode() == TargetMode::External) {
            addLink(id, fl::i18n::to_string(relationships_[i].getTarget()));
        }
    }
}

void Figures::addLink(const std::string& id, std::string target) {
    if (std::any_of(std::begin(kSchemes), std::end(kSchemes),
                    [&](std::string_view scheme) { return startsWithFolded(target, scheme); })) {
        links_.emplace(id, std::move(target));
    }
}

std::optional<Part> Figures::pictureAt(const Relationship& relationship) const {
    if (relationship.getTargetMode() == TargetMode::External) {
        return std::nullopt;
    }
    try {
        const PartName name(relationship.getTargetURI());
        const Part part = document_->package().getPart(name);
        return isPicture(part) ? std::make_optional(part) : std::nullopt;
    } catch (const opc::Exception&) {
        return std::nullopt;  // The target is no part: the table of relationships tells it.
    }
}

void Figures::write(Markup& out, const std::string& relationship) {
    const auto found = byId_.find(relationship);
    const auto part = found == byId_.end() ? std::nullopt : pictureAt(relationships_[found->second]);
    if (part) {
        write(out, *part);
    } else {
        faults_->tell(out, "a picture is missing: relationship " + relationship);
    }
}

void Figures::writeOthers(Markup& out) {
    for (const Relationship& relationship : relationships_) {
        const std::optional<Part> part = pictureAt(relationship);
        if (part && anchors_.count(part->getName().folded()) == 0) {
            write(out, *part);
        }
    }
}

void Figures::write(Markup& out, const Part& part) {
    const auto [place, isNew] =
        anchors_.try_emplace(part.getName().folded(), "picture-" + std::to_string(anchors_.size() + 1));
    if (isNew) {
        out.open("figure", {{"id", place->second}});
        faults_->attempt(out, [&] { writeNew(out, part); });
        out.close();
    } else {
        // Without its name, which may be long: it can be named any number of times.
        out.open("p").element("a", {{"href", "#" + place->second}}, "See the picture above").close();
    }
}

void Figures::writeNew(Markup& out, const Part& part) {
    const std::string& name = part.getName().ascii();
    const std::string type = mediaTypeOf(part);
    fl::Bytes picture = pictureOf(contentOf(part), name);
    const std::string caption = name + ", " + type + ", " + grouped(picture.size()) + " bytes";
    if (!shownAs(type).empty()) {
        const std::string uri = writeDataUri({"data:" + std::string(shownAs(type)) + ";base64", std::move(picture)});
        out.single("img", {{"src", uri}, {"alt", "Picture " + name}});
        thumbnail_ = anchors_.size() == 1 && uri.size() <= kLargestThumbnail ? uri : thumbnail_;
    }
    out.element("figcaption", caption + (shownAs(type).empty() ? ", not shown" : ""));
}

const std::string& Figures::linkTarget(const std::string& relationship) const {
    static const std::string& none = *new std::string();
    const auto found = links_.find(relationship);
    return found == links_.end() ? none : found->second;
}

}  // namespace flowbook::kit
