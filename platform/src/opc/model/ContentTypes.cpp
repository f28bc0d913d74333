#include "opc/model/ContentTypes.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/names/Ascii.hpp"
#include "opc/names/MessageText.hpp"
#include "opc/xml/FlatXmlHandler.hpp"
#include "opc/xml/PackageXmlReader.hpp"
#include "opc/xml/XmlWriter.hpp"

namespace opc::model::detail {
namespace {

constexpr std::string_view kNamespace = "http://schemas.openxmlformats.org/package/2006/content-types";

/// Fills content types from their XML.
class Handler : public FlatXmlHandler {
public:
    explicit Handler(ContentTypes& types) : FlatXmlHandler(kNamespace, "Types"), types_(types) {}

private:
    void listed(const XmlElement& element) override {
        if (element.name.local == "Default") {
            permitOnly(element, {"Extension", "ContentType"});
            types_.addDefault(required(element, "Extension"), required(element, "ContentType"));
        } else if (element.name.local == "Override") {
            permitOnly(element, {"PartName", "ContentType"});
            types_.addOverride(required(element, "PartName"), required(element, "ContentType"));
        } else {
            throw XmlFault{"unexpected element " + shown(element.name.local)};
        }
    }

    ContentTypes& types_;
};

/// What follows the last dot of the last segment; empty when there is none.
std::string_view extensionOf(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    const std::size_t slash = name.rfind('/');
    return dot == std::string_view::npos || dot < slash ? std::string_view() : name.substr(dot + 1);
}

bool isExtension(std::string_view text) {
    return text.find('.') == std::string_view::npos && PartName::isValid("/" + std::string(text)) &&
           text.find('/') == std::string_view::npos;
}

}  // namespace

void ContentTypes::parse(const std::vector<unsigned char>& bytes, const std::string& where) {
    Handler handler(*this);
    parsePackageXml(bytes, where, handler);
}

const ContentType* ContentTypes::find(const std::string& foldedName) const {
    const auto found = overrides_.find(foldedName);
    return found != overrides_.end() ? entries_[found->second].type : defaultFor(foldedName);
}

const ContentType* ContentTypes::defaultFor(const std::string& foldedName) const {
    const auto found = defaults_.find(std::string(extensionOf(foldedName)));
    return found == defaults_.end() ? nullptr : entries_[found->second].type;
}

const ContentType* ContentTypes::assign(const PartName& name, const ContentType& type) {
    const std::string folded = name.folded();
    const ContentType* current = find(folded);
    if (current != nullptr && current->toString() == type.toString()) {
        return current;
    }
    removeOverride(folded);
    return addNew(false, name.ascii(), type);
}

const ContentType* ContentTypes::assignByDefault(const PartName& name, const ContentType& type) {
    const std::string_view extension = extensionOf(name.ascii());
    if (extension.empty() || find(name.folded()) != nullptr) {
        return assign(name, type);
    }
    return addNew(true, extension, type);
}

bool ContentTypes::hasMixedExtension(const PartName& name) { return extensionOf(name.folded()) == "xml"; }

void ContentTypes::removeOverride(const std::string& foldedName) {
    const auto found = overrides_.find(foldedName);
    if (found != overrides_.end()) {
        entries_[found->second].removed = true;
        overrides_.erase(found);
        changed_ = true;
    }
}

std::vector<unsigned char> ContentTypes::toXml() const {
    XmlWriter xml;
    xml.start("Types").attribute("xmlns", kNamespace);
    for (const Entry& entry : entries_) {
        if (!entry.removed) {
            xml.start(entry.isDefault ? "Default" : "Override");
            xml.attribute(entry.isDefault ? "Extension" : "PartName", entry.subject);
            xml.attribute("ContentType", fl::i18n::to_string(entry.type->toString())).end();
        }
    }
    return xml.end().finish();
}

void ContentTypes::addDefault(std::string_view extension, std::string_view type) {
    if (!isExtension(extension)) {
        throw XmlFault{shown(extension) + " is no extension"};
    }
    if (!add(true, extension, intern(type))) {
        throw XmlFault{"there are two defaults for the extension " + shown(extension) + " (M2.5)"};
    }
}

void ContentTypes::addOverride(std::string_view name, std::string_view type) {
    if (!PartName::isValid(name)) {
        throw XmlFault{shown(name) + " is no part name"};
    }
    if (!add(false, name, intern(type))) {
        throw XmlFault{"there are two overrides for the part " + shown(name) + " (M2.6)"};
    }
}

/// Most parts of a package share a few types, so each is parsed once.
const ContentType* ContentTypes::intern(std::string_view text) {
    const auto found = types_.find(std::string(text));
    if (found != types_.end()) {
        return &found->second;
    }
    try {
        return &types_.emplace(text, ContentType(fl::i18n::to_ustring(text))).first->second;
    } catch (const Exception& error) {
        throw XmlFault{error.what()};
    }
}

const ContentType* ContentTypes::addNew(bool isDefault, std::string_view subject, const ContentType& type) {
    const ContentType* kept = intern(fl::i18n::to_string(type.toString()));
    changed_ = true;
    add(isDefault, subject, kept);
    return kept;
}

bool ContentTypes::add(bool isDefault, std::string_view subject, const ContentType* type) {
    Index& index = isDefault ? defaults_ : overrides_;
    const bool isNew = index.emplace(toLower(subject), entries_.size()).second;
    if (isNew) {
        entries_.push_back({isDefault, std::string(subject), type});
    }
    return isNew;
}

}  // namespace opc::model::detail
