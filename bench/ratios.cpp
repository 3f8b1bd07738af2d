#include "ratios.hpp"
#include <algorithm>
#include <cstdio>
#include <map>
#include <utility>
#include <vector>

namespace {

struct target_record {
    std::string case_name;
    double factor;
    std::vector<std::string> alternatives;

    [[nodiscard]] bool is_for(const std::string &name, const std::string &alternative) const {
        return case_name == name &&
               (alternatives.empty() || std::count(alternatives.begin(), alternatives.end(), alternative));
    }
};

// Filled by static initialisers of the benchmark files, hence a local static.
struct registrations {
    std::vector<std::pair<std::string, std::string>> implementations; // of cases
    std::vector<std::string> lower_bounds, notes;
    std::vector<target_record> targets;
    std::vector<ratios::accuracy> accuracies;
    std::vector<std::pair<std::string, double>> as_good;
};

registrations &registered() {
    static registrations all;
    return all;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Keeps the time per item of each repetition.
class reporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &) override { return true; }

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            const std::string &name = run.run_name.function_name;
            const auto rate = run.counters.find("items_per_second");
            if (run.error_occurred)
                std::printf("%s: %s\n", name.c_str(), run.error_message.c_str());
            else if (run.run_type == Run::RT_Iteration && rate != run.counters.end())
                times[name].push_back(1e9 / static_cast<double>(rate->second));
        }
    }

    void Finalize() override {
        std::printf("| case | ns | alternative's time / ours |\n|---|--:|---|\n");
        const auto &all = registered().implementations;
        for (auto at = all.begin(); at != all.end(); ++at)
            if (std::none_of(all.begin(), at, [&](const auto &other) { return other.first == at->first; }))
                print_case(at->first);
        print_accuracies();
        for (const auto &[case_name, difference] : registered().as_good)
            print_as_good(case_name, difference);
        for (const std::string &line : registered().notes)
            std::printf("\n%s\n", line.c_str());
    }

private:
    std::map<std::string, std::vector<double>> times;
    std::map<std::pair<std::string, std::string>, std::map<std::string, double>> figures; // of cases and measures

    // The median, or 0 if it was not timed.
    [[nodiscard]] double time_of(const std::string &case_name, const std::string &implementation) const {
        const auto found = times.find(case_name + "/" + implementation);
        return found == times.end() ? 0 : median(found->second);
    }

    void print_case(const std::string &case_name) const {
        const double ours = time_of(case_name, "vela");
        if (ours == 0)
            return;
        std::printf("| %s | %.3g |", case_name.c_str(), ours);
        const char *separator = " ";
        for (const auto &[of, name] : registered().implementations)
            if (const double time = time_of(of, name); of == case_name && name != "vela" && time > 0) {
                std::printf("%s%s", separator, ratio_text(case_name, name, time / ours).c_str());
                separator = ", ";
            }
        std::printf(" |\n");
    }

    static std::string ratio_text(const std::string &case_name, const std::string &name, double ratio) {
        char text[200];
        const auto &bounds = registered().lower_bounds;
        const bool is_alternative =
            name.rfind("vela-", 0) != 0 && std::find(bounds.begin(), bounds.end(), name) == bounds.end();
        std::snprintf(text, sizeof text, is_alternative ? "%s %.3g" : "*%s* %.3g", name.c_str(), ratio);
        std::string result = text;
        for (const target_record &one : registered().targets)
            if (one.is_for(case_name, name) && (is_alternative || !one.alternatives.empty())) {
                std::snprintf(text, sizeof text, " (target %.3g%s)", one.factor,
                              ratio < one.factor ? ", **missed**" : "");
                result += text;
            }
        return result;
    }

    // A row for each alternative, with the fastest of ours whose figures are not lower.
    void print_as_good(const std::string &case_name, double difference) const {
        std::printf("\n| %s | ns | as good | ns | ratio |\n|---|--:|---|--:|--:|\n", case_name.c_str());
        const auto is_ours = [](const std::string &name) { return name.rfind("vela", 0) == 0; };
        const auto is_lower = [&](const std::string &one, const std::string &other) {
            return std::any_of(figures.begin(), figures.end(), [&](const auto &measure) {
                return measure.first.first == case_name &&
                       measure.second.at(one) < measure.second.at(other) - difference;
            });
        };
        for (const auto &[of, alternative] : registered().implementations) {
            const double time = time_of(case_name, alternative);
            if (of != case_name || is_ours(alternative) || time == 0)
                continue;
            std::string best = "none";
            for (const auto &[of_ours, ours] : registered().implementations)
                if (of_ours == case_name && is_ours(ours) && time_of(case_name, ours) > 0 &&
                    !is_lower(ours, alternative) &&
                    (best == "none" || time_of(case_name, ours) < time_of(case_name, best)))
                    best = ours;
            const double our_time = time_of(case_name, best);
            std::printf("| %s | %.3g | %s | %.3g | %.3g |\n", alternative.c_str(), time, best.c_str(), our_time,
                        our_time > 0 ? time / our_time : 0);
        }
    }

    // A row for each measure of a case, with all implementations that were timed.
    void print_accuracies() {
        std::map<std::pair<std::string, std::string>, std::string> rows;
        std::vector<std::pair<std::string, std::string>> order;
        for (const ratios::accuracy &one : registered().accuracies) {
            if (time_of(one.case_name, one.implementation) == 0)
                continue;
            const std::pair key{one.case_name, one.measure};
            char text[100];
            const double figure = figures[key][one.implementation] = one.figure();
            std::snprintf(text, sizeof text, "%s %.3g", one.implementation.c_str(), figure);
            if (rows[key].empty())
                order.push_back(key);
            rows[key] += (rows[key].empty() ? "" : ", ") + std::string(text);
        }
        if (!order.empty())
            std::printf("\n| case | accuracy | |\n|---|---|---|\n");
        for (const auto &key : order)
            std::printf("| %s | %s | %s |\n", key.first.c_str(), key.second.c_str(), rows[key].c_str());
    }
};

} // namespace

benchmark::internal::Benchmark *ratios::add(const std::string &case_name, const std::string &implementation,
                                            std::function<void(State &)> run) {
    registered().implementations.emplace_back(case_name, implementation);
    return benchmark::RegisterBenchmark((case_name + "/" + implementation).c_str(), std::move(run));
}

void ratios::target(const std::string &case_name, double factor, std::initializer_list<const char *> alternatives) {
    registered().targets.push_back({case_name, factor, {alternatives.begin(), alternatives.end()}});
}

void ratios::lower_bound(const std::string &implementation) { registered().lower_bounds.push_back(implementation); }

void ratios::add(accuracy one) { registered().accuracies.push_back(std::move(one)); }

void ratios::as_good(const std::string &case_name, double difference) {
    registered().as_good.emplace_back(case_name, difference);
}

void ratios::note(std::string line) { registered().notes.push_back(std::move(line)); }

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
    reporter report;
    benchmark::RunSpecifiedBenchmarks(&report);
    return 0;
}
