// Benchmarks against peers, and what is reported of them.
//
// A benchmark is registered as "CASE/IMPLEMENTATION", ours being "vela", and counts what it processes with
// state.SetItemsProcessed(). Absolute times do not repeat on shared machines, so all implementations of a
// case run interleaved in one process and the report ends with a table of medians: time per item, and peer
// time / our time.
#pragma once

#include <benchmark/benchmark.h>
#include <initializer_list>
#include <string>

namespace ratios {

// Demands that ours is at least `factor` times as fast per item as each of the named implementations (of all
// others, where none is named). The table says whether it is.
void bar(std::string case_name, double factor, std::initializer_list<const char *> peers = {});

// A line printed under the table, for what belongs beside the times (a signal-to-noise ratio, a size).
void note(std::string line);

// Registers one implementation of a case.
template <class Function>
benchmark::internal::Benchmark *add(const std::string &case_name, const std::string &implementation, Function run) {
    return benchmark::RegisterBenchmark((case_name + "/" + implementation).c_str(), run);
}

} // namespace ratios
