#include "ratios.hpp"
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace {

constexpr const char *kOurs = "vela";
#ifdef __clang__
constexpr const char *kCompiler = __VERSION__;
#else
constexpr const char *kCompiler = "GCC " __VERSION__;
#endif

struct bar_record {
    std::string case_name;
    double factor;
    std::vector<std::string> peers;

    [[nodiscard]] bool is_for(const std::string &name, const std::string &peer) const {
        return case_name == name && (peers.empty() || std::count(peers.begin(), peers.end(), peer));
    }
};

// Filled by static registrations of the benchmark files, hence a local static.
struct registrations {
    std::vector<std::string> cases, floors, notes;
    std::vector<bar_record> bars;
    std::vector<ratios::measured> qualities;
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

std::string today() {
    const std::time_t now = std::time(nullptr);
    char day[16];
    std::strftime(day, sizeof day, "%F", std::gmtime(&now));
    return day;
}

std::string processor() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);)
        if (line.rfind("model name", 0) == 0)
            return line.substr(line.find(": ") + 2);
    return "unnamed processor";
}

// Figures of one group and measure, in the order of registration.
struct quality_line {
    std::string group, measure;
    std::vector<std::pair<const ratios::measured *, double>> figures;
};

// Keeps the time per item of each repetition, by case and implementation.
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
            times[name.substr(0, slash)][name.substr(slash + 1)].push_back(1e9 / static_cast<double>(rate->second));
        }
    }

    // What the implementations give that were timed.
    [[nodiscard]] std::vector<quality_line> qualities() const {
        std::vector<quality_line> lines;
        for (const ratios::measured &one : registered().qualities) {
            const auto found = times.find(one.case_name);
            if (found == times.end() || !found->second.contains(one.implementation))
                continue;
            auto line = std::find_if(lines.begin(), lines.end(), [&](const quality_line &other) {
                return other.group == one.group && other.measure == one.measure;
            });
            if (line == lines.end())
                line = lines.insert(line, {one.group, one.measure, {}});
            line->figures.emplace_back(&one, one.figure());
        }
        return lines;
    }

    void print(const std::vector<quality_line> &qualities) const {
        std::printf("\n%-34s %12s   peers: ns/item (peer time / our time)\n", "case", "vela ns/item");
        for (const std::string &case_name : registered().cases)
            print_case(case_name);
        for (const quality_line &line : qualities) {
            std::printf("%s, %s:", line.group.c_str(), line.measure.c_str());
            for (const auto &[of, figure] : line.figures)
                std::printf(" %s %.4g", of->implementation.c_str(), figure);
            std::printf("\n");
        }
        for (const std::string &line : registered().notes)
            std::printf("%s\n", line.c_str());
    }

    // Lines of columns parted by tabs:
    //     made, day, compiler, processor
    //     time, case, implementation, ns/item, ratio or nothing, bar or nothing, "floor" or nothing
    //     quality, group, measure, case, implementation, figure
    //     note, text
    bool write(const char *path, const std::vector<quality_line> &qualities) const {
        const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(path, "w"), std::fclose);
        if (!file)
            return false;
        std::fprintf(file.get(), "made\t%s\t%s\t%s\n", today().c_str(), kCompiler, processor().c_str());
        for (const std::string &case_name : registered().cases)
            if (const auto found = times.find(case_name); found != times.end())
                for (const auto &[name, values] : found->second)
                    write_time(file.get(), case_name, name, median(values));
        for (const quality_line &line : qualities)
            for (const auto &[of, figure] : line.figures)
                std::fprintf(file.get(), "quality\t%s\t%s\t%s\t%s\t%.6g\n", line.group.c_str(), line.measure.c_str(),
                             of->case_name.c_str(), of->implementation.c_str(), figure);
        for (const std::string &line : registered().notes)
            std::fprintf(file.get(), "note\t%s\n", line.c_str());
        return std::fflush(file.get()) == 0;
    }

private:
    std::map<std::string, std::map<std::string, std::vector<double>>> times;

    // Our time for a case, or 0.
    [[nodiscard]] double our_time(const std::string &case_name) const {
        const auto found = times.find(case_name);
        if (found == times.end() || !found->second.contains(kOurs))
            return 0;
        return median(found->second.at(kOurs));
    }

    void print_case(const std::string &case_name) const {
        const double ours = our_time(case_name);
        if (ours == 0)
            return;
        const auto &implementations = times.at(case_name);
        std::printf("%-34s %12.3f  ", case_name.c_str(), ours);
        for (const auto &[name, values] : implementations)
            if (name != kOurs)
                std::printf(" %s %.3f (%.2f)", name.c_str(), median(values), median(values) / ours);
        for (const bar_record &bar : registered().bars)
            if (bar.case_name == case_name)
                print_bar(bar, ours, implementations);
        std::printf("\n");
    }

    static void print_bar(const bar_record &bar, double ours,
                          const std::map<std::string, std::vector<double>> &implementations) {
        for (const auto &[name, values] : implementations) {
            if (name != kOurs && bar.is_for(bar.case_name, name) && median(values) < bar.factor * ours) {
                std::printf("  [bar %.2f MISSED against %s]", bar.factor, name.c_str());
                return;
            }
        }
        std::printf("  [bar %.2f met]", bar.factor);
    }

    void write_time(FILE *file, const std::string &case_name, const std::string &name, double time) const {
        const double ours = our_time(case_name);
        std::fprintf(file, "time\t%s\t%s\t%.6g\t", case_name.c_str(), name.c_str(), time);
        if (ours > 0 && name != kOurs)
            std::fprintf(file, "%.4f", time / ours);
        double highest = 0;
        for (const bar_record &bar : registered().bars)
            if (name != kOurs && bar.is_for(case_name, name))
                highest = std::max(highest, bar.factor);
        std::fprintf(file, "\t");
        if (highest > 0)
            std::fprintf(file, "%.2f", highest);
        const auto &floors = registered().floors;
        std::fprintf(file, "\t%s\n", std::count(floors.begin(), floors.end(), name) ? "floor" : "");
    }
};

} // namespace

void ratios::bar(std::string case_name, double factor, std::initializer_list<const char *> peers) {
    registered().bars.push_back({std::move(case_name), factor, {peers.begin(), peers.end()}});
}

void ratios::floor(std::string implementation) { registered().floors.push_back(std::move(implementation)); }

void ratios::quality(measured one) { registered().qualities.push_back(std::move(one)); }

void ratios::note(std::string line) { registered().notes.push_back(std::move(line)); }

void ratios::enlist(const std::string &case_name) {
    auto &cases = registered().cases;
    if (std::find(cases.begin(), cases.end(), case_name) == cases.end())
        cases.push_back(case_name);
}

int main(int argc, char **argv) {
    char repetitions[] = "--benchmark_repetitions=7";
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    char min_time[] = "--benchmark_min_time=0.02";
    constexpr char figures[] = "--figures=";
    const char *path = nullptr;
    std::vector<char *> arguments = {argv[0], repetitions, interleaving, min_time};
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], figures, sizeof figures - 1) == 0)
            path = argv[i] + sizeof figures - 1;
        else
            arguments.push_back(argv[i]);
    }
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 1;
    collector reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const std::vector<quality_line> qualities = reporter.qualities();
    reporter.print(qualities);
    if (path && !reporter.write(path, qualities)) {
        std::fprintf(stderr, "%s: cannot be written\n", path);
        return 1;
    }
    return 0;
}
