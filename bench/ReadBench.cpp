#include "Cases.hpp"
#include "Floor.hpp"
#include "Inputs.hpp"
#include "flowbook/FlowbookFileReader.hpp"

#include <benchmark/benchmark.h>
#include <stdexcept>

namespace bench {

namespace {

using PathMaker = std::function<std::string()>;

Work readCode(const std::string& path) {
    return [name = utf16(path)] { benchmark::DoNotOptimize(flowbook::FlowbookFileReader(name).getTARMICCode()); };
}

/// Compares the results once before anything is measured: a floor that does less than the library would set no goal.
Work readCodeFloor(const std::string& path) {
    if (floor::readCode(path) != flowbook::FlowbookFileReader(utf16(path)).getTARMICCode()) {
        throw std::logic_error("the floor and the library disagree on " + path);
    }
    return [path] { benchmark::DoNotOptimize(floor::readCode(path)); };
}

Work openOnly(const std::string& path) {
    return [name = utf16(path)] { const flowbook::FlowbookFileReader reader(name); };
}

void addReadCase(const std::string& name, double goal, const PathMaker& path) {
    addCase(
        name, goal, [path] { return readCodeFloor(path()); }, [path] { return readCode(path()); });
}

}  // namespace

// 50 lines are about 2 KB zipped, 20,000 lines 1 MB of code.
void addReadCases() {
    addReadCase("read/50_lines", 1.3, [] { return plainCodeFile(50); });
    addReadCase("read/20000_lines_one_paragraph", 0.6, [] { return plainCodeFile(20000); });
    addReadCase("read/20000_paragraphs", 0.6, [] { return richCodeFile(20000); });
    // The floor is the library itself on a small file: opening must not depend on the size of parts.
    addCase(
        "open/50_MB_beside_2_KB", 2, [] { return openOnly(plainCodeFile(50)); },
        [] { return openOnly(largeImageFile()); });
}

}  // namespace bench
