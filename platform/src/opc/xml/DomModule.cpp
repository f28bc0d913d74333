// Loads the module of the XML library at the first use of it. The other libraries and programs never name that library,
// so that they start without it.
#include "fl/Module.hpp"
#include "opc/Exception.hpp"
#include "opc/xml/Dom.hpp"

#include <string>

namespace opc::model {
namespace {

void* entryOfModule() {
    try {
        return fl::functionOfModule(PXPLATFORM_DOM_MODULE, "pxplatform_dom");
    } catch (const std::runtime_error& error) {
        throw Exception(ErrorKind::InputOutput, std::string("cannot load the XML library ") + error.what());
    }
}

const Dom& load() { return *reinterpret_cast<const Dom* (*)()>(entryOfModule())(); }

}  // namespace

const Dom& dom() {
    static const Dom& loaded = load();
    return loaded;
}

}  // namespace opc::model
