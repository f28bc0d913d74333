#pragma once

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"

#include <memory>
#include <new>
#include <string>
#include <utility>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLException.hpp>

namespace opc::model {

/// Runs `work` and turns what the XML library throws, none of which is a std::exception, into exceptions
/// of this library. `action` says what could not be done: "cannot ...".
template <class Work>
auto translatingXercesErrors(const char* action, Work&& work) -> decltype(work()) {
    const auto failure = [&](const XMLCh* reason) {
        return Exception(ErrorKind::Misuse,
                         std::string(action) + ": " + fl::i18n::to_string(reason == nullptr ? u"" : reason));
    };
    try {
        return std::forward<Work>(work)();
    } catch (const xercesc::OutOfMemoryException&) {
        throw std::bad_alloc();
    } catch (const xercesc::DOMException& error) {
        throw failure(error.getMessage());
    } catch (const xercesc::XMLException& error) {
        throw failure(error.getMessage());
    }
}

/// Deletes an object of the XML library, which has to be released rather than deleted: it may be part of a pool.
struct XercesRelease {
    template <class Object>
    void operator()(Object* object) const {
        object->release();
    }
};

template <class Object>
using XercesPtr = std::unique_ptr<Object, XercesRelease>;

}  // namespace opc::model
