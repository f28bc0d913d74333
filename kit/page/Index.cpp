#include "kit/page/Index.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Sha256.hpp"
#include "kit/page/Frame.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <tuple>

namespace flowbook::kit {

namespace {

constexpr std::size_t kLongestStem = 60;
constexpr std::size_t kDigits = 16;

// Pictures of more than this in all would keep the index from opening.
constexpr std::size_t kMostPictures = std::size_t{24} << 20;

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

void sortRows(std::vector<IndexRow>& rows) {
    std::vector<std::pair<std::string, IndexRow>> keyed;
    keyed.reserve(rows.size());
    for (IndexRow& row : rows) {
        keyed.emplace_back(sortKey(row.summary), std::move(row));
    }
    std::sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) {
        return std::tie(a.first, a.second.summary.file) < std::tie(b.first, b.second.summary.file);
    });
    std::transform(keyed.begin(), keyed.end(), rows.begin(), [](auto& each) { return std::move(each.second); });
}

void writePicture(Markup& out, const std::string& picture, std::size_t& left) {
    out.open("td");
    if (!picture.empty() && picture.size() <= left) {
        out.single("img", {{"src", picture}, {"alt", ""}});
        left -= picture.size();
    }
    out.close();
}

void writeRow(Markup& out, const IndexRow& row, std::size_t& picturesLeft) {
    const PageSummary& all = row.summary;
    out.open("tr").open("td").element("a", {{"href", row.page}, {"dir", "auto"}}, shortened(headOf(all)));
    if (!all.title.empty()) {
        out.single("br").element("bdi", {{"class", "name"}}, all.file);
    }
    out.close().element("td", {{"dir", "auto"}}, shortened(all.description));
    out.element("td", {{"dir", "auto"}}, shortened(all.version));
    out.element("td", {{"class", "time"}}, readableTime(all.modified));
    writePicture(out, all.picture.uri, picturesLeft);
    out.element("td", {{"class", "number"}}, all.lineCount ? grouped(*all.lineCount) : "");
    out.element("td", {{"class", all.state == "damaged" ? "state" : ""}}, all.state).close();
}

void writeHeads(Markup& out) {
    for (const std::string_view head : {"Title", "Description", "Version", "Modified", "Picture"}) {
        out.element("th", {{"scope", "col"}}, head);
    }
    out.element("th", {{"scope", "col"}, {"class", "number"}}, "Lines").element("th", {{"scope", "col"}}, "State");
}

}  // namespace

std::string pageNameOf(std::string_view path) {
    const std::string_view file = path.substr(path.find_last_of('/') + 1);
    std::string name(file.substr(0, std::min(file.rfind('.'), kLongestStem)));
    std::transform(name.begin(), name.end(), name.begin(), slug);
    return name + "-" + Sha256().add(path).take().substr(0, kDigits) + ".html";
}

std::string makeIndex(std::vector<IndexRow> rows) {
    sortRows(rows);
    Markup body;
    body.open("header").element("h1", "Flowbooks").close().open("main");
    body.open("div", {{"class", "table"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", "Flowbooks"}});
    body.open("table").element("caption", counted(rows.size(), "flowbook")).open("thead").open("tr");
    writeHeads(body);
    body.close().close().open("tbody");
    std::size_t picturesLeft = kMostPictures;
    for (const IndexRow& row : rows) {
        writeRow(body, row, picturesLeft);
    }
    body.close().close().close().close();
    return framed({"Flowbooks", "en", "", true}, body);
}

}  // namespace flowbook::kit
