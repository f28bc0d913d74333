#include "kit/page/Figures.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/PictureSize.hpp"
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

// An index shows hundreds of thumbnails at once, which are whole pictures; larger ones are left out of it.
constexpr std::size_t kLargestThumbnail = std::size_t{48} << 10;
constexpr std::uint64_t kMostThumbnailPixels = std::uint64_t{4} << 20;

// A browser takes four bytes a pixel, and its tiles end somewhere.
constexpr std::uint64_t kMostPixels = std::uint64_t{48} << 20;
constexpr std::uint64_t kMostPixelsOfPage = 2 * kMostPixels;
constexpr std::uint64_t kLongestSide = 16384;
constexpr std::uint64_t kMostBytes = std::uint64_t{64} << 20;
constexpr std::uint64_t kMostBytesOfPage = 4 * kMostBytes;

/// What browsers show as a picture, by the name that they know it by. Scripts in an SVG picture do not run in an <img>.
constexpr struct {
    std::string_view type;
    std::string_view shownAs;
} kTypes[] = {{"image/png", "image/png"},   {"image/jpeg", "image/jpeg"},   {"image/jpg", "image/jpeg"},
              {"image/gif", "image/gif"},   {"image/webp", "image/webp"},   {"image/bmp", "image/bmp"},
              {"image/x-bmp", "image/bmp"}, {"image/svg", "image/svg+xml"}, {"image/svg+xml", "image/svg+xml"}};

// Other schemes, such as javascript, may do something when they are followed.
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

/// For where there is no picture that they could be the alternative of.
void writeWords(Markup& out, const std::string& words) {
    if (!words.empty()) {
        out.element("p", {{"class", "remark"}, {"dir", "auto"}}, words);
    }
}

}  // namespace

Figures::Figures(const Document& document, Faults& faults, std::string ids)
    : document_(&document), faults_(&faults), ids_(std::move(ids)) {
    follow(document.codeRelationships());
}

std::vector<Relationship> Figures::follow(std::vector<Relationship> relationships) {
    std::swap(relationships_, relationships);
    byId_.clear();
    links_.clear();
    for (std::size_t i = 0; i < relationships_.size(); ++i) {
        const std::string id = fl::i18n::to_string(relationships_[i].getID());
        byId_.emplace(id, i);
        if (relationships_[i].getTargetMode() == TargetMode::External) {
            addLink(id, fl::i18n::to_string(relationships_[i].getTarget()));
        }
    }
    return relationships;
}

bool isLinkAddress(std::string_view address) {
    return std::any_of(std::begin(kSchemes), std::end(kSchemes),
                       [&](std::string_view scheme) { return startsWithFolded(address, scheme); });
}

void Figures::addLink(const std::string& id, std::string target) {
    if (isLinkAddress(target)) {
        links_.emplace(id, std::move(target));
    }
}

/// What is known of a picture before it is written.
struct Figures::Picture {
    std::string_view type;  ///< a media type that browsers know; empty for others
    std::string file;       ///< what it is called when it is saved
    fl::Bytes content;
    PictureSize size;
    std::string words;
    const Markup* caption;

    std::string about() const {
        const std::string sides = size.width != 0 && size.height != 0
                                      ? grouped(size.width) + " \u00D7 " + grouped(size.height) + " pixels, "
                                      : "";
        return sides + counted(content.size(), "byte");
    }
};

void Figures::write(Markup& out, const std::string& relationship, const std::string& words, const Markup* caption) {
    const auto found = byId_.find(relationship);
    const auto part = found == byId_.end() ? std::nullopt : document_->partAt(relationships_[found->second]);
    if (part && isPicture(*part)) {
        writePart(out, *part, words, caption);
        return;
    }
    faults_->show(out, "a picture is missing: relationship " + relationship);
    writeWords(out, words);
    if (caption != nullptr) {
        out.open("p").append(*caption).close();
    }
}

