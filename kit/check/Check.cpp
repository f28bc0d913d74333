// Looks for all that is wrong, not for the first fault: each check stands alone, and what one of them throws becomes a
// finding. A fault that several checks meet is reported by the one that knows most about it; the others pass it over.
#include "kit/check/Check.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "kit/compare/Conflicts.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/EntryNames.hpp"
#include "kit/document/PackageTree.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/document/ReadAhead.hpp"
#include "kit/document/References.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/package/PackageContent.hpp"
#include "opc/Exception.hpp"

#include <cstdio>
#include <optional>
#include <set>
#include <sstream>

namespace flowbook::kit {

using opc::model::Part;
using opc::model::PartName;

namespace {

constexpr char kContentTypesEntry[] = "[Content_Types].xml";
constexpr std::string_view kContentTypesNamespace = "http://schemas.openxmlformats.org/package/2006/content-types";

using fl::i18n::to_string;

bool isOfFile(opc::ErrorKind kind) { return kind == opc::ErrorKind::NotFound || kind == opc::ErrorKind::InputOutput; }

bool exceedsLimit(const opc::Exception& failure) { return failure.kind() == opc::ErrorKind::LimitExceeded; }

bool isRelationships(std::string_view folded) {
    constexpr std::string_view kEnd = ".rels";
    return folded.size() > kEnd.size() && folded.substr(folded.size() - kEnd.size()) == kEnd &&
           folded.find("_rels/") != std::string_view::npos;
}

/// The parts that overrides of the content types name.
class Overrides : public XmlHandler {
public:
    void startElement(const XmlName& name, const std::vector<XmlAttribute>& attributes, XmlSpan) override {
        for (const XmlAttribute& attribute : attributes) {
            if (name.is(kContentTypesNamespace, "Override") && attribute.name.is("", "PartName")) {
                names.emplace_back(attribute.value);
            }
        }
    }
    void endElement(const XmlName&, XmlSpan) override {}
    void characters(std::string_view) override {}

    std::vector<std::string> names;
};

class Checker {
public:
    Checker(std::vector<Finding>& findings, std::function<Document()> open, unsigned threads)
        : findings_(findings), open_(std::move(open)), threads_(threads) {}

    void checkAll(const Document& document) {
        checkEntries(document);
        checkContents(document);
        checkRelationships(document);
        checkProperties(document);
        checkCode(document);
        checkConflicts(document);
    }

    void add(Severity severity, const char* id, const std::string& part, const std::string& place,
             const std::string& words, bool isOfLimit = false) {
        findings_.push_back({severity, part, place, words, id, isOfLimit});
    }

private:
    /// A refusal of the package library is a finding; failures of the file itself end the check.
    template <class Work>
    void attempt(const char* id, const std::string& part, Work work) {
        try {
            work();
        } catch (const opc::Exception& failure) {
            // A relationship that leads to a missing part is NotFound too, but says nothing about the file itself.
            if (isOfFile(failure.kind()) && id != std::string_view("relationships.malformed")) {
                throw;
            }
            add(Severity::Error, id, part, "", failure.what(), exceedsLimit(failure));
        }
    }

    /// What a merge left open besides markers.
    void checkConflicts(const Document& document) {
        attempt("property.conflict", "/", [&] {
            for (const OpenConflict& open : openBesideMarkers(document)) {
                addConflict(open);
            }
        });
    }

    void addConflict(const OpenConflict& open) {
        using Kind = OpenConflict::Kind;
        const auto inWords = [](const std::optional<std::string>& value) {
            return value ? '"' + *value + '"' : "none";
        };
        if (open.kind == Kind::Property) {
            add(Severity::Warning, "property.conflict", "/", open.name,
                "a merge left open which value counts: ours " + inWords(open.ours) + ", theirs " +
                    inWords(open.theirs));
        } else if (open.kind == Kind::Relationship) {
            const std::size_t hash = open.name.rfind('#');
            add(Severity::Warning, "relationship.conflict", open.name.substr(0, hash), open.name.substr(hash + 1),
                "a merge left open where this leads: ours " + inWords(open.ours) + ", theirs " + inWords(open.theirs));
        } else if (open.kind == Kind::Deletion) {
            add(Severity::Warning, open.isCode ? "code.conflict" : "part.conflict", open.name, "",
                "a merge kept this, which one side deleted and the other changed");
        } else {
            add(Severity::Warning, "part.conflict", *open.theirs, "",
                "a merge left this beside " + open.name + ", which both sides changed");
        }
    }

