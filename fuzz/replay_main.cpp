// Runs a fuzz target once on every file of the folders that are named, without a fuzzer.
#include "Fuzzing.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

std::size_t replay(const std::filesystem::path& folder) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
        std::fprintf(stderr, "%s\n", entry.path().c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        fuzzing::require(replay(argv[i]) != 0, "a folder to replay holds inputs");
    }
    return argc > 1 ? 0 : 2;
}
