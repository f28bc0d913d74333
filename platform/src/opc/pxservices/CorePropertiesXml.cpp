#include "opc/pxservices/CorePropertiesXml.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/names/MessageText.hpp"
#include "opc/pxservices/W3cDateTime.hpp"
#include "opc/xml/PackageXmlReader.hpp"

#include <algorithm>
#include <iterator>
#include <set>

namespace opc::pxservices::detail {
namespace {

using model::detail::XmlAttribute;
using model::detail::XmlElement;
using model::detail::XmlFault;
using model::detail::XmlWriter;

constexpr char kCore[] = "http://schemas.openxmlformats.org/package/2006/metadata/core-properties";
constexpr char kDublinCore[] = "http://purl.org/dc/elements/1.1/";
constexpr char kTerms[] = "http://purl.org/dc/terms/";
constexpr char kTypes[] = "http://purl.org/dc/dcmitype/";
constexpr char kSchemaInstance[] = "http://www.w3.org/2001/XMLSchema-instance";
constexpr char kXml[] = "http://www.w3.org/XML/1998/namespace";
constexpr char kMarkupCompatibility[] = "http://schemas.openxmlformats.org/markup-compatibility/2006";
constexpr char kExtension[] = "http://schemas.pellarion.com/package/2013/properties";

/// The declarations on the root of a written core-properties part.
const XmlBindings& coreBindings() {
    static const XmlBindings bindings = {
        {"cp", kCore}, {"dc", kDublinCore}, {"dcterms", kTerms}, {"dcmitype", kTypes}, {"xsi", kSchemaInstance}};
    return bindings;
}

const XmlBindings& extensionBindings() {
    static const XmlBindings bindings = {{"px", kExtension}};
    return bindings;
}

/// An element that a property is kept in.
template <class Value>
struct Field {
    const char* prefix;
    const char* ns;
    const char* local;
    Value PropertySet::*value;
    const char* property;  ///< what messages call it
};

constexpr Field<PropertySet::Text> kCoreTexts[] = {
    {"dc", kDublinCore, "title", &PropertySet::title, "title"},
    {"dc", kDublinCore, "description", &PropertySet::description, "description"},
    {"cp", kCore, "version", &PropertySet::version, "version"},
    {"cp", kCore, "category", &PropertySet::category, "category"},
    {"cp", kCore, "contentType", &PropertySet::contentType, "content type"},
};
constexpr Field<PropertySet::Time> kCoreTimes[] = {
    {"dcterms", kTerms, "created", &PropertySet::created, "created time"},
    {"dcterms", kTerms, "modified", &PropertySet::lastModified, "last modified time"},
};
constexpr Field<PropertySet::Text> kExtensionTexts[] = {
    {"px", kExtension, "release", &PropertySet::release, "TARMIC release"},
    {"px", kExtension, "contentTypeFriendlyName", &PropertySet::contentTypeFriendlyName, "content type friendly name"},
};

bool isTime(std::string_view ns, std::string_view local) {
    return ns == kTerms && (local == "created" || local == "modified");
}

/// The tree of a core-properties part, which refuses what no such part may have.
class CoreHandler : public XmlTreeHandler {
public:
    CoreHandler() : XmlTreeHandler(kCore, "coreProperties", coreBindings()) {}

    void startElement(const XmlElement& element) override {
        refuseMarkupCompatibility(element.name.ns);
        if (element.name.ns == kTerms && !isTime(element.name.ns, element.name.local)) {
            throw XmlFault{model::detail::shown(element.name.local) + " refines a Dublin Core element (M4.3)"};
        }
        for (const XmlAttribute& attribute : element.attributes) {
            check(attribute, element);
        }
        XmlTreeHandler::startElement(element);
    }

private:
    static void refuseMarkupCompatibility(std::string_view ns) {
        if (ns == kMarkupCompatibility) {
            throw XmlFault{"markup compatibility is not permitted (M4.2)"};
        }
    }

