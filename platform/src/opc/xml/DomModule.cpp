#include "opc/Exception.hpp"
#include "opc/xml/Dom.hpp"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <new>
#include <string>

namespace opc::model {
namespace {

/// The folder that this library was loaded from. The run path would lead there as well, but not where a tool stands
/// between dlopen() and its caller, as those that look for faults do.
std::string ownFolder() {
    Dl_info self;
    void* library = nullptr;
    std::array<char, PATH_MAX> folder{};
    const auto* const here = reinterpret_cast<const void*>(&ownFolder);
    if (dladdr1(here, &self, &library, RTLD_DL_LINKMAP) == 0 || dlinfo(library, RTLD_DI_ORIGIN, folder.data()) != 0 ||
        folder.front() != '/') {
        // A name without a folder would be looked for wherever the environment says.
        throw Exception(ErrorKind::InputOutput, "cannot load the XML library: the folder of this library is unknown");
    }
    return std::string(folder.data()) + '/';
}

[[noreturn]] void fail(const std::string& file) {
    const char* const reason = dlerror();
    if (reason == nullptr || std::strstr(reason, std::strerror(ENOMEM)) != nullptr) {
        throw std::bad_alloc();
    }
    throw Exception(ErrorKind::InputOutput, "cannot load the XML library through \"" + file + "\": " + reason);
}

/// Stays loaded, and keeps this library loaded.
const Dom& load() {
    const std::string file = ownFolder() + PXPLATFORM_DOM_MODULE;
    void* const module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        fail(file);
    }
    const auto enter = reinterpret_cast<const Dom* (*)()>(dlsym(module, "pxplatform_dom"));
    if (enter == nullptr) {
        fail(file);
    }
    return *enter();
}

}  // namespace

const Dom& dom() {
    static const Dom& loaded = load();
    return loaded;
}

}  // namespace opc::model
