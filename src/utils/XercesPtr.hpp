#pragma once

#include <memory>

namespace flowbook::detail {

/// Deletes an object of the XML library, which has to be released. The platform has the same behind its headers; it is
/// repeated here because a host's platform need not have it.
struct XercesRelease {
    template <class Object>
    void operator()(Object* object) const {
        object->release();
    }
};

template <class Object>
using XercesPtr = std::unique_ptr<Object, XercesRelease>;

}  // namespace flowbook::detail
