#include "support/TempDir.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>

namespace support {
namespace fs = std::filesystem;

std::string readFile(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

TempDir::TempDir(const fs::path& parent) {
    std::string pattern = (parent.empty() ? fs::temp_directory_path() : parent) / "pxflowbook-test-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a folder like " + pattern);
    }
    path_ = pattern;
}

TempDir::~TempDir() {
    EXPECT_FALSE(holdsTemporary()) << "a temporary is left in " << path_;
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void TempDir::put(const std::string& file, const std::string& content) const {
    std::ofstream stream(path(file), std::ios::binary);
    EXPECT_TRUE((stream << content).flush()) << "cannot write " << path(file);
}

bool TempDir::holdsTemporary() const {
    const fs::recursive_directory_iterator entries(path_);
    return std::any_of(begin(entries), end(entries), [](const fs::directory_entry& entry) {
        return entry.path().filename().string().find("pxflowbook-save") != std::string::npos;
    });
}

}  // namespace support
