// Any points and polygons on any view, both ways, against the models.
#include "../tests/models/spheremap.hpp"
#include "fuzz.hpp"

namespace {

using model::pair;

// Seldom any 32-bit number, which the ordinary ones are not.
int32_t number(fuzz::source &data, int32_t least, int32_t most) {
    return data.ConsumeIntegralInRange(0, 15) == 0 ? data.ConsumeIntegral<int32_t>()
                                                   : data.ConsumeIntegralInRange(least, most);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const smap_view view = {number(data, 0, 4096), number(data, 0, 4096), number(data, -368640, 368640),
                            number(data, -92160, 92160), number(data, 0, 184320)};
    const auto count = data.ConsumeIntegralInRange<uint32_t>(0, 20);
    std::vector<pair> from(count), to(count), placed(count), found(count);
    int8_t all_in_front = 1;
    for (uint32_t i = 0; i < count; ++i) {
        from[i] = to[i] = {number(data, -368640, 368640), number(data, -92160, 92160)};
        const model::placed expected = model::onto_screen(from[i], view);
        auto *direction = reinterpret_cast<smap_sphere_pt *>(&to[i]);
        assert(smap_sphere_pt_to_screen_pt(direction, &view, reinterpret_cast<smap_screen_pt *>(&to[i])) ==
               expected.in_front);
        placed[i] = expected.position.value_or(from[i]);
        assert(to[i] == placed[i]);
        all_in_front &= expected.in_front;
        found[i] = model::onto_sphere(placed[i], view);
    }
    smap_sphere_poly sphere = {count, reinterpret_cast<smap_sphere_pt *>(from.data())};
    smap_screen_poly screen = {count, reinterpret_cast<smap_screen_pt *>(from.data())};
    assert(smap_sphere_to_screen(&sphere, &view, &screen) == (count == 0 ? 1 : all_in_front));
    assert(from == placed);
    assert(smap_screen_to_sphere(&screen, &view, &sphere) == 1);
    assert(from == found);
    return 0;
}