    void checkEntries(const Document& document) {
        const auto& entries = document.container().entries();
        for (const std::size_t i : otherEntries(document)) {
            if (!isRelationships(fold(entries[i].name))) {
                add(Severity::Warning, "part.untyped", "/" + std::string(entries[i].name), "",
                    "an entry without a content type is no part");
            }
        }
        for (std::size_t i = 0; i < entries.size(); ++i) {
            // Names of entries are compared without case, as the package is read that way.
            if (fold(entries[i].name) == fold(kContentTypesEntry)) {
                checkOverrides(document, document.container().read(i));
            }
        }
    }

    static bool isPart(const Document& document, const std::string& name) {
        return PartName::isValid(name) && document.package().hasPart(partNamed(name));
    }

    void checkOverrides(const Document& document, const fl::Bytes& types) {
        Overrides overrides;
        // It was read when the package was opened, so it is well-formed.
        readXml(types, kContentTypesEntry, XmlEncoding::AsDeclared, overrides);
        for (const std::string& name : overrides.names) {
            if (!isRelationships(fold(name)) && !isPart(document, name)) {
                add(Severity::Warning, "type.unused", name, "", "a content type is given to a part that is not there");
            }
        }
    }

    void checkContents(const Document& document) {
        const std::vector<Part> parts = document.package().getParts();
        ReadAhead read(document, open_, parts, threads_);
        for (const Part& part : parts) {
            attempt("part.unreadable", part.getName().ascii(), [&] {
                const fl::Bytes content = read(part);
                if (isPicture(part)) {
                    checkPicture(document, part, content);
                }
            });
        }
    }

    void checkPicture(const Document& document, const Part& part, const fl::Bytes& content) {
        const std::string& name = part.getName().ascii();
        if (!isDataUri(content)) {
            add(Severity::Warning, "picture.no-data-uri", name, "", "the picture is not stored as a data URI");
            return;
        }
        attempt("picture.malformed", name, [&] {
            const std::string header = readDataUri(content, document.where(part)).header;
            // The header is "data:TYPE;base64"; readers go by one of the two types, so they have to agree.
            const std::string type = header.substr(5, header.find(';') - 5);
            if (fold(type) != to_string(part.getContentType().getMediaType())) {
                add(Severity::Warning, "picture.type", name, "",
                    "the data URI says " + type + ", the content type " + to_string(part.getContentType().toString()));
            }
        });
    }

    void checkRelationships(const Document& document) {
        PackageTree tree(document.package());
        tree.walk(
            [&](const PackageTree::Row& row) {
                if (row.kind == PackageTree::Target::Dangling) {
                    addDangling(row);
                }
            },
            // The walk calls this while the exception is handled, so that it goes on with other parts.
            [&] { attempt("relationships.malformed", "/", [] { throw; }); });
        for (const Part& part : tree.unreached()) {
            add(Severity::Warning, "part.unreached", part.getName().ascii(), "", "no relationship leads here");
        }
    }

    void addDangling(const PackageTree::Row& row) {
        const bool isOfCode = row.source == "/" && row.relationship.getType() == documentRelationshipType();
        // Without the document part there is no code; any other part is missed only by what refers to it.
        add(isOfCode ? Severity::Error : Severity::Warning, "relationship.dangling", std::string(row.source),
            to_string(row.relationship.getID()), "leads to no part: " + to_string(row.relationship.getTarget()));
    }

    void checkProperties(const Document& document) {
        for (const Property& property : document.properties()) {
            if (!property.fault.empty()) {
                add(Severity::Error, "property.faulty", "/", property.label, property.fault, property.isOfLimit);
            }
        }
    }

    void checkCode(const Document& document) {
        const std::size_t count = document.package().getRelationshipsByType(documentRelationshipType()).size();
        if (count == 0) {
            add(Severity::Error, "code.missing", "/", "", "no relationship leads to a document part");
        } else if (count > 1) {
            add(Severity::Warning, "code.several", "/", "",
                std::to_string(count) + " relationships lead to document parts; the first counts");
        }
        try {
            checkCodePart(document, document.codePart());
        } catch (const opc::Exception&) {
            // A dangling relationship, which was reported already.
        }
    }

