// Colour on spans: checked sizes, and each variant calls its own function.
#include "models/colour.hpp"
#include "support.hpp"
#include <vela/cpp/colour.hpp>

using namespace vela::colour;

TEST(each_variant_is_its_own) {
    const model::pixels from = {0, 0, 0, 255, 255, 255, 12, 34, 56, 200, 100, 0, 255, 0, 255};
    const model::conversion *c = model::kConversions;
    for (const variant one : {variant::full, variant::bt601, variant::bt709}) {
        model::pixels result = from;
        agree_all("encoding_matrix", std::string(c->name), encoding_matrix(one), c->coefficients);
        ck_assert(from_rgb(one, result, result));
        model::expect_pixels(c->name, from, result.data(), model::converted(*c, from));
        ++c;
        agree_all("decoding_matrix", std::string(c->name), decoding_matrix(one), c->coefficients);
        ck_assert(to_rgb(one, from, result));
        model::expect_pixels(c->name, from, result.data(), model::converted(*c, from));
        ++c;
    }
}

TEST(incomplete_pixels_short_spans_and_partial_overlap_are_refused) {
    model::pixels all(30, 7);
    const std::span<uint8_t> memory(all);
    ck_assert(from_rgb(variant::full, {}, {}));
    ck_assert(!from_rgb(variant::full, memory.first(10), memory.last(15)));
    ck_assert(!from_rgb(variant::full, memory.first(15), memory.last(14)));
    ck_assert(!to_rgb(variant::full, memory.first(15), memory.subspan(1)));
    ck_assert(!to_rgb(variant::full, memory.subspan(14), memory.first(16)));
    ck_assert(all == model::pixels(30, 7));
    ck_assert(to_rgb(variant::full, memory.first(15), memory.last(15)));
    ck_assert(to_rgb(variant::full, memory.last(15), memory)); // only what is written may not overlap
}

TEST(long_pictures_are_converted_in_chunks) {
    const model::pixels rgb = {1, 20, 255, 40, 5, 160, 200, 190, 0, 77, 88, 99, 255, 0, 128};
    model::pixels whole(15), chunks(15);
    ck_assert(from_rgb(variant::full, rgb, whole));
    ck_assert(vela::colour::internal::convert(srgb_to_yccfull, rgb, chunks, 6));
    ck_assert(whole == chunks);
}

TEST(short_pictures_and_short_spans_are_refused) {
    const uint8_t packed[] = {255, 29, 107, 100, 1, 85, 76, 255, 200, 1};
    model::pixels rgb(18);
    ck_assert_uint_eq(packed_size(3, 2, 5), 12);
    ck_assert(!unpack(packed, 3, 2, 5, rgb));
    ck_assert(!unpack(std::span(packed, 8), 2, 2, 5, rgb));
    ck_assert(!unpack(packed, 2, 2, 5, std::span(rgb).first(11)));
    std::array<uint8_t, 21> shared{};
    ck_assert(!unpack(std::span(shared).first(9), 2, 2, 5, std::span(shared).subspan(8, 12)));
    ck_assert(unpack(std::span(shared).first(9), 2, 2, 5, std::span(shared).subspan(9, 12)));
    ck_assert(rgb == model::pixels(18));
    ck_assert(unpack(std::span(packed, 9), 2, 2, 5, std::span(rgb).first(12)));
    const model::pixels full = model::unpacked(packed, 2, 2, 5);
    model::expect_pixels("unpack", full, rgb.data(), model::converted(model::kConversions[1], full));
    ck_assert(unpack({}, 0, 5, 100, {}));
}
