// The index of a folder of pages. It has to open with thousands of flowbooks, so rows out of sight are not laid out,
// and pictures are limited in all.
#include "kit/page/Index.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Sha256.hpp"
#include "kit/page/Frame.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <tuple>

namespace flowbook::kit {

namespace {

// From so many rows on, only those that are looked at are laid out.
constexpr std::size_t kManyRows = 500;

constexpr std::size_t kLongestStem = 60;
constexpr std::size_t kDigestDigits = 16;
constexpr std::size_t kLongestExtension = 5;

// Pictures of more than this in all would keep the index from opening.
constexpr std::size_t kMostPictures = std::size_t{24} << 20;
constexpr std::uint64_t kMostIndexPixels = std::uint64_t{64} << 20;

char slug(char c) {
    const bool isCapital = c >= 'A' && c <= 'Z';
    const bool isKept = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    return isCapital ? static_cast<char>(c - 'A' + 'a') : isKept ? c : '-';
}

// Properties may be as long as a package permits.
constexpr std::size_t kLongestText = 1000;

std::string shortened(const std::string& text) {
    const std::string_view start = startOf(text, kLongestText);
    return std::string(start) + (start.size() < text.size() ? "\u2026" : "");
}

const std::string& headOf(const PageSummary& summary) { return summary.title.empty() ? summary.file : summary.title; }

std::string sortKey(const PageSummary& summary) {
    return fl::i18n::to_string(fl::i18n::to_lower(fl::i18n::to_ustring(headOf(summary))));
}

std::string folderOf(const PageSummary& summary) {
    const std::size_t slash = summary.file.rfind('/');
    return slash == std::string::npos ? "" : summary.file.substr(0, slash + 1);
}

/// By folder, then by title, then by file.
void sortRows(std::vector<IndexRow>& rows) {
    using Key = std::tuple<std::string, std::string, std::string>;
    std::vector<std::pair<Key, IndexRow>> keyed;
    keyed.reserve(rows.size());
    for (IndexRow& row : rows) {
        keyed.emplace_back(Key(folderOf(row.summary), sortKey(row.summary), row.summary.file), std::move(row));
    }
    std::sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::transform(keyed.begin(), keyed.end(), rows.begin(), [](auto& each) { return std::move(each.second); });
}

/// What the pictures of one index may take.
struct PictureBudget {
    std::size_t bytes = kMostPictures;
    std::uint64_t pixels = kMostIndexPixels;
};

/// A path that can be broken where its names end, but not before an extension.
void writePath(Markup& out, std::string_view path) {
    out.open("bdi", {{"class", "name"}, {"translate", "no"}});
    while (!path.empty()) {
        const std::size_t end = std::min(path.find_first_of("/_-."), path.size() - 1) + 1;
        out.text(path.substr(0, end));
        path.remove_prefix(end);
        if (path.size() > kLongestExtension) {
            out.single("wbr");
        }
    }
    out.close();
}

void openCell(Markup& out, std::string_view label, std::string_view kind, std::string_view sortedBy = "") {
    out.open("td", {{"class", kind}, {"data-label", label}, {"data-value", sortedBy}});
}

void writeIndexCell(Markup& out, std::string_view label, std::string_view kind, std::string_view text,
                    std::string_view sortedBy = "") {
    openCell(out, label, kind, sortedBy);
    if (!text.empty()) {
        out.element("bdi", text);
    }
    out.close();
}

void writePicture(Markup& out, const Thumbnail& picture, PictureBudget& left) {
    openCell(out, "Picture", "picture");
    if (!picture.uri.empty() && picture.uri.size() <= left.bytes && picture.pixels <= left.pixels) {
        out.single("img", {{"src", picture.uri}, {"alt", ""}, {"decoding", "async"}});
        left.bytes -= picture.uri.size();
        left.pixels -= picture.pixels;
    }
    out.close();
}

void writeIndexRow(Markup& out, const IndexRow& row, PictureBudget& left) {
    const PageSummary& all = row.summary;
    out.open("tr");
    openCell(out, "Title", "title");
    out.open("a", {{"href", row.page}, {"dir", "auto"}});
    if (all.title.empty()) {
        writePath(out, all.file);
        out.close();
    } else {
        out.text(shortened(all.title)).close().single("br");
        writePath(out, all.file);
    }
    out.close();
    writeIndexCell(out, "Description", "about", isBlankTitle(all.description) ? "" : shortened(all.description));
    writeIndexCell(out, "Version", "version", shortened(all.version));
    writeIndexCell(out, "Modified", "time", readableTime(all.modified), all.modified);
    writePicture(out, all.picture, left);
    const std::string lines = all.lineCount ? std::to_string(*all.lineCount) : "";
    writeIndexCell(out, "Lines", "number", all.lineCount ? grouped(*all.lineCount) : "", lines);
    writeIndexCell(out, "State", all.state == "damaged" ? "state damaged" : "state", all.state);
    out.close();
}

void writeIndexHeads(Markup& out) {
    constexpr std::pair<std::string_view, std::string_view> kHeads[] = {
        {"Title", "title"},     {"Description", "about"}, {"Version", "version"}, {"Modified", "time"},
        {"Picture", "picture"}, {"Lines", "number"},      {"State", "state"}};
    out.open("thead").open("tr");
    for (const auto& [head, kind] : kHeads) {
        out.element("th", {{"scope", "col"}, {"class", kind}}, head);
    }
    out.close().close();
}

void writeFolderHead(Markup& out, const std::string& folder) {
    out.open("tr", {{"class", "folder"}});
    out.open("th", {{"scope", "rowgroup"}, {"colspan", "7"}});
    writePath(out, folder.empty() ? "./" : folder);
    out.close().close();
}

void writeIndexTable(Markup& out, const std::vector<IndexRow>& rows) {
    const std::string_view kind = rows.size() > kManyRows ? "index long" : "index";
    out.open("table", {{"class", kind}, {"aria-label", "Flowbooks"}});
    writeIndexHeads(out);
    PictureBudget left;
    const IndexRow* last = nullptr;
    for (const IndexRow& row : rows) {
        const std::string folder = folderOf(row.summary);
        if (last == nullptr || folderOf(last->summary) != folder) {
            if (last != nullptr) {
                out.close();
            }
            out.open("tbody");
            writeFolderHead(out, folder);
        }
        writeIndexRow(out, row, left);
        last = &row;
    }
    if (last != nullptr) {
        out.close();
    }
    out.close();
}

/// For the script, which shows it.
void writeFilter(Markup& out) {
    out.open("div", {{"class", "filter"}, {"hidden", ""}}).element("label", {{"for", "filter"}}, "Filter");
    out.single("input", {{"id", "filter"}, {"type", "search"}, {"autocomplete", "off"}});
    out.element("span", {{"id", "count"}, {"role", "status"}}, "").close();
}

}  // namespace

std::string pageNameOf(std::string_view path) {
    const std::string_view file = path.substr(path.find_last_of('/') + 1);
    std::string name(file.substr(0, std::min(file.rfind('.'), kLongestStem)));
    std::transform(name.begin(), name.end(), name.begin(), slug);
    return name + "-" + Sha256().add(path).take().substr(0, kDigestDigits) + ".html";
}

std::string makeIndex(std::vector<IndexRow> rows) {
    sortRows(rows);
    Markup body;
    body.element("a", {{"class", "skip"}, {"href", "#text"}}, "Skip to the list");
    body.open("header")
        .element("h1", "Flowbooks")
        .element("p", {{"class", "description"}}, counted(rows.size(), "flowbook"));
    body.close().open("main", {{"id", "text"}});
    writeFilter(body);
    writeIndexTable(body, rows);
    body.close();
    return framed({"Flowbooks", "en", "", true}, body);
}

}  // namespace flowbook::kit
