#include "ratios.hpp"
#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace {

constexpr const char *kOurs = "vela";

struct bar_record {
    std::string case_name;
    double factor;
    std::vector<std::string> peers;
};

// Filled by static registrations of the benchmark files, hence local statics.
std::vector<bar_record> &bars() {
    static std::vector<bar_record> records;
    return records;
}

std::vector<std::string> &notes() {
    static std::vector<std::string> lines;
    return lines;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Keeps the time per item of each repetition, by case and implementation, in the order of registration.
class collector : public benchmark::ConsoleReporter {
public:
    collector() : ConsoleReporter(OO_None) {}

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.error_occurred) {
                std::printf("%s: %s\n", run.run_name.function_name.c_str(), run.error_message.c_str());
                continue;
            }
            const auto rate = run.counters.find("items_per_second");
            if (run.run_type != Run::RT_Iteration || rate == run.counters.end())
                continue;
            const std::string name = run.run_name.function_name;
            const auto slash = name.rfind('/');
            const std::string case_name = name.substr(0, slash), implementation = name.substr(slash + 1);
            auto &implementations = times[case_name];
            if (implementations.empty())
                cases.push_back(case_name);
            implementations[implementation].push_back(1e9 / static_cast<double>(rate->second));
        }
    }

    void print_table() const {
        std::printf("\n%-34s %12s   peers: ns/item (peer time / our time)\n", "case", "vela ns/item");
        for (const std::string &case_name : cases)
            print_case(case_name);
        for (const std::string &line : notes())
            std::printf("%s\n", line.c_str());
    }

private:
    std::vector<std::string> cases;
    std::map<std::string, std::map<std::string, std::vector<double>>> times;

    void print_case(const std::string &case_name) const {
        const auto &implementations = times.at(case_name);
        const auto ours = implementations.find(kOurs);
        if (ours == implementations.end())
            return;
        const double our_time = median(ours->second);
        std::printf("%-34s %12.3f  ", case_name.c_str(), our_time);
        for (const auto &[name, values] : implementations)
            if (name != kOurs)
                std::printf(" %s %.3f (%.2f)", name.c_str(), median(values), median(values) / our_time);
        for (const bar_record &bar : bars())
            if (bar.case_name == case_name)
                print_bar(bar, our_time, implementations);
        std::printf("\n");
    }

    static void print_bar(const bar_record &bar, double our_time,
                          const std::map<std::string, std::vector<double>> &implementations) {
        for (const auto &[name, values] : implementations) {
            const bool counts = bar.peers.empty() || std::count(bar.peers.begin(), bar.peers.end(), name);
            if (name != kOurs && counts && median(values) < bar.factor * our_time) {
                std::printf("  [bar %.2f MISSED against %s]", bar.factor, name.c_str());
                return;
            }
        }
        std::printf("  [bar %.2f met]", bar.factor);
    }
};

} // namespace

void ratios::bar(std::string case_name, double factor, std::initializer_list<const char *> peers) {
    bars().push_back({std::move(case_name), factor, {peers.begin(), peers.end()}});
}

void ratios::note(std::string line) { notes().push_back(std::move(line)); }

int main(int argc, char **argv) {
    char repetitions[] = "--benchmark_repetitions=7";
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    char min_time[] = "--benchmark_min_time=0.02";
    std::vector<char *> arguments = {argv[0], repetitions, interleaving, min_time};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 1;
    collector reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.print_table();
    return 0;
}
