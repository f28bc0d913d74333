#pragma once

#include <memory>
#include <xercesc/dom/DOM.hpp>

namespace flowbook::detail {

/// Objects of the XML library end by release(), not by delete.
struct XercesRelease {
    template <class T>
    void operator()(T* object) const {
        object->release();
    }
};

using DocumentPtr = std::unique_ptr<xercesc::DOMDocument, XercesRelease>;
using SerializerPtr = std::unique_ptr<xercesc::DOMLSSerializer, XercesRelease>;

}  // namespace flowbook::detail
