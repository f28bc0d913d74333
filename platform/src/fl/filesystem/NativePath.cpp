// Paths of the system as UTF-16 and back. A path is any bytes without NUL, and need not be UTF-8. Each byte that is not
// becomes a lone unit of U+DC80 to U+DCFF, which no valid text holds, so that every path survives the way there and
// back.
#include "fl/filesystem/NativePath.hpp"

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

constexpr char16_t kByteZero = 0xDC00;  // only bytes from 0x80 on are ever added to it

/// Whether a unit stands for a byte: one of the range that does not end a surrogate pair.
bool isByteAt(std::u16string_view path, std::size_t at) {
    const bool endsPair = at != 0 && path[at - 1] >= 0xD800 && path[at - 1] <= 0xDBFF;
    return !endsPair && path[at] >= kByteZero + 0x80 && path[at] <= kByteZero + 0xFF;
}

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

std::string toNativePath(std::u16string_view path) {
    const std::size_t nul = path.find(u'\0');
    if (nul != std::u16string_view::npos) {
        throw i18n::ConversionError("it contains a NUL character", nul);
    }
    std::string native;
    std::size_t done = 0;
    for (std::size_t at = 0; at != path.size(); ++at) {
        if (isByteAt(path, at)) {
            native += i18n::ustring_to_utf8(path.substr(done, at - done));
            native += static_cast<char>(path[at] - kByteZero);
            done = at + 1;
        }
    }
    return native + i18n::ustring_to_utf8(path.substr(done));
}

std::u16string fromNativePath(std::string_view path) {
    std::u16string converted;
    for (;;) {
        try {
            return converted + i18n::utf8_to_ustring(path);
        } catch (const i18n::ConversionError& error) {
            const std::size_t at = error.offset();
            converted += i18n::utf8_to_ustring(path.substr(0, at));
            converted += static_cast<char16_t>(kByteZero + static_cast<unsigned char>(path[at]));
            path.remove_prefix(at + 1);
        }
    }
}

std::optional<std::string> realPath(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
    return resolved == nullptr ? std::nullopt : std::optional<std::string>(resolved.get());
}

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
