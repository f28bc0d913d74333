#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace opc::model::detail {

/// A name as XML namespaces see it, with the prefix that it was written with; UTF-8.
struct XmlName {
    std::string_view ns;
    std::string_view local;
    std::string_view prefix;

    bool is(std::string_view otherNs, std::string_view otherLocal) const {
        return local == otherLocal && ns == otherNs;
    }
};

struct XmlAttribute {
    XmlName name;
    std::string_view value;
};

/// Bytes of a document: from the first one to the one after the last.
struct XmlRange {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// A start tag; all texts are gone when the handler returns. Namespace declarations are no attributes.
struct XmlElement {
    XmlName name;
    std::vector<XmlAttribute> attributes;
    XmlRange tag;

    /// The value of an attribute in no namespace; null when there is none.
    const std::string_view* attribute(std::string_view local) const {
        for (const XmlAttribute& each : attributes) {
            if (each.name.is({}, local)) {
                return &each.value;
            }
        }
        return nullptr;
    }
};

}  // namespace opc::model::detail
