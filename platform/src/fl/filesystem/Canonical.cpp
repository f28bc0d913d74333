#include "fl/filesystem/Canonical.hpp"

#include "fl/filesystem/FsysExceptionBase.hpp"
#include "fl/filesystem/NativePath.hpp"
#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"

#include <cerrno>
#include <new>
#include <system_error>

namespace fl::filesystem {
namespace {

[[noreturn]] void fail(const std::u16string& path, const std::string& reason) {
    throw FsysExceptionBase("cannot find the canonical form of \"" + i18n::to_string(path) + "\": " + reason);
}

std::string toNative(const std::u16string& path) {
    try {
        return toNativePath(path);
    } catch (const i18n::ConversionError& error) {
        fail(path, error.what());
    }
}

bool isRelative(const std::u16string& path) { return !path.empty() && path.front() != u'/'; }

}  // namespace

std::u16string canonical(const std::u16string& path, const std::u16string& base) {
    const std::u16string whole = isRelative(path) && !base.empty() ? base + u'/' + path : path;
    const auto resolved = realPath(toNative(whole));
    if (!resolved) {
        const int reason = errno;
        if (reason == ENOMEM) {
            throw std::bad_alloc();
        }
        fail(whole, std::generic_category().message(reason));
    }
    return fromNativePath(*resolved);
}

}  // namespace fl::filesystem
