// Benchmarks against alternatives, and the report on them.
//
// An implementation of a case is registered under its name: "vela", "vela-..." for other methods of the library, or the
// alternative's name. Absolute times do not repeat on shared machines, so all implementations of a case run interleaved
// in one process, and the report compares the medians of their times per item.
#pragma once

#include <benchmark/benchmark.h>
#include <functional>
#include <initializer_list>
#include <string>
#include <type_traits>

namespace ratios {

using benchmark::State;

// Registers a function that times and calls state.SetItemsProcessed().
benchmark::internal::Benchmark *add(const std::string &case_name, const std::string &implementation,
                                    std::function<void(State &)> run);

// Registers work that handles `items` in each call. A result of false is an error; any other result is kept from the
// optimiser.
template <class Work>
benchmark::internal::Benchmark *add(const std::string &case_name, const std::string &implementation, size_t items,
                                    Work work) {
    return add(case_name, implementation, [=](State &state) mutable {
        for (auto _ : state) {
            using result = std::invoke_result_t<Work &>;
            if constexpr (std::is_void_v<result>)
                work();
            else if constexpr (std::is_same_v<result, bool>) {
                if (!work())
                    state.SkipWithError("failed");
            } else
                benchmark::DoNotOptimize(work());
            benchmark::ClobberMemory();
        }
        state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(items));
    });
}

// The ratio to reach: ours is to be at least `factor` times as fast as the named alternatives, or as all.
void target(const std::string &case_name, double factor, std::initializer_list<const char *> alternatives = {});

// Implementations of that name do less than their cases demand, such as a plain copy.
void lower_bound(const std::string &implementation);

// A figure of accuracy beside a time. It is computed after the case has run.
struct accuracy {
    std::string case_name, measure, implementation;
    std::function<double()> figure;
};
void add(accuracy one);

// Prints which implementation of ours is the fastest of those that are as good as each alternative in every figure of
// accuracy, of which more is better; but for a difference.
void as_good(const std::string &case_name, double difference);

// A line below the tables.
void note(std::string line);

} // namespace ratios