void Figures::writeOthers(Markup& out) {
    for (const Relationship& relationship : relationships_) {
        const std::optional<Part> part = document_->partAt(relationship);
        if (part && isPicture(*part) && anchors_.count(part->getName().folded()) == 0) {
            write(out, *part);
        }
    }
}

void Figures::write(Markup& out, const Part& part) { writePart(out, part, "", nullptr); }

void Figures::writePart(Markup& out, const Part& part, const std::string& words, const Markup* caption) {
    const std::string next = ids_ + std::to_string(count_ + 1);
    const auto [place, isNew] = anchors_.try_emplace(part.getName().folded(), next);
    if (isNew) {
        faults_->attempt(out, [&] {
            const std::string& name = part.getName().ascii();
            fl::Bytes content = pictureOf(contentOf(part), name);
            const PictureSize size = sizeOfPicture(content);
            writeNew(out, {shownAs(mediaTypeOf(part)), name.substr(name.rfind('/') + 1), std::move(content), size,
                           words, caption});
        });
    } else {
        // Without its name, which may be long: it can be named any number of times.
        out.open("p").element("a", {{"href", "#" + place->second}}, "See the picture above").close();
        writeWords(out, words);
        if (caption != nullptr) {
            out.open("p").append(*caption).close();
        }
    }
}

void Figures::writeDataUri(Markup& out, const std::string& uri) {
    faults_->attempt(out, [&] {
        DataUri picture = readDataUri({uri.begin(), uri.end()}, "the output");
        const std::string_view header = picture.header;
        const std::string type(header.substr(5, header.find(';') - 5));
        const PictureSize size = sizeOfPicture(picture.content);
        writeNew(out, {shownAs(type), "picture", std::move(picture.content), size, "", nullptr});
    });
}

void Figures::writeNew(Markup& out, const Picture& picture) {
    ++count_;
    out.open("figure", {{"id", ids_ + std::to_string(count_)}});
    writeImage(out, picture);
    if (picture.caption != nullptr) {
        out.open("figcaption").append(*picture.caption).close();
    }
    out.close();
}

/// Whether decoding the picture, or the page that holds it, would take too much memory.
bool Figures::takesTooMuch(const Picture& picture) {
    const PictureSize& size = picture.size;
    if (size.kind == PictureSize::Kind::Unknown || std::max(size.width, size.height) > kLongestSide ||
        size.pixels() > kMostPixels || pixels_ + size.pixels() > kMostPixelsOfPage) {
        return true;
    }
    pixels_ += size.pixels();
    return false;
}

void Figures::writeImage(Markup& out, const Picture& picture) {
    const bool isHeld = !picture.type.empty() && picture.content.size() <= kMostBytes &&
                        bytes_ + picture.content.size() <= kMostBytesOfPage;
    if (!isHeld) {
        const std::string reason = picture.type.empty() ? "of a kind that browsers do not show" : "too large";
        out.element("p", {{"class", "remark"}}, "[A picture, " + reason + ": " + picture.about() + "]");
        writeWords(out, picture.words);
        return;
    }
    bytes_ += picture.content.size();
    const std::string uri = kit::writeDataUri({"data:" + std::string(picture.type) + ";base64", picture.content});
    if (takesTooMuch(picture)) {
        out.open("p", {{"class", "remark"}}).text("[A picture too large to be shown: ");
        out.element("a", {{"href", uri}, {"download", picture.file}}, "save it").text(", " + picture.about() + "]");
        out.close();
        writeWords(out, picture.words);
        return;
    }
    const std::string words = picture.words.empty() ? "Picture " + std::to_string(count_) : picture.words;
    out.single("img", {{"src", uri}, {"alt", words}, {"decoding", "async"}});
    if (count_ == 1 && uri.size() <= kLargestThumbnail && picture.size.pixels() <= kMostThumbnailPixels) {
        thumbnail_ = {uri, picture.size.pixels()};
    }
}

const std::string& Figures::linkTarget(const std::string& relationship) const {
    static const std::string& none = *new std::string();
    const auto found = links_.find(relationship);
    return found == links_.end() ? none : found->second;
}

}  // namespace flowbook::kit
