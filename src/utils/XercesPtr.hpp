#pragma once

#include <memory>

namespace flowbook::detail {

/// Objects of the XML library end by release(), not by delete.
struct XercesRelease {
    template <class Object>
    void operator()(Object* object) const {
        object->release();
    }
};

template <class Object>
using XercesPtr = std::unique_ptr<Object, XercesRelease>;

}  // namespace flowbook::detail
