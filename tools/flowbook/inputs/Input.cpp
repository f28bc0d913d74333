#include "inputs/Input.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/storage/vfs/LocalStorage.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace flowbook::tool {

using foundation::storage::vfs::LocalStorage;
using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::StorageSystemReference;

namespace {

const std::u16string kStandardInputName = u"standard input.tqx";

using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

[[noreturn]] void throwReadingFailure(const std::string& argument) {
    throw Failure(ExitCode::InputOutput, argument, "cannot read: " + std::generic_category().message(errno));
}

Bytes readAll(std::FILE* file, const std::string& argument, std::uint64_t limit) {
    Bytes bytes;
    unsigned char block[65536];
    while (const std::size_t count = std::fread(block, 1, sizeof block, file)) {
        if (count > limit - bytes.size()) {
            throw Failure(ExitCode::LimitExceeded, argument, "larger than " + std::to_string(limit) + " bytes");
        }
        bytes.insert(bytes.end(), block, block + count);
    }
    if (std::ferror(file) != 0) {
        throwReadingFailure(argument);
    }
    return bytes;
}

std::shared_ptr<MemoryStorage> holdStandardInput() {
    auto storage = std::make_shared<MemoryStorage>();
    storage->put(kStandardInputName, readBytes("-", opc::Limits().maxPackageSize));
    return storage;
}

}  // namespace

Bytes readBytes(const std::string& argument, std::uint64_t limit) {
    if (argument == "-") {
        return readAll(stdin, argument, limit);
    }
    const FilePtr file(std::fopen(argument.c_str(), "rbe"), &std::fclose);
    if (file == nullptr) {
        throwReadingFailure(argument);
    }
    return readAll(file.get(), argument, limit);
}

Input::Input(const std::string& argument)
    : argument_(argument),
      name_(argument == "-" ? kStandardInputName : fromArgument(argument)),
      storage_(argument == "-" ? StorageSystemReference(holdStandardInput())
                               : StorageSystemReference(std::make_shared<LocalStorage>())) {}

std::string readCodeText(const FlowbookFileReader& reader) {
    std::string code = fl::i18n::to_string(reader.getTARMICCode());
    if (!code.empty() && code.back() != '\n') {
        code += '\n';
    }
    return code;
}

}  // namespace flowbook::tool
