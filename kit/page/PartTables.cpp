#include "kit/page/PartTables.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/PackageTree.hpp"
#include "kit/page/Wording.hpp"

namespace flowbook::kit {

using opc::model::Part;
using opc::model::Relationship;

namespace {

using fl::i18n::to_string;

std::string typeOf(const Part& part) { return to_string(part.getContentType().toString()); }

void openFolded(Markup& out, std::string_view heading) {
    out.open("details").open("summary").element("h2", heading).close();
}

void openTable(Markup& out, std::string_view label, const std::string& caption) {
    out.open("div", {{"class", "table"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", label}});
    out.open("table").element("caption", caption).open("thead").open("tr");
}

void closeTable(Markup& out) { out.close().close().close(); }

void writeHeads(Markup& out, std::initializer_list<std::string_view> heads) {
    for (const std::string_view head : heads) {
        out.element("th", {{"scope", "col"}}, head);
    }
}

void writeParts(Markup& page, const std::vector<Part>& parts) {
    Markup out;
    openTable(out, "Parts", counted(parts.size(), "part"));
    writeHeads(out, {"Part", "Content type"});
    out.element("th", {{"scope", "col"}, {"class", "number"}}, "Bytes").close().close().open("tbody");
    for (const Part& part : parts) {
        out.open("tr").element("td", {{"class", "name"}}, part.getName().ascii()).element("td", typeOf(part));
        out.element("td", {{"class", "number"}}, grouped(part.getSize())).close();
    }
    closeTable(out);
    page.append(out);
}

std::string_view remarkOn(PackageTree::Target kind) {
    return kind == PackageTree::Target::External   ? " (external)"
           : kind == PackageTree::Target::Dangling ? " (missing)"
                                                   : "";
}

/// @param source  empty where it is that of the row before: it may be long, and have many relationships.
void writeRelationship(Markup& out, const PackageTree::Row& row, std::string_view source) {
    out.open("tr").element("td", {{"class", "name"}}, source);
    out.element("td", {{"dir", "auto"}}, to_string(row.relationship.getID()));
    out.element("td", {{"dir", "auto"}}, to_string(row.relationship.getType()));
    out.open("td", {{"class", "name"}}).element("bdi", to_string(row.relationship.getTarget()));
    out.text(remarkOn(row.kind)).close().close();
}

void writeRelationships(Markup& out, const Document& document, Faults& faults) {
    Markup rows;
    Markup notices;
    std::size_t count = 0;
    std::string last;
    PackageTree(document.package())
        .walk(
            [&](const PackageTree::Row& row) {
                writeRelationship(rows, row, row.source == last ? "" : row.source);
                last = row.source;
                ++count;
            },
            [&] { faults.attempt(notices, [] { throw; }); });
    out.append(notices);
    openTable(out, "Relationships", counted(count, "relationship"));
    writeHeads(out, {"From", "Id", "Type", "To"});
    out.close().close().open("tbody").append(rows);
    closeTable(out);
}

}  // namespace

void writePartTables(Markup& out, const Document& document, Faults& faults) {
    openFolded(out, "Parts and relationships");
    faults.attempt(out, [&] { writeParts(out, document.package().getParts()); });
    writeRelationships(out, document, faults);
    out.close();
}

}  // namespace flowbook::kit
