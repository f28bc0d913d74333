#include "Cases.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

namespace bench {

namespace {

const std::string kFloor = "/floor";
const std::string kLibrary = "/flowbook";

std::map<std::string, double>& goals() {
    static std::map<std::string, double> all;
    return all;
}

/// Prints the usual table, and after it the ratio of each case to its floor.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            // The runs that the tool adds for means and deviations have no times of their own.
            const bool repetition = run.run_type == Run::RT_Iteration && !run.error_occurred;
            if (repetition) {
                const std::string name = run.run_name.function_name;
                times_[name].push_back(run.real_accumulated_time / static_cast<double>(run.iterations));
            }
        }
    }

    void Finalize() override {
        std::printf("\n%-44s %14s %14s %8s %8s\n", "case (medians, microseconds)", "floor", "flowbook", "ratio",
                    "goal");
        for (const auto& [name, goal] : goals()) {
            if (times_.count(name + kFloor) != 0 && times_.count(name + kLibrary) != 0) {
                const double floor = median(name + kFloor);
                const double library = median(name + kLibrary);
                std::printf("%-44s %14.2f %14.2f %8.2f %8.2f\n", name.c_str(), floor * 1e6, library * 1e6,
                            library / floor, goal);
            }
        }
    }

private:
    /// The median, as one disturbed run of a few must not move the result.
    double median(const std::string& name) {
        std::vector<double>& all = times_[name];
        const auto middle = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2);
        std::nth_element(all.begin(), middle, all.end());
        return *middle;
    }

    std::map<std::string, std::vector<double>> times_;
};

void run(benchmark::State& state, const MakeWork& make) {
    const Work work = make();
    for (auto _ : state) {
        work();
    }
}

}  // namespace

void addCase(const std::string& name, double goal, MakeWork floor, MakeWork library) {
    goals()[name] = goal;
    const auto add = [](const std::string& full, MakeWork make) {
        benchmark::RegisterBenchmark(full.c_str(), [make](benchmark::State& state) { run(state, make); })
            ->UseRealTime()
            ->Unit(benchmark::kMicrosecond);
    };
    add(name + kFloor, std::move(floor));
    add(name + kLibrary, std::move(library));
}

}  // namespace bench

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--peak-memory") == 0) {
        bench::printPeakMemory();
        return 0;
    }
    bench::addReadCases();
    bench::addSaveCases();
    bench::addSnapshotCases();
    bench::addTextCases();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
