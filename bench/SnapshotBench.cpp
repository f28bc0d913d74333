#include "Cases.hpp"
#include "Floor.hpp"
#include "Inputs.hpp"
#include "flowbook/FlowbookFileReader.hpp"
#include "flowbook/FlowbookFileWriter.hpp"

#include <benchmark/benchmark.h>
#include <filesystem>

namespace bench {

namespace {

/// So small that the cost of a part itself is measured, and not that of its bytes.
constexpr std::size_t kSmallPart = 512;

Work readSnapshot() {
    return [name = utf16(largeFile())] { benchmark::DoNotOptimize(flowbook::FlowbookFileReader(name).read()); };
}

Work readSnapshotFloor() {
    return [path = largeFile()] { benchmark::DoNotOptimize(floor::inflateAll(path)); };
}

Work writeSnapshot(std::size_t images, std::size_t imageSize) {
    const std::string path = pathOf("snapshot" + std::to_string(images) + ".tqx");
    return [path, snapshot = imageSnapshot(images, imageSize)] {
        std::filesystem::remove(path);
        flowbook::FlowbookFileWriter writer(utf16(path), {});
        writer.write(snapshot);
        writer.close(false);
    };
}

Work writeSnapshotFloor(std::size_t images, std::size_t imageSize) {
    std::vector<Bytes> contents;
    for (const auto& part : imageSnapshot(images, imageSize).getParts()) {
        contents.push_back(part.content);
    }
    return [contents = std::move(contents), path = pathOf("snapshot.floor")] {
        std::filesystem::remove(path);
        floor::deflateAll(contents, path);
    };
}

Work readSmallParts(std::size_t images) {
    writeSnapshot(images, kSmallPart)();
    return [name = utf16(pathOf("snapshot" + std::to_string(images) + ".tqx"))] {
        benchmark::DoNotOptimize(flowbook::FlowbookFileReader(name).read());
    };
}

/// The floor is the library itself on a tenth of the parts: time must grow no faster than their number.
void addGrowthCases(std::size_t parts) {
    const std::string step = std::to_string(parts / 10) + "_to_" + std::to_string(parts) + "_parts";
    addCase(
        "grow/read_" + step, 11, [parts] { return readSmallParts(parts / 10); },
        [parts] { return readSmallParts(parts); });
    addCase(
        "grow/write_" + step, 11, [parts] { return writeSnapshot(parts / 10, kSmallPart); },
        [parts] { return writeSnapshot(parts, kSmallPart); });
}

}  // namespace

void addSnapshotCases() {
    constexpr std::size_t kImages = 64;
    constexpr std::size_t kImageSize = std::size_t{1} << 20;
    addCase("snapshot/read_50_MB", 1.15, readSnapshotFloor, readSnapshot);
    addCase(
        "snapshot/write_50_MB", 1.3, [] { return writeSnapshotFloor(kImages, kImageSize); },
        [] { return writeSnapshot(kImages, kImageSize); });
    addGrowthCases(1000);
    addGrowthCases(10000);
}

}  // namespace bench
