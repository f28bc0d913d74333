// Loads modules of this project by their full paths, from beside the library that needs them. A name alone would be
// looked for where the environment of the process says, and another program's file could be loaded.
#include "fl/Module.hpp"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <new>
#include <stdexcept>
#include <unistd.h>

#ifndef PXPLATFORM_MODULE_FOLDERS
#define PXPLATFORM_MODULE_FOLDERS ""
#endif

namespace fl {
namespace {

/// Where modules may lie, from the folder of this library, or of a program that is linked with its objects.
constexpr const char* kFolders[] = {PXPLATFORM_MODULE_FOLDERS};

/// The folder that this library, or the program, was loaded from. The run path would lead there as well, but not where
/// a tool stands between dlopen() and its caller, as those that look for faults do.
std::string ownFolder() {
    Dl_info self;
    void* library = nullptr;
    std::array<char, PATH_MAX> folder{};
    const auto* const here = reinterpret_cast<const void*>(&ownFolder);
    if (dladdr1(here, &self, &library, RTLD_DL_LINKMAP) == 0 || dlinfo(library, RTLD_DI_ORIGIN, folder.data()) != 0 ||
        folder.front() != '/') {
        throw std::runtime_error("as the folder of this library is unknown");
    }
    return std::string(folder.data()) + '/';
}

/// The first file that exists, or else the first that could.
std::string fileOfModule(const std::string& name) {
    const std::string own = ownFolder();
    for (const char* const folder : kFolders) {
        std::string file = own;
        file.append(folder).append(name);
        if (::access(file.c_str(), F_OK) == 0) {
            return file;
        }
    }
    return own + kFolders[0] + name;
}

[[noreturn]] void fail(const std::string& file) {
    const char* const reason = dlerror();
    if (reason == nullptr || std::strstr(reason, std::strerror(ENOMEM)) != nullptr) {
        throw std::bad_alloc();
    }
    throw std::runtime_error("through \"" + file + "\": " + reason);
}

}  // namespace

void* functionOfModule(const std::string& name, const char* function) {
    const std::string file = fileOfModule(name);
    void* const module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        fail(file);
    }
    void* const found = dlsym(module, function);
    if (found == nullptr) {
        fail(file);
    }
    return found;
}

}  // namespace fl
