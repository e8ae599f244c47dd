#include "support/BenchReport.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

namespace vantor::bench {

namespace {

std::vector<std::pair<std::string, std::string>>& Comparisons() {
    static std::vector<std::pair<std::string, std::string>> comparisons;
    return comparisons;
}

struct CounterComparison {
    std::string benchmark;
    std::string baseline;
    std::string counter;
};

std::vector<CounterComparison>& CounterComparisons() {
    static std::vector<CounterComparison> comparisons;
    return comparisons;
}

// The name without the "/real_time"-style suffixes the library appends.
std::string BaseName(std::string name) {
    for (const char* suffix : {"/real_time", "/manual_time"}) {
        const std::size_t at = name.find(suffix);
        if (at != std::string::npos) {
            name.erase(at, std::strlen(suffix));
        }
    }
    return name;
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
                const std::string name = BaseName(run.run_name.str());
                times_[name] = run.GetAdjustedRealTime();
                for (const auto& [counterName, counter] : run.counters) {
                    counters_[name][counterName] = counter.value;
                }
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
        bool scalingShown = false;
        for (const auto& [family, points] : families) {
            for (const auto& [arg, time] : points) {
                const auto tenfold = points.find(arg * 10);
                if (tenfold != points.end() && time > 0) {
                    if (!scalingShown) {
                        std::printf("\nscaling (time at 10x the argument / time at the argument):\n");
                        scalingShown = true;
                    }
                    std::printf("  %-48s %6ld -> %-6ld x%.2f\n", family.c_str(), arg, arg * 10,
                                tenfold->second / time);
                }
            }
        }
        if (!Comparisons().empty() || !CounterComparisons().empty()) {
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
        for (const CounterComparison& c : CounterComparisons()) {
            const auto a = counters_.find(c.benchmark);
            const auto b = counters_.find(c.baseline);
            if (a == counters_.end() || b == counters_.end() || !a->second.contains(c.counter) ||
                !b->second.contains(c.counter) || b->second.at(c.counter) == 0) {
                continue;
            }
            std::printf("  %s / %s, %s = %.2f\n", c.benchmark.c_str(), c.baseline.c_str(),
                        c.counter.c_str(), a->second.at(c.counter) / b->second.at(c.counter));
        }
        std::fflush(stdout);
    }

private:
    std::map<std::string, double> times_;
    std::map<std::string, std::map<std::string, double>> counters_;
};

}  // namespace

void CompareTo(const std::string& benchmark, const std::string& baseline) {
    Comparisons().emplace_back(benchmark, baseline);
}

void CompareCounter(const std::string& benchmark, const std::string& baseline,
                    const std::string& counter) {
    CounterComparisons().push_back({benchmark, baseline, counter});
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
