#pragma once

// A main() for our benchmark programs that, after the usual console table,
// prints the figures our targets are stated in: how a benchmark's time grows
// with its argument ("scaling"), and how one benchmark compares with its
// baseline run over the same input ("ratio"). With repetitions, medians are
// used.

#include <string>

namespace vantor::bench {

// Report time(benchmark/arg) / time(baseline/arg) for every argument both ran.
void CompareTo(const std::string& benchmark, const std::string& baseline);

// Report counter(benchmark) / counter(baseline) for one user counter.
void CompareCounter(const std::string& benchmark, const std::string& baseline,
                    const std::string& counter);

int Main(int argc, char** argv);

}  // namespace vantor::bench

#define VANTOR_BENCHMARK_MAIN()                 \
    int main(int argc, char** argv) {           \
        return vantor::bench::Main(argc, argv); \
    }
