// Any points and polygons on any view, in both directions, against the models.
#include "../tests/models/spheremap.hpp"
#include "fuzz.hpp"

namespace {

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
    std::vector<model::pair> from(data.ConsumeIntegralInRange<size_t>(0, 20));
    for (model::pair &direction : from)
        direction = {number(data, -368640, 368640), number(data, -92160, 92160)};
    model::check_polygon(from, view);
    return 0;
}
