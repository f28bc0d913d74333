// What all pages share: the skeleton, the style, and the marks by which a page is recognised later. The digest of a
// page stands in it, so a page that somebody has edited is not taken for one that may be replaced.
#include "kit/page/Frame.hpp"

#include "flowbook/FlowbookVersion.hpp"
#include "kit/compare/Sha256.hpp"
#include "kit/page/PageFiles.hpp"

#include <cctype>
#include <charconv>
#include <map>

namespace flowbook::kit {

namespace {

// Versions may differ in what stands before these marks, but not by more than this.
constexpr std::string_view kGenerator = "<meta name=\"generator\" content=\"flowbook ";
constexpr std::string_view kDigest = "<meta name=\"flowbook-digest\" content=\"";
constexpr std::string_view kSource = "<meta name=\"flowbook-source\" content=\"";
constexpr std::string_view kOfChanges = "<meta name=\"flowbook-kind\" content=\"changes\">\n";
constexpr std::size_t kMarksWithin = 16384;
constexpr std::size_t kDigestLength = 64;

const std::string& noDigest() {
    static const std::string& zeros = *new std::string(kDigestLength, '0');
    return zeros;
}

std::string escapedForFrame(std::string_view text) { return Markup().unmarked(text).finished(); }

const std::string& script() {
    static const std::string& element = *new std::string("<script>" + std::string(indexScript()) + "</script>\n");
    return element;
}

using SkeletonValues = std::map<std::string_view, std::string_view>;

/// The skeleton with a value in the place of each name, such as {{title}}.
std::string filled(std::string_view skeleton, const SkeletonValues& values) {
    std::string page;
    std::size_t at = 0;
    for (std::size_t mark = skeleton.find("{{"); mark != std::string_view::npos; mark = skeleton.find("{{", at)) {
        const std::size_t end = skeleton.find("}}", mark);
        page.append(skeleton, at, mark - at);
        page.append(values.at(skeleton.substr(mark + 2, end - mark - 2)));
        at = end + 2;
    }
    page.append(skeleton.substr(at));
    return page;
}

/// What stands between the mark and the next quote; nothing when there is no such mark.
std::optional<std::string_view> valueBehind(std::string_view start, std::string_view mark) {
    const std::size_t at = start.find(mark);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = start.substr(at + mark.size());
    return rest.substr(0, rest.find('"'));
}

std::string pathOf(std::string_view address) {
    std::string path;
    for (std::size_t at = 0; at < address.size(); ++at) {
        unsigned byte = 0;
        const bool isEscape = address[at] == '%' && at + 2 < address.size() &&
                              std::from_chars(&address[at + 1], &address[at + 1] + 2, byte, 16).ec == std::errc();
        path += isEscape ? static_cast<char>(byte) : address[at];
        at += isEscape ? 2 : 0;
    }
    return path;
}

}  // namespace

std::string framed(const Frame& frame, const Markup& body) {
    static const std::string& styleDigest = *new std::string(Sha256().add(pageStyle()).takeBase64());
    static const std::string& policy =
        *new std::string("; script-src 'sha256-" + Sha256().add(indexScript()).takeBase64() + "'");
    static const std::string& version = *new std::string(escapedForFrame(libpxflowbook_version));
    const std::string title = escapedForFrame(frame.title), source = addressOf(frame.source);
    std::string page = filled(pageSkeleton(), {{"title", title},
                                               {"language", frame.language},
                                               {"digest", noDigest()},
                                               {"source", source},
                                               {"kind", frame.isOfChanges ? kOfChanges : ""},
                                               {"style", pageStyle()},
                                               {"style digest", styleDigest},
                                               {"script policy", frame.isIndex ? std::string_view(policy) : ""},
                                               {"script", frame.isIndex ? std::string_view(script()) : ""},
                                               {"version", version},
                                               {"body", body.finished()}});
    page.replace(page.find(kDigest) + kDigest.size(), kDigestLength, Sha256().add(page).take());
    return page;
}

std::optional<PageMark> markOf(std::string_view content) {
    const std::string_view start = content.substr(0, kMarksWithin);
    const auto digest = valueBehind(start, kDigest);
    const auto source = valueBehind(start, kSource);
    if (start.find(kGenerator) == std::string_view::npos) {
        return std::nullopt;
    }
    PageMark mark{false, start.find("script-src 'sha256-") != std::string_view::npos,
                  start.find(kOfChanges) != std::string_view::npos, source ? pathOf(*source) : ""};
    if (digest && digest->size() == kDigestLength) {
        const auto at = static_cast<std::size_t>(digest->data() - content.data());
        Sha256 made;
        made.add(content.substr(0, at)).add(noDigest()).add(content.substr(at + kDigestLength));
        mark.isUnchanged = made.take() == *digest;
    }
    return mark;
}

std::string addressOf(std::string_view path) {
    std::string address;
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isPlain =
            byte < 0x80 && (std::isalnum(byte) != 0 || std::string_view("-._~/").find(c) != std::string_view::npos);
        constexpr std::string_view kDigits = "0123456789ABCDEF";
        address += isPlain ? std::string(1, c) : std::string{'%', kDigits[byte / 16], kDigits[byte % 16]};
    }
    return address;
}

}  // namespace flowbook::kit
