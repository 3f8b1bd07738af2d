// The models of the library's tests, with bindings like the library's own: what the package is compared with.
#include "../bindings/bindings.hpp"
#include "models/base64.hpp"
#include "models/colour.hpp"
#include "models/fixedpoint.hpp"
#include "models/interp.hpp"
#include "models/matrix.hpp"
#include "models/rate_converter.hpp"
#include "models/resample.hpp"
#include "models/spheremap.hpp"

#include "models/chull.hpp" // its wide() hides the type wide of the spheremap's

using bindings::block, bindings::give;

inline void disagree(const std::string &report) { vela_fail(report.c_str(), nullptr, 0, nullptr); }

namespace {

template <class Value>
block *give_all(const std::vector<Value> &values) {
    return give(std::span<const Value>(values));
}

matrices::matrix matrix_of(int32_t rows, int32_t cols, const float *elements, size_t size) {
    return {rows, cols, {elements, elements + size}};
}

curves::knots knots_of(const int16_t *numbers, size_t size) {
    curves::knots made;
    for (size_t i = 0; i < size; i += 2)
        made.push_back({numbers[i], numbers[i + 1]});
    return made;
}

} // namespace

VELA_EXPORT(base64_encode) block *base64_encoded(const char *bytes, size_t size) {
    return give(model::base64_of({bytes, size}));
}
VELA_EXPORT(base64_decode) block *base64_decoded(const char *text, size_t length) {
    const std::string result = model::strictly_decoded({text, length});
    return result == "refused" ? nullptr : give(std::string_view(result).substr(sizeof "bytes"));
}

VELA_EXPORT(colour_convert) block *colour_converted(size_t conversion, const uint8_t *pixels, size_t size) {
    return give_all(model::converted(model::kConversions[conversion], {pixels, pixels + size}));
}
VELA_EXPORT(colour_matrix) block *colour_matrix(size_t conversion) {
    return give(std::span<const int32_t>(model::kConversions[conversion].coefficients));
}
VELA_EXPORT(colour_unpack)
block *colour_unpacked(const uint8_t *from, size_t, uint32_t width, uint32_t height, uint32_t stride) {
    return give_all(model::converted(model::kConversions[1], model::unpacked(from, width, height, stride)));
}

VELA_EXPORT(curve_line) block *line(const int16_t *knots, size_t size) {
    int32_t result;
    return give_all(curves::line(knots_of(knots, size), result));
}
VELA_EXPORT(curve_fixed_spline) block *fixed_spline(const int16_t *knots, size_t size) {
    return give_all(curves::fixed_spline(knots_of(knots, size)));
}
VELA_EXPORT(curve_spline) block *spline(const int16_t *knots, size_t size) {
    return give_all(curves::single_spline(knots_of(knots, size)));
}

VELA_EXPORT(sine_entry) int32_t sine_entry(int32_t i) { return model::sine_entry(i); }
VELA_EXPORT(arcsine_entry) int32_t arcsine_entry(int32_t i) { return model::arcsine_entry(i); }
VELA_EXPORT(sine_q12) int32_t sine_q12(int32_t angle) { return model::sine_q12(angle); }
VELA_EXPORT(sine_q15) int32_t sine_q15(int32_t x) { return static_cast<int32_t>(model::sine_q15(x)); }
VELA_EXPORT(sinc_q15) int32_t sinc_q15_of(int32_t x) { return static_cast<int32_t>(model::sinc_q15(x)); }
VELA_EXPORT(lanczos_q15) int32_t lanczos_q15(int32_t a, int32_t x) {
    return static_cast<int32_t>(model::lanczos_q15(a, x));
}

VELA_EXPORT(hull_distance) uint32_t distance(const int32_t *triangle, size_t, int32_t x, int32_t y, int32_t z) {
    model::cloud corners(3);
    for (size_t i = 0; i < 3; ++i)
        std::copy_n(triangle + 3 * i, 3, corners[i].begin());
    const model::point apart = model::difference(model::nearest_point(corners, {x, y, z}), {x, y, z});
    return static_cast<uint32_t>(model::dot(apart, apart));
}

