#include "Cases.hpp"
#include "Inputs.hpp"
#include "flowbook/FlowbookFileReader.hpp"
#include "flowbook/FlowbookFileWriter.hpp"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr double kMegabyte = 1024.0 * 1024.0;

/// The most memory that a process of its own had resident while it did the work, in MB.
double peakOf(const Work& work) {
    // The child must not find memory that is free in this process but counts as resident.
    malloc_trim(0);
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    int status = 0;
    struct rusage usage {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
        return -1;
    }
    return static_cast<double>(usage.ru_maxrss) * 1024.0 / kMegabyte;
}

void print(const std::string& name, double contentSize, const Work& prepare, const Work& work) {
    const double before = peakOf(prepare);
    const double after = peakOf([&] {
        prepare();
        work();
    });
    std::printf("%-34s %8.1f MB of content, %8.1f MB at the peak, %5.2f times\n", name.c_str(), contentSize,
                after - before, (after - before) / contentSize);
}

}  // namespace

void printPeakMemory() {
    constexpr std::size_t kImages = 64;
    constexpr std::size_t kImageSize = std::size_t{1} << 20;
    const std::u16string small = utf16(plainCodeFile(50));
    const std::u16string plain = utf16(plainCodeFile(20000));
    const std::u16string rich = utf16(richCodeFile(20000));
    const std::u16string large = utf16(largeFile());
    const std::u16string target = utf16(pathOf("peak.tqx"));
    // Loading the libraries takes memory too, which is no cost of the work: it is measured alone and subtracted.
    const Work warmUp = [&] { benchmark::DoNotOptimize(flowbook::FlowbookFileReader(small).getTARMICCode()); };
    const double codeSize = static_cast<double>(codeOfLines(20000).size()) / kMegabyte;
    print("getTARMICCode, one paragraph", codeSize, warmUp,
          [&] { benchmark::DoNotOptimize(flowbook::FlowbookFileReader(plain).getTARMICCode()); });
    print("getTARMICCode, 20,000 paragraphs", codeSize, warmUp,
          [&] { benchmark::DoNotOptimize(flowbook::FlowbookFileReader(rich).getTARMICCode()); });
    print("read() of 50 MB", 64, warmUp, [&] { benchmark::DoNotOptimize(flowbook::FlowbookFileReader(large).read()); });
    print("write() of 50 MB, snapshot included", 64, warmUp, [&] {
        const flowbook::FlowbookFilePackage snapshot = imageSnapshot(kImages, kImageSize);
        flowbook::FlowbookFileWriter writer(target, {});
        writer.write(snapshot);
        writer.close(false);
    });
}

}  // namespace bench
