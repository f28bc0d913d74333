// One input of a command. A file is opened once, by a descriptor, so that what was judged is what is read and replaced,
// and its name may be of any bytes. Standard input and pipes are read whole, as a package is read from its end.
#include "io/Input.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "io/FlowbookName.hpp"
#include "io/GuardedStorage.hpp"
#include "io/Interruption.hpp"
#include "opc/Limits.hpp"
#include "terminal/Failure.hpp"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace flowbook::tool {

using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::StorageSystemReference;

namespace {

// The reader insists on an extension; the writer would look for a plain name among the machine's files.
const std::u16string kOtherName = u"input://flowbook.tqx";

// Long enough for a program of the same pipeline to start, and short enough to notice that none is there.
constexpr std::chrono::seconds kLongestWait{5};

using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

[[noreturn]] void throwReadingFailure(const std::string& argument) {
    if (errno == ENOENT || errno == ENOTDIR) {
        throw Failure(ExitCode::InputOutput, argument, "there is no such file", FlowbookErrorKind::NotFound);
    }
    throw Failure(ExitCode::InputOutput, argument, "cannot read: " + std::generic_category().message(errno));
}

/// Devices such as /dev/zero never end. A terminal and /dev/null do.
void requireEnd(int descriptor, const std::string& argument) {
    struct stat status {};
    const bool isDevice = ::fstat(descriptor, &status) == 0 && (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode));
    if (isDevice && ::isatty(descriptor) == 0 && status.st_rdev != makedev(1, 3)) {
        throw Failure(ExitCode::InputOutput, argument, "cannot read: it is a device");
    }
}

bool isFifo(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

/// What a pipe that is opened without blocking has: data, or its end; a writer that has written nothing yet; or
/// nothing, as no program has opened it for writing.
enum class PipeState { Readable, Open, Unopened };

/// @param file  gets back the byte that is read where data come in just now.
PipeState stateOf(std::FILE* file) {
    pollfd asked{fileno(file), POLLIN, 0};
    unsigned char byte = 0;
    if (::poll(&asked, 1, 0) == 1) {
        return PipeState::Readable;
    }
    // poll(2) does not distinguish a pipe without a writer from one whose writer has written nothing; read(2) does.
    const ssize_t count = ::read(asked.fd, &byte, 1);
    if (count == 1) {
        std::ungetc(byte, file);
    }
    return count == 1 ? PipeState::Readable : count == 0 ? PipeState::Unopened : PipeState::Open;
}

/// Waits for a program that writes to a pipe, which may have been started at the same time as this one, but not for
/// ever.
void waitForWriter(std::FILE* file, const std::string& argument) {
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (stateOf(file) == PipeState::Unopened) {
        Interruption::check();
        if (std::chrono::steady_clock::now() > end) {
            throw Failure(ExitCode::InputOutput, argument, "cannot read: no program writes to this pipe");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

FilePtr openFile(const std::string& argument) {
    // Not blocking, as opening a FIFO would wait for a writer that may never come.
    const int descriptor = ::open(argument.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    FilePtr file(descriptor == -1 ? nullptr : ::fdopen(descriptor, "rb"), &std::fclose);
    if (file == nullptr) {
        throwReadingFailure(argument);
    }
    requireEnd(descriptor, argument);
    if (isFifo(descriptor)) {
        waitForWriter(file.get(), argument);
    }
    // Reading is to wait for the writer from here on.
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
    return file;
}

Bytes readAll(std::FILE* file, const std::string& argument, std::uint64_t limit) {
    Bytes bytes;
    unsigned char block[65536];
    while (const std::size_t count = std::fread(block, 1, sizeof block, file)) {
        // Subtracting cannot overflow, as no more than the limit has been read.
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

bool isPipe(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        throwReadingFailure(path);
    }
    return S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode) || S_ISSOCK(status.st_mode);
}

/// Empty when the bytes are not UTF-8.
std::u16string fromUtf8Path(const std::string& path) {
    try {
        return fl::i18n::utf8_to_ustring(path);
    } catch (const fl::i18n::ConversionError&) {
        return {};
    }
}

void replaceAll(std::string& text, const std::string& what, const std::string& by) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
}

StorageSystemReference machine() {
    static const StorageSystemReference storage(std::make_shared<GuardedStorage>());
    return storage;
}

}  // namespace

Bytes readBytes(const std::string& argument, std::uint64_t limit) {
    if (argument == "-") {
        static std::atomic<bool> isRead{false};
        if (isRead.exchange(true)) {
            throw Failure(ExitCode::Usage, "standard input can be read only once, and '-' names it again");
        }
        return readAll(stdin, argument, limit);
    }
    return readAll(openFile(argument).get(), argument, limit);
}

Input::Input(const std::string& argument, Purpose purpose) : argument_(argument), storage_(machine()) {
    if (purpose == Purpose::Update && argument == "-") {
        throw Failure(ExitCode::Usage, "standard input is no file that could be changed");
    }
    const bool isUpdate = purpose != Purpose::Read && argument != "-";
    if (isUpdate) {
        openByDescriptor();
    } else if (argument == "-" || isPipe(argument)) {
        holdInMemory();
    } else {
        name_ = fromUtf8Path(argument);
        if (name_.empty() || !isFlowbookName(argument)) {
            openByDescriptor();
        }
    }
}

void Input::holdInMemory() {
    const auto storage = std::make_shared<MemoryStorage>();
    name_ = kOtherName;
    storage->put(name_, readBytes(argument_, opc::Limits().maxPackageSize));
    storage_ = StorageSystemReference(storage);
}

void Input::openByDescriptor() {
    // Not blocking: opening a FIFO would otherwise wait for a writer that may never come.
    const int descriptor = ::open(argument_.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (descriptor == -1) {
        throwReadingFailure(argument_);
    }
    const auto storage = std::make_shared<GuardedStorage>(descriptor, argument_);
    name_ = kOtherName;
    path_ = storage->descriptorPath();
    storage_ = StorageSystemReference(storage);
}

Bytes Input::readAll() const {
    const auto file = storage_->openForReading(name_);
    Bytes bytes(file->size());
    file->read(0, bytes.data(), bytes.size());
    return bytes;
}

std::string Input::inWords(std::string message) const {
    for (const std::u16string* name : {&name_, &path_}) {
        if (!name->empty()) {
            replaceAll(message, fl::i18n::to_string(*name), argument_);
        }
    }
    return message;
}

}  // namespace flowbook::tool
