#include "Document.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/compare/TextForm.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/page/Page.hpp"

namespace flowbook::python {

using opc::model::Part;
using opc::model::PartName;

namespace {

fl::Bytes toBytes(const std::string& bytes) { return {bytes.begin(), bytes.end()}; }

void append(std::vector<RelationshipInfo>& found, const std::string& source,
            const opc::model::RelationshipSource& from) {
    for (const auto& each : from.getRelationships(opc::model::ExcludeMode::None)) {
        found.push_back({source, fl::i18n::to_string(each.getID()), fl::i18n::to_string(each.getType()),
                         fl::i18n::to_string(each.getTarget()),
                         each.getTargetMode() == opc::model::TargetMode::Internal});
    }
}

/// Opens without a document that would guard and judge.
template <class MakeSource>
std::unique_ptr<Document> open(const std::string& file, const Source& held, MakeSource makeSource) {
    Turns turns;
    return inTurn(turns, held, file, [&] { return std::make_unique<Document>(makeSource(), file); });
}

}  // namespace

void needReadable(const kit::Document& document) {
    const kit::CodeForm form = document.form();
    if (form == kit::CodeForm::Encrypted) {
        throw Refusal("encrypted", "the code is encrypted");
    }
    if (form == kit::CodeForm::None) {
        throw Refusal("damaged", "there is no code in it");
    }
}

std::unique_ptr<Document> Document::ofPath(const std::u16string& path, const std::string& file) {
    return open(file, {}, [&] { return Source::ofPath(path); });
}

std::unique_ptr<Document> Document::ofBytes(const std::string& bytes, const std::string& file) {
    return open(file, {}, [&] { return Source::ofBytes(toBytes(bytes)); });
}

std::unique_ptr<Document> Document::ofObject(pybind11::object object, const std::string& file) {
    Source source = Source::ofObject(std::move(object));
    return open(file, source, [&] { return source; });
}

Document::Document(Source source, std::string file)
    : source_(std::move(source)), file_(std::move(file)), document_(kName, source_.storage()) {}

std::string Document::form() {
    return run([&] { return std::string(nameOf(document_.form())); });
}

std::u16string Document::code() {
    return run([&] {
        needReadable(document_);
        return document_.code();
    });
}

std::string Document::richCode() {
    return run([&] {
        needReadable(document_);
        const fl::Bytes stored = document_.storedCode();
        std::string text(stored.begin(), stored.end());
        // Strict, so that what is no text is told as damage.
        fl::i18n::utf8_to_ustring(text);
        return text;
    });
}

std::optional<fl::Bytes> Document::encryptedCode() {
    return run([&] {
        const bool isEncrypted = document_.form() == kit::CodeForm::Encrypted;
        return isEncrypted ? std::make_optional(document_.storedCode()) : std::nullopt;
    });
}

std::vector<kit::Property> Document::properties() {
    return run([&] {
        std::vector<kit::Property> properties = document_.properties();
        for (kit::Property& each : properties) {
            each.fault = withName(std::move(each.fault), file_);
        }
        return properties;
    });
}

std::vector<PartInfo> Document::parts() {
    return run([&] {
        std::vector<PartInfo> parts;
        for (const Part& part : document_.package().getParts()) {
            parts.push_back({part.getName().ascii(), fl::i18n::to_string(part.getContentType().toString()),
                             part.getSize(), kit::isPicture(part)});
        }
        return parts;
    });
}

std::vector<RelationshipInfo> Document::relationships() {
    return run([&] {
        std::vector<RelationshipInfo> found;
        append(found, "/", document_.package());
        for (const Part& part : document_.package().getParts()) {
            append(found, part.getName().ascii(), part);
        }
        return found;
    });
}

Part Document::part(const std::string& name) const {
    return document_.package().getPart(PartName(fl::i18n::to_ustring(name)));
}

fl::Bytes Document::content(const std::string& name) {
    return run([&] { return kit::contentOf(part(name)); });
}

fl::Bytes Document::picture(const std::string& name) {
    return run([&] { return kit::pictureOf(kit::contentOf(part(name)), name); });
}

std::string Document::digest() {
    return run([&] { return kit::contentDigest(document_); });
}

std::string Document::text() {
    return run([&] { return kit::textForm(kName, source_.storage()); });
}

std::string Document::html() {
    return run([&] {
        const auto inWords = [&](const std::string& words) { return withName(words, file_); };
        return kit::makePage(document_, {file_, inWords}).html;
    });
}

std::vector<kit::Finding> Document::check() {
    return run([&] { return kit::check(kName, source_.storage()); });
}

fl::Bytes Document::changed(const Change& change) {
    return run([&] { return saveAsBytes(source_, change); });
}

void Document::saveBack(const Change& change) {
    run([&] {
        python::saveBack(source_, change);
        return true;
    });
}

void Document::saveAt(const Change& change, const std::u16string& path) {
    run([&] {
        python::saveAt(source_, change, path);
        return true;
    });
}

}  // namespace flowbook::python
