#include "fl/filesystem/Canonical.hpp"

#include "fl/filesystem/FsysExceptionBase.hpp"
#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <system_error>

namespace fl::filesystem {
namespace {

[[noreturn]] void fail(const std::u16string& path, const std::string& reason) {
    throw FsysExceptionBase("cannot find the canonical form of \"" + i18n::to_string(path) + "\": " + reason);
}

std::string toNative(const std::u16string& path) {
    if (path.find(u'\0') != std::u16string::npos) {
        fail(path, "the name contains a NUL character");
    }
    try {
        return i18n::ustring_to_utf8(path);
    } catch (const i18n::ConversionError& error) {
        fail(path, error.what());
    }
}

bool isRelative(const std::u16string& path) { return !path.empty() && path.front() != u'/'; }

}  // namespace

std::u16string canonical(const std::u16string& path, const std::u16string& base) {
    const std::u16string whole = isRelative(path) && !base.empty() ? base + u'/' + path : path;
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(toNative(whole).c_str(), nullptr),
                                                               &std::free);
    if (resolved == nullptr) {
        const int reason = errno;
        if (reason == ENOMEM) {
            throw std::bad_alloc();
        }
        fail(whole, std::generic_category().message(reason));
    }
    try {
        return i18n::utf8_to_ustring(resolved.get());
    } catch (const i18n::ConversionError& error) {
        fail(whole, error.what());
    }
}

}  // namespace fl::filesystem
