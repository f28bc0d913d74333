#include "foundation/storage/vfs/NativePath.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "foundation/storage/vfs/StorageError.hpp"

namespace foundation::storage::vfs {
namespace {

[[noreturn]] void refuse(const std::u16string& name, const std::string& reason) {
    throw StorageError(StorageErrorKind::Other,
                       "cannot use \"" + fl::i18n::to_string(name) + "\" as a path: " + reason);
}

}  // namespace

std::string toNativePath(const std::u16string& name) {
    if (name.find(u'\0') != std::u16string::npos) {
        refuse(name, "it contains a NUL character");
    }
    try {
        return fl::i18n::ustring_to_utf8(name);
    } catch (const fl::i18n::ConversionError& error) {
        refuse(name, error.what());
    }
}

}  // namespace foundation::storage::vfs
