// Benchmarks against peers, and what is reported of them.
//
// A benchmark is registered as "CASE/IMPLEMENTATION", ours being "vela" and further ways of ours "vela-...", and counts
// what it processes with state.SetItemsProcessed(). Absolute times do not repeat on shared machines, so all
// implementations of a case run interleaved in one process and the report ends with a table of medians: time per item,
// and peer time / our time. A program takes --figures=FILE to write the same to a file, whose lines ratios.cpp
// explains.
#pragma once

#include <benchmark/benchmark.h>
#include <functional>
#include <initializer_list>
#include <string>

namespace ratios {

// Demands that ours is at least `factor` times as fast per item as each of the named implementations (of all
// others, where none is named). The table says whether it is.
void bar(std::string case_name, double factor, std::initializer_list<const char *> peers = {});

// Says that the implementations of that name do less than their cases ask, so that nobody expects to be faster.
void floor(std::string implementation);

// What an implementation gives for its time. Of a measure in dB more is better, of any other less; figures of one group
// belong side by side. It is computed once the case has run.
struct measured {
    std::string group, measure, case_name, implementation;
    std::function<double()> figure;
};
void quality(measured one);

// A line printed under the table, for what else belongs beside the times (a size, a remark).
void note(std::string line);

// Keeps the order of the cases.
void enlist(const std::string &case_name);

// Registers one implementation of a case.
template <class Function>
benchmark::internal::Benchmark *add(const std::string &case_name, const std::string &implementation, Function run) {
    enlist(case_name);
    return benchmark::RegisterBenchmark((case_name + "/" + implementation).c_str(), run);
}

} // namespace ratios
