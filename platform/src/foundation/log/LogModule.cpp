// Loads the module that writes diagnostics when something is logged for the first time.
#include "fl/Module.hpp"
#include "foundation/log/LogOutput.hpp"

#include <stdexcept>

namespace foundation::log {
namespace {

const LogOutput* load() {
    try {
        return reinterpret_cast<decltype(&pxplatform_log)>(
            fl::functionOfModule(PXPLATFORM_LOG_MODULE, "pxplatform_log"))();
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string("cannot load the log ") + error.what());
    }
}

}  // namespace

const LogOutput& logOutput() {
    static const LogOutput* const loaded = load();
    return *loaded;
}

}  // namespace foundation::log
