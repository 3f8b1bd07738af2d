// figures MASKS SWEEPS [FIRST]: open pixels and pixels filled too far, of as many masks for each lens and mode and as
// many sweeps for each lens; of what suites look at a few of.
#include "../generated.hpp"
#include "../models/lens.hpp"

void disagree(const std::string &report) {
    std::fprintf(stderr, "%s\n", report.c_str());
    std::abort();
}

namespace {

constexpr int kModels = 5;

// Sums what judge(kind, below) finds, and names the seeds of faults.
template <class Judge>
void sum(const char *what, int first, int count, Judge &&judge) {
    for (int model = 0; model < kModels; ++model) {
        model::faults all;
        int judged = 0;
        for (int i = first; i < first + count; ++i) {
            generator random{static_cast<uint32_t>(i * 7919 + model)};
            const auto below = [&random](int limit) { return random.below(static_cast<uint32_t>(limit)); };
            const auto found = judge(static_cast<model::kind>(model), below);
            if (!found)
                continue;
            ++judged;
            all.looked_at += found->looked_at;
            all.open += found->open;
            all.too_far += found->too_far;
            if (found->open || found->too_far)
                std::printf("  seed %d: %ld open, %ld too far\n", i, found->open, found->too_far);
        }
        std::printf("%s, %s: %d of %d judged, %ld pixels, %ld open, %ld too far\n", what, model::kKinds[model], judged,
                    count, all.looked_at, all.open, all.too_far);
        std::fflush(stdout);
    }
}

} // namespace

int main(int argc, char **argv) {
    const auto number = [&](int i, int other) { return argc > i ? std::atoi(argv[i]) : other; };
    const int masks = number(1, 100), sweeps = number(2, 20), first = number(3, 0);
    for (const auto &[name, how] :
         {std::pair("conservative", model::coverage::conservative), std::pair("centres", model::coverage::centres)})
        sum(name, first, masks, [how](model::kind which, auto &below) {
            const auto [corners, seen] = model::any_scene(which, below);
            return model::judge_mask(corners, seen, how, below, 12, 0.3);
        });
    sum("sweep", first, sweeps, [](model::kind which, auto &below) {
        const auto scene = model::any_sweep(which, below);
        return model::judge_sweep(scene.corners, scene.from, scene.to, below, 30, 80, 0.3);
    });
}