VELA_EXPORT(matrix_product)
block *product(int32_t rows, int32_t inner, const float *a, size_t a_size, int32_t cols, const float *b,
               size_t b_size) {
    return give_all(matrices::product(matrix_of(rows, inner, a, a_size), matrix_of(inner, cols, b, b_size)).elements);
}
VELA_EXPORT(matrix_inverse) block *inverse(int32_t rows, const float *elements, size_t size) {
    matrices::matrix a = matrix_of(rows, rows, elements, size);
    return matrices::invert(a, a) ? give_all(a.elements) : nullptr;
}
VELA_EXPORT(matrix_inverse_3x3) block *inverse_of_3x3(const float *elements, size_t size) {
    matrices::matrix a = matrix_of(3, 3, elements, size), to = a;
    return matrices::invert_3x3(a, to) ? give_all(to.elements) : nullptr;
}

// A whole stream and what is late of it. `kernel` is a tag, or a number of lobes.
VELA_EXPORT(resampled)
block *resampled(uint32_t out_rate, uint32_t in_rate, uint32_t kernel, uint32_t in_format, uint32_t out_format,
                 const uint8_t *bytes, size_t size) {
    const model::converter state = model::make_converter(out_rate, in_rate, kernel);
    model::samples in = model::decoded({bytes, bytes + size}, in_format);
    in.resize(in.size() + (state->num_coeffs / 2U + state->interp_factor - 1) / state->interp_factor);
    return give_all(model::encoded(model::resampled(*state, in), out_format));
}
VELA_EXPORT(resampler_latency) double latency(uint32_t out_rate, uint32_t in_rate, uint32_t kernel) {
    const model::converter state = model::make_converter(out_rate, in_rate, kernel);
    return (state->num_coeffs - 1) / 2.0 / state->decim_factor;
}

// The same through the filter bank of a quality.
template <class Sample>
block *converted(uint32_t out_rate, uint32_t in_rate, size_t quality, size_t channels, std::vector<Sample> in) {
    const model::filter_bank bank(out_rate, in_rate, static_cast<vela::quality>(quality));
    in.resize(in.size() + bank.record->taps / 2 * channels);
    return give_all(model::converted(bank, in, channels, [&](size_t) { return bank.record->step; }));
}
VELA_EXPORT(converted)
block *converted_integers(uint32_t out_rate, uint32_t in_rate, size_t quality, size_t channels, const int16_t *samples,
                          size_t size) {
    return converted<int16_t>(out_rate, in_rate, quality, channels, {samples, samples + size});
}
VELA_EXPORT(converted_floats)
block *converted_floats(uint32_t out_rate, uint32_t in_rate, size_t quality, size_t channels, const float *samples,
                        size_t size) {
    return converted<float>(out_rate, in_rate, quality, channels, {samples, samples + size});
}

VELA_EXPORT(clipped) block *clipped(int32_t pan, int32_t tilt) {
    return give(std::span<const int32_t>(model::clipped(pan, tilt)));
}
VELA_EXPORT(onto_screen)
block *onto_screen(int32_t pan, int32_t tilt, int32_t width, int32_t height, int32_t view_pan, int32_t view_tilt,
                   int32_t fov) {
    const model::placed at = model::onto_screen({pan, tilt}, {width, height, view_pan, view_tilt, fov});
    return give({(*at.position)[0], (*at.position)[1], int32_t{at.in_front}});
}
VELA_EXPORT(onto_sphere)
block *onto_sphere(int32_t x, int32_t y, int32_t width, int32_t height, int32_t pan, int32_t tilt, int32_t fov) {
    return give(std::span<const int32_t>(model::onto_sphere({x, y}, {width, height, pan, tilt, fov})));
}
