// The same points at once, in two parts and backwards: the same body, which holds them all.
#include "fuzz.hpp"
#include <array>
#include <cstdlib>
#include <memory>
#include <vela/chull.h>

namespace {

using points = std::array<std::vector<uint8_t>, 3>; // by axis

void release(chull_ctx *ctx) {
    free_chull(ctx);
    std::free(ctx);
}
using hull = std::unique_ptr<chull_ctx, void (*)(chull_ctx *)>;

// The hull of points given in two calls; null where there is none.
hull hull_of(const points &all, size_t first) {
    chull_ctx *ctx = nullptr;
    assert(alloc_chull(&ctx) == 0);
    hull made(ctx, release);
    ctx->check = 1;
    for (const auto &[begin, end] : {std::pair{size_t{0}, first}, {first, all[0].size()}})
        if (begin < end &&
            get_chull(&all[0][begin], &all[1][begin], &all[2][begin], static_cast<int32_t>(end - begin), ctx) != 0)
            return {nullptr, release};
    return made;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto mask = data.PickValueInArray<uint8_t>({255, 15, 3, 1});
    const auto first = data.ConsumeIntegralInRange<size_t>(1, 20);
    points all;
    while (data.remaining_bytes() >= 3 && all[0].size() < 200)
        for (auto &axis : all)
            axis.push_back(data.ConsumeIntegral<uint8_t>() & mask);
    const size_t count = all[0].size();
    const hull whole = hull_of(all, count);
    if (!whole || count == 0)
        return 0;
    assert(Checks(whole.get()) == 0);
    for (size_t i = 0; i < count; ++i)
        assert(is_in_chull(whole.get(), all[0][i], all[1][i], all[2][i]));
    const hull parts = hull_of(all, std::min(first, count));
    for (auto &axis : all)
        std::reverse(axis.begin(), axis.end());
    const hull reversed = hull_of(all, count);
    for (const hull *other : {&parts, &reversed})
        assert(!*other || chull_volume6(other->get()) == chull_volume6(whole.get()));
    return 0;
}