    static void check(const XmlAttribute& attribute, const XmlElement& element) {
        refuseMarkupCompatibility(attribute.name.ns);
        // The schema gives keywords a language, and nothing else.
        const bool hasLanguage = element.name.is(kCore, "keywords") || element.name.is(kCore, "value");
        if (attribute.name.is(kXml, "lang") && !hasLanguage) {
            throw XmlFault{"xml:lang is not permitted on " + model::detail::shown(element.name.local) + " (M4.4)"};
        }
        if (attribute.name.is(kSchemaInstance, "type") && !isTime(element.name.ns, element.name.local)) {
            throw XmlFault{"xsi:type is not permitted on " + model::detail::shown(element.name.local) + " (M4.5)"};
        }
    }
};

[[noreturn]] void fail(const std::string& where, const XmlNode& node, const std::string& reason) {
    throw Exception(ErrorKind::Damaged, where + ", line " + std::to_string(node.line) + ": " +
                                            model::detail::shown(node.local) + " " + reason);
}

std::string textOf(const XmlNode& node, const std::string& where) {
    std::string text;
    for (const XmlNode& child : node.content) {
        if (!child.isText()) {
            fail(where, child, "is not permitted in " + model::detail::shown(node.local));
        }
        text += child.text;
    }
    return text;
}

std::string trimmed(const std::string& text) {
    constexpr char kSpace[] = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kSpace);
    return first == std::string::npos ? std::string() : text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

/// What a prefix stands for on an element.
std::string namespaceOf(const std::string& prefix, const XmlNode& node) {
    for (const XmlBindings* bindings : {&node.bindings, &coreBindings()}) {
        for (const auto& [bound, uri] : *bindings) {
            if (bound == prefix) {
                return uri;
            }
        }
    }
    return {};
}

void checkTimeType(const XmlNode& node, const std::string& where) {
    const XmlNode::Attribute* type = node.attribute(kSchemaInstance, "type");
    const std::string name = type == nullptr ? std::string() : trimmed(type->value);
    const std::size_t colon = name.find(':');
    if (colon == std::string::npos || name.substr(colon + 1) != "W3CDTF" ||
        namespaceOf(name.substr(0, colon), node) != kTerms) {
        fail(where, node, "has not the xsi:type dcterms:W3CDTF (M4.5)");
    }
}

void take(const XmlNode& node, const std::string& where, PropertySet::Text& value) {
    value = fl::i18n::to_ustring(textOf(node, where));
}

void take(const XmlNode& node, const std::string& where, PropertySet::Time& value) {
    checkTimeType(node, where);
    const std::string text = textOf(node, where);
    value = parseW3cDateTime(trimmed(text));
    if (!value) {
        fail(where, node,
             "holds " + model::detail::shown(text) + ", which is no date and time of the years 1400 to 9999");
    }
}

/// Gives the value of the element to the one of the fields that it is for; false when it is for none.
template <class Value, std::size_t count>
bool takeInto(const Field<Value> (&fields)[count], const XmlNode& node, const std::string& where, PropertySet& set) {
    const auto field = std::find_if(std::begin(fields), std::end(fields),
                                    [&](const Field<Value>& each) { return node.is(each.ns, each.local); });
    if (field == std::end(fields)) {
        return false;
    }
    take(node, where, set.*(field->value));
    return true;
}

/// Refuses two elements of one name, foreign ones aside, which no schema limits.
class OnceOnly {
public:
    explicit OnceOnly(const XmlBindings& namespaces) : namespaces_(namespaces) {}

    void check(const XmlNode& node, const std::string& where) {
        const bool isOwn = std::any_of(namespaces_.begin(), namespaces_.end(),
                                       [&](const XmlBinding& binding) { return binding.second == node.ns; });
        if (isOwn && !seen_.emplace(node.ns, node.local).second) {
            fail(where, node, "is there twice");
        }
    }

private:
    const XmlBindings& namespaces_;
    std::set<std::pair<std::string, std::string>> seen_;
};

std::string writable(const std::u16string& value, const char* property) {
    auto text = model::detail::toXmlText(value);
    if (!text) {
        throw Exception(ErrorKind::Misuse,
                        std::string("the property '") + property +
                            "' cannot be written: its value holds a character that XML does not permit");
    }
    return *std::move(text);
}

std::string writable(const boost::posix_time::ptime& value, const char* property) {
    if (value.is_special()) {
        throw Exception(ErrorKind::Misuse,
                        std::string("the property '") + property + "' cannot be written: its value is no time");
    }
    return formatW3cDateTime(value);
}

void startRoot(XmlWriter& xml, const char* name, const XmlBindings& bindings) {
    xml.start(name);
    for (const auto& [prefix, uri] : bindings) {
        xml.attribute("xmlns:" + prefix, uri);
    }
}

template <class Value, std::size_t count>
void writeFields(XmlWriter& xml, const Field<Value> (&fields)[count], const PropertySet& set) {
    for (const Field<Value>& field : fields) {
        const Value& value = set.*(field.value);
        if (value) {
            xml.start(std::string(field.prefix) + ":" + field.local);
            if (isTime(field.ns, field.local)) {
                xml.attribute("xsi:type", "dcterms:W3CDTF");
            }
            xml.text(writable(*value, field.property)).end();
        }
    }
}

Bytes finish(XmlWriter& xml, const std::vector<XmlNode>& others) {
    for (const XmlNode& node : others) {
        writeNode(node, xml);
    }
    return xml.end().finish();
}

}  // namespace

void readCoreXml(const Bytes& xml, const std::string& where, PropertySet& properties) {
    CoreHandler handler;
    model::detail::parsePackageXml(xml, where, handler);
    OnceOnly once(coreBindings());
    for (XmlNode& node : handler.takeElements()) {
        once.check(node, where);
        if (!takeInto(kCoreTexts, node, where, properties) && !takeInto(kCoreTimes, node, where, properties)) {
            properties.otherCore.push_back(std::move(node));
        }
    }
}

void readExtensionXml(const Bytes& xml, const std::string& where, PropertySet& properties) {
    XmlTreeHandler handler(kExtension, "properties", extensionBindings());
    model::detail::parsePackageXml(xml, where, handler);
    OnceOnly once(extensionBindings());
    for (XmlNode& node : handler.takeElements()) {
        once.check(node, where);
        if (!takeInto(kExtensionTexts, node, where, properties)) {
            properties.otherExtension.push_back(std::move(node));
        }
    }
}

Bytes writeCoreXml(const PropertySet& properties) {
    XmlWriter xml;
    startRoot(xml, "cp:coreProperties", coreBindings());
    writeFields(xml, kCoreTexts, properties);
    writeFields(xml, kCoreTimes, properties);
    return finish(xml, properties.otherCore);
}

Bytes writeExtensionXml(const PropertySet& properties) {
    XmlWriter xml;
    startRoot(xml, "px:properties", extensionBindings());
    writeFields(xml, kExtensionTexts, properties);
    return finish(xml, properties.otherExtension);
}

}  // namespace opc::pxservices::detail
