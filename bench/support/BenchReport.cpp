#include "support/BenchReport.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <utility>
#include <vector>

namespace vantor::bench {

namespace {

std::vector<std::pair<std::string, std::string>>& Comparisons() {
    static std::vector<std::pair<std::string, std::string>> comparisons;
    return comparisons;
}

// Splits "BM_Name/1000" into its family and argument; no argument gives -1.
std::pair<std::string, long> Split(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    if (slash == std::string::npos) {
        return {name, -1};
    }
    try {
        return {name.substr(0, slash), std::stol(name.substr(slash + 1))};
    } catch (const std::exception&) {
        return {name, -1};
    }
}

class SummaryReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred) {
                continue;
            }
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (run.run_type == Run::RT_Iteration || median) {
                // Medians come after the single runs and replace them.
                times_[run.run_name.str()] = run.GetAdjustedRealTime();
            }
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::map<std::string, std::map<long, double>> families;
        for (const auto& [name, time] : times_) {
            const auto [family, arg] = Split(name);
            if (arg >= 0) {
                families[family][arg] = time;
            }
        }
        std::printf("\nscaling (time at 10x the argument / time at the argument):\n");
        for (const auto& [family, points] : families) {
            for (const auto& [arg, time] : points) {
                const auto tenfold = points.find(arg * 10);
                if (tenfold != points.end() && time > 0) {
                    std::printf("  %-48s %6ld -> %-6ld x%.2f\n", family.c_str(), arg, arg * 10,
                                tenfold->second / time);
                }
            }
        }
        if (!Comparisons().empty()) {
            std::printf("\nratio (benchmark / baseline, same argument):\n");
        }
        for (const auto& [benchmark, baseline] : Comparisons()) {
            const auto ours = families.find(benchmark);
            const auto theirs = families.find(baseline);
            if (ours == families.end() || theirs == families.end()) {
                const auto a = times_.find(benchmark);
                const auto b = times_.find(baseline);
                if (a != times_.end() && b != times_.end() && b->second > 0) {
                    std::printf("  %s / %s = %.2f\n", benchmark.c_str(), baseline.c_str(),
                                a->second / b->second);
                }
                continue;
            }
            for (const auto& [arg, time] : ours->second) {
                const auto other = theirs->second.find(arg);
                if (other != theirs->second.end() && other->second > 0) {
                    std::printf("  %s / %s at %ld = %.2f\n", benchmark.c_str(), baseline.c_str(),
                                arg, time / other->second);
                }
            }
        }
        std::fflush(stdout);
    }

private:
    std::map<std::string, double> times_;
};

}  // namespace

void CompareTo(const std::string& benchmark, const std::string& baseline) {
    Comparisons().emplace_back(benchmark, baseline);
}

int Main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

}  // namespace vantor::bench
