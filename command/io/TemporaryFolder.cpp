// A folder for texts that other programs read. It is private from the start, as the code of a flowbook may not be for
// others, and goes with its contents unless they are kept for the user.
#include "io/TemporaryFolder.hpp"

#include "terminal/Failure.hpp"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace flowbook::tool {

TemporaryFolder::TemporaryFolder() {
    const char* const folder = std::getenv("TMPDIR");
    path_ = std::string(folder == nullptr || *folder == '\0' ? "/tmp" : folder) + "/flowbook-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) {
        throw Failure(ExitCode::InputOutput, path_, "cannot make it: " + std::generic_category().message(errno));
    }
}

TemporaryFolder::~TemporaryFolder() {
    if (!isKept_) {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
}

std::string TemporaryFolder::put(const std::string& name, std::string_view content) const {
    std::string file = path_ + "/" + name;
    std::ofstream stream(file, std::ios::binary);
    std::error_code ignored;  // The folder is private in any case.
    std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                                 ignored);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream) {
        throw Failure(ExitCode::InputOutput, file, "cannot write it: " + std::generic_category().message(errno));
    }
    return file;
}

}  // namespace flowbook::tool
