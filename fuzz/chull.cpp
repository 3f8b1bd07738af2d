// Hulls that get_chull() builds and grows fast, against those of its steps: the same results, and the same
// lists to the order of every record. What is asked of them is answered as by the models, and the order of the points
// does not change the body.
#include "../tests/models/chull.hpp"
#include "fuzz.hpp"
#include <vela/cpp/hull.hpp>

using model::hull;

namespace {

void compare_answers(const hull &h, const model::point &p) {
    uint32_t least = UINT32_MAX, most = 0;
    bool is_inside = true;
    for (const chull_face *face : model::listed(h.ctx->faces)) {
        std::array<model::point, 3> corners;
        for (size_t i = 0; i < 3; ++i)
            std::copy_n(face->vert[i]->coord, 3, corners[i].begin());
        is_inside = is_inside && model::volume(corners, p) >= 0;
        const model::point apart = model::difference(model::nearest_point(corners, p).q, p);
        least = std::min(least, static_cast<uint32_t>(model::dot(apart, apart)));
        most = std::max(most, static_cast<uint32_t>(model::dot(apart, apart)));
    }
    uint32_t least_given = 0, most_given = 0;
    assert(dist_to_chull(h.ctx, p[0], p[1], p[2], &least_given, &most_given) == 0);
    assert(least_given == least);
    assert(most_given == most);
    assert(is_in_chull(h.ctx, p[0], p[1], p[2]) == is_inside);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto mask = data.PickValueInArray<uint8_t>({255, 15, 3, 1});
    const int far = data.ConsumeIntegralInRange(8, 31);
    std::vector<size_t> calls = {data.ConsumeIntegralInRange<size_t>(1, 60)};
    for (int more = data.ConsumeIntegralInRange(0, 2); more > 0; --more)
        calls.push_back(data.ConsumeIntegralInRange<size_t>(1, 40));
    model::cloud given;
    const hull fast, stepped;
    bool complete = true;
    for (const size_t count : calls) {
        model::cloud points;
        while (data.remaining_bytes() >= 3 && points.size() < count) {
            const auto next = [&]() -> int32_t { return data.ConsumeIntegral<uint8_t>() & mask; };
            points.push_back({next(), next(), next()});
        }
        if (points.empty() || !complete)
            break;
        complete = fast.get(points) == 0;
        assert((stepped.get(points, true) == 0) == complete);
        assert(fast.content() == stepped.content());
        given.insert(given.end(), points.begin(), points.end());
    }
    if (given.empty() || !complete)
        return 0;
    assert(Checks(fast.ctx) == 0);
    for (const auto &[x, y, z] : given)
        assert(is_in_chull(fast.ctx, x, y, z));
    for (const model::point &p : {given.front(), given.back()}) {
        compare_answers(fast, {p[1] + 9, p[0], -p[2]});
        compare_answers(fast, {p[0] << (far - 8), p[2], p[1]});
    }
    // The table of all points against the hull, in columns that meet a point given or are beside one.
    chull_ctx *made = nullptr;
    assert(alloc_chull(&made) == 0);
    std::swap(*made, *fast.ctx);
    const auto owner = vela::hull::adopt(made);
    const auto known = owner->membership();
    for (const model::point &p : {given.front(), given.back(), {given.front()[0], given.back()[1], 0}})
        for (int z = 0; z < 256; ++z)
            assert(known->contains(static_cast<uint8_t>(p[0]), static_cast<uint8_t>(p[1] ^ 1),
                                   static_cast<uint8_t>(z)) == is_in_chull(owner->get(), p[0], p[1] ^ 1, z));

    std::reverse(given.begin(), given.end());
    const hull reversed;
    if (reversed.get(given) == 0)
        assert(chull_volume6(reversed.ctx) == chull_volume6(owner->get()));
    return 0;
}
