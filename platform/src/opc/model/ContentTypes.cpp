// The content types stream. Declarations keep the order in which they were written, so that a change adds to the stream
// rather than rearranging it; two maps find them by folded extension and by folded part name. Look-ups are ordered
// maps, not hash tables, in which a hostile file could choose names that collide.
#include "opc/model/ContentTypes.hpp"

#include "fl/Ascii.hpp"
#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/MessageText.hpp"
#include "opc/names/Characters.hpp"
#include "opc/xml/FlatXml.hpp"
#include "opc/xml/XmlWriter.hpp"

namespace opc::model::detail {
namespace {

using fl::ascii::fold;

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

    void forget() override { types_ = ContentTypes(); }

    ContentTypes& types_;
};

/// As many declarations as most packages have; reserving them at once saves several allocations.
constexpr std::size_t kUsualCount = 8;

/// What follows the last dot of the last segment; empty when there is none.
std::string_view extensionOf(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    const std::size_t slash = name.rfind('/');
    return dot == std::string_view::npos || dot < slash ? std::string_view() : name.substr(dot + 1);
}

template <class Index>
bool isAt(typename Index::const_iterator place, const Index& index, const std::string& key) {
    return place != index.end() && place->first == key;
}

bool isExtension(std::string_view text) {
    return text.find('.') == std::string_view::npos && PartName::isValid("/" + std::string(text)) &&
           text.find('/') == std::string_view::npos;
}

}  // namespace

/// A text that is plainly a media type is taken apart when it is first asked for; any other now, so that a malformed
/// one fails the opening of the package and not a later call.
DeclaredType::DeclaredType(std::string_view text) : text_(text) {
    if (!isBareMediaType(text_)) {
        get();
    }
}

const ContentType& DeclaredType::get() const {
    if (!type_) {
        type_.emplace(fl::i18n::to_ustring(text_));
    }
    return *type_;
}

void ContentTypes::parse(const fl::Bytes& bytes, const std::function<std::string()>& where) {
    Handler handler(*this);
    parseFlatXml(bytes, where, handler);
}

ContentTypes::Pointer ContentTypes::find(std::string_view foldedName) const {
    const auto found = overrides_.find(foldedName);
    return found != overrides_.end() ? declarations_[found->second].type : defaultFor(foldedName);
}

ContentTypes::Pointer ContentTypes::defaultFor(std::string_view foldedName) const {
    const auto found = defaults_.find(extensionOf(foldedName));
    return found == defaults_.end() ? nullptr : declarations_[found->second].type;
}

/// Compares texts rather than types: a caller that sets a type with another spelling gets that spelling.
ContentTypes::Pointer ContentTypes::assign(const PartName& name, const ContentType& type) {
    Pointer current = find(name.folded());
    const bool isDeclared = current && current->text() == fl::i18n::to_string(type.toString());
    return isDeclared ? current : declare(false, name.ascii(), type);
}

ContentTypes::Pointer ContentTypes::assignByDefault(const PartName& name, const ContentType& type) {
    const std::string_view extension = extensionOf(name.ascii());
    const bool byDefault = !extension.empty() && !find(name.folded());
    return byDefault ? declare(true, extension, type) : assign(name, type);
}

bool ContentTypes::hasMixedExtension(const PartName& name) { return extensionOf(name.folded()) == "xml"; }

/// The declaration stays in the list without a type, and is not written: taking it out would move those behind it,
/// which the maps know by their positions.
void ContentTypes::removeOverride(std::string_view foldedName) noexcept {
    const auto found = overrides_.find(foldedName);
    if (found != overrides_.end()) {
        declarations_[found->second].type = nullptr;
        overrides_.erase(found);
        changed_ = true;
    }
}

fl::Bytes ContentTypes::toXml() const {
    XmlWriter xml;
    xml.start("Types").attribute("xmlns", kNamespace);
    for (const Declaration& each : declarations_) {
        if (each.type) {
            xml.start(each.isDefault ? "Default" : "Override");
            xml.attribute(each.isDefault ? "Extension" : "PartName", each.subject);
            xml.attribute("ContentType", each.type->text()).end();
        }
    }
    return xml.end().finish();
}

void ContentTypes::addDefault(std::string_view extension, std::string_view type) {
    if (!isExtension(extension)) {
        throw XmlFault{shown(extension) + " is no extension"};
    }
    std::string folded = fold(extension);
    const auto place = defaults_.lower_bound(folded);
    if (isAt(place, defaults_, folded)) {
        throw XmlFault{"there are two defaults for the extension " + shown(extension) + " (M2.5)"};
    }
    add(defaults_, place, std::move(folded), {true, std::string(extension), intern(type)});
}

void ContentTypes::addOverride(std::string_view name, std::string_view type) {
    if (!PartName::isValid(name)) {
        throw XmlFault{shown(name) + " is no part name"};
    }
    std::string folded = fold(name);
    const auto place = overrides_.lower_bound(folded);
    if (isAt(place, overrides_, folded)) {
        throw XmlFault{"there are two overrides for the part " + shown(name) + " (M2.6)"};
    }
    add(overrides_, place, std::move(folded), {false, std::string(name), intern(type)});
}

/// Returns the one object for a text. Most parts of a package share a few types.
const ContentTypes::Pointer& ContentTypes::intern(std::string_view text) {
    const auto found = types_.find(text);
    if (found != types_.end()) {
        return found->second;
    }
    try {
        Pointer made = std::make_shared<const DeclaredType>(text);
        const std::string_view key = made->text();
        return types_.emplace(key, std::move(made)).first->second;
    } catch (const Exception& error) {
        throw XmlFault{error.what()};
    }
}

ContentTypes::Pointer ContentTypes::declare(bool isDefault, std::string_view subject, const ContentType& type) {
    Pointer kept = intern(fl::i18n::to_string(type.toString()));
    Index& index = isDefault ? defaults_ : overrides_;
    std::string folded = fold(subject);
    const auto place = index.lower_bound(folded);
    add(index, place, std::move(folded), {isDefault, std::string(subject), kept});
    changed_ = true;
    return kept;
}

/// Adds a declaration, or puts it in the place of an earlier one of the same subject. Nothing is changed when memory
/// runs out on the way: until the last line the new declaration has no type and counts as absent.
/// @param place  of the folded subject in the index.
void ContentTypes::add(Index& index, Index::const_iterator place, std::string folded, Declaration declaration) {
    const std::size_t at = declarations_.size();
    Pointer type = std::move(declaration.type);
    if (declarations_.empty()) {
        declarations_.reserve(kUsualCount);
    }
    declarations_.push_back(std::move(declaration));
    const auto found = index.try_emplace(place, std::move(folded), at);
    if (found->second != at) {
        declarations_[found->second].type = nullptr;
        found->second = at;
    }
    declarations_[at].type = std::move(type);
}

}  // namespace opc::model::detail
