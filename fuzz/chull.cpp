#include "fuzz.hpp"
#include <cstdlib>
#include <vela/chull.h>

namespace {

struct points {
    std::vector<uint8_t> x, y, z;

    int32_t count() const { return static_cast<int32_t>(x.size()); }
};

// The hull of points given in two calls; null where there is none.
struct hull {
    chull_ctx *ctx = nullptr;
    bool made = false;

    hull(const points &all, int32_t first) {
        if (alloc_chull(&ctx) != 0)
            std::abort();
        ctx->check = 1;
        made = get_chull(all.x.data(), all.y.data(), all.z.data(), first, ctx) == 0;
        if (made && first < all.count())
            made = get_chull(all.x.data() + first, all.y.data() + first, all.z.data() + first, all.count() - first,
                             ctx) == 0;
    }
    hull(const hull &) = delete;
    ~hull() {
        free_chull(ctx);
        std::free(ctx);
    }
};

} // namespace

// The same points at once, in two parts and backwards: the same body, which holds them all.
int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto mask = data.PickValueInArray<uint8_t>({255, 15, 3, 1});
    const auto first = data.ConsumeIntegralInRange<int32_t>(1, 20);
    points all;
    while (data.remaining_bytes() >= 3 && all.count() < 200)
        for (std::vector<uint8_t> *axis : {&all.x, &all.y, &all.z})
            axis->push_back(data.ConsumeIntegral<uint8_t>() & mask);
    points backwards = all;
    for (std::vector<uint8_t> *axis : {&backwards.x, &backwards.y, &backwards.z})
        std::reverse(axis->begin(), axis->end());

    const hull whole(all, all.count());
    if (!whole.made)
        return 0;
    assert(Checks(whole.ctx) == 0);
    for (size_t i = 0; i < all.x.size(); ++i)
        assert(is_in_chull(whole.ctx, all.x[i], all.y[i], all.z[i]));
    const int32_t volume = chull_volume6(whole.ctx);
    const hull parts(all, std::min(first, all.count())), reversed(backwards, all.count());
    for (const hull *other : {&parts, &reversed})
        if (other->made)
            assert(chull_volume6(other->ctx) == volume);
    return 0;
}