    void checkCodePart(const Document& document, const std::optional<Part>& part) {
        if (!part || formOf(*part) == CodeForm::Encrypted) {
            return;
        }
        attempt("code.malformed", part->getName().ascii(), [&] {
            // First the code as the reader returns it: where that throws, the message is the one that users of the
            // library get.
            checkCharacters(part->getName().ascii(), document.code());
            checkParagraphs(part->getName().ascii(), document.richText());
            if (encodingOf(document.storedCode()) != XmlEncoding::Utf8) {
                add(Severity::Error, "code.malformed", part->getName().ascii(), "",
                    "the code is not in UTF-8, so the library does not read it; saved by 'flowbook edit' it is");
            }
            checkMarkers(part->getName().ascii(), to_string(document.code()));
        });
        try {
            checkReferences(document, *part);
        } catch (const opc::Exception&) {
            // Code or relationships that cannot be read were reported already.
        }
    }

    /// Each conflict by its first marker, or by its last one where that is all that is left.
    /// Code may hold such lines on its own, so this is a warning.
    void checkMarkers(const std::string& part, const std::string& code) {
        bool isOpen = false;
        std::istringstream lines(code);
        std::size_t number = 0;
        for (std::string line; std::getline(lines, line);) {
            ++number;
            const bool begins = isMarker(line, '<');
            const bool ends = isMarker(line, '>');
            if (begins || (ends && !isOpen)) {
                add(Severity::Warning, "code.conflict", part, "line " + std::to_string(number),
                    "a merge left both versions here: " + line);
            }
            isOpen = begins || (isOpen && !ends);
        }
    }

    static bool isMarker(const std::string& line, char sign) {
        const std::string sevenfold(7, sign);
        return line.compare(0, sevenfold.size(), sevenfold) == 0 && (line.size() == 7 || line[7] == ' ');
    }

    void checkReferences(const Document& document, const Part& part) {
        std::set<std::string> ids;
        for (const auto& relationship : part.getRelationships(opc::model::ExcludeMode::None)) {
            ids.insert(to_string(relationship.getID()));
        }
        for (const Reference& reference : findReferences(document.codeInUtf8(), document.where(part))) {
            if (ids.count(reference.id) == 0) {
                add(Severity::Warning, "reference.dangling", part.getName().ascii(), reference.id,
                    "the text refers to a relationship that is not there");
            }
        }
    }

    void checkCharacters(const std::string& part, const std::u16string& code) {
        // Reading lets these characters pass, and the next save replaces them, so a round trip changes the code.
        const std::u16string saved = FlowbookFileUtils::encodeControlCharacters(code);
        std::size_t line = 1;
        std::size_t lineStart = 0;
        for (std::size_t i = 0; i < code.size(); ++i) {
            if (code[i] != saved[i]) {
                char words[64];
                std::snprintf(words, sizeof words, "saving replaces U+%04X", static_cast<unsigned>(code[i]));
                add(Severity::Warning, "code.replaced", part,
                    "line " + std::to_string(line) + ", column " + std::to_string(i - lineStart + 1), words);
            } else if (code[i] == u'\n') {
                ++line;
                lineStart = i + 1;
            }
        }
    }

    void checkParagraphs(const std::string& part, const RichText& text) {
        for (std::size_t i = 0; i < text.paragraphs.size(); ++i) {
            const Paragraph& paragraph = text.paragraphs[i];
            const bool isCode = paragraph.isBlock && paragraph.style == "code";
            if (isCode && paragraph.text() != paragraph.code.value_or("")) {
                add(Severity::Warning, "code.unread", part, "paragraph " + std::to_string(i + 1),
                    "text behind the first of a code paragraph does not count as code");
            }
        }
    }

    std::vector<Finding>& findings_;
    const std::function<Document()> open_;  ///< opens the flowbook again
    const unsigned threads_;
};

}  // namespace

const char* nameOf(Severity severity) { return severity == Severity::Error ? "error" : "warning"; }

std::vector<Finding> check(const std::u16string& name, const foundation::storage::vfs::StorageSystemReference& storage,
                           unsigned threads) {
    std::vector<Finding> findings;
    std::optional<Document> document;
    const auto open = [&] { return Document(name, storage); };
    Checker checker(findings, open, threads);
    try {
        document.emplace(open());
    } catch (const opc::Exception& failure) {
        if (isOfFile(failure.kind())) {
            throw;
        }
        checker.add(Severity::Error, "package.unreadable", "/", "", failure.what(), exceedsLimit(failure));
        return findings;
    }
    checker.checkAll(*document);
    return findings;
}

}  // namespace flowbook::kit
