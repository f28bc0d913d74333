#pragma once

#include "opc/pxservices/CoreProperties.hpp"
#include "opc/xml/XmlTree.hpp"

#include <vector>

namespace opc::pxservices::detail {

/// What both parts of the core properties hold.
struct PropertySet {
    using Text = CoreProperties::Text;
    using Time = CoreProperties::Time;

    Text title;
    Text description;
    Text version;
    Text category;
    Text contentType;
    Text contentTypeFriendlyName;
    Text release;
    Time created;
    Time lastModified;

    /// What there is besides in the core-properties part and in the extension part.
    std::vector<XmlNode> otherCore;
    std::vector<XmlNode> otherExtension;
};

}  // namespace opc::pxservices::detail
