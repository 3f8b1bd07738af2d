// The panorama through the lens, marks, and JPEG.
#include "picture.hpp"
#include "font.hpp"
#include "store.hpp"
#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <jpeglib.h>
#include <vela/colour.h>
#include <vela/interp.h>
#include <vela/overlay.hpp>

namespace picture {

namespace {

using vela::overlay::source_position, vela::overlay::warp_cell;

constexpr int32_t kMesh = warp_cell::kSize;
constexpr int kFraction = 16;           // fixed point of positions in the panorama
constexpr int32_t kSteepest = 86 << 10; // near the poles positions can't be interpolated

// Within 90 degrees of the centre, measured along both axes; nothing is seen beyond.
bool is_seen(const smap_view &view, int32_t x, int32_t y) {
    const double degrees = view.fov / 1024.0 / view.width;
    return (std::abs(x - view.width / 2) + std::abs(y - view.height / 2)) * degrees < 90;
}

// The panorama, less than 2^14 pixels wide, with positions in 1 / 2^16 of its pixels.
struct sampler {
    const uint8_t *pixels;
    int32_t width, height;

    int32_t across(int32_t pan) const {
        return static_cast<int32_t>((int64_t{pan} * width << kFraction) / (360 << 10));
    }
    int32_t down(int32_t tilt) const {
        return static_cast<int32_t>((int64_t{(90 << 10) - tilt} * height << kFraction) / (180 << 10)) -
               (1 << (kFraction - 1));
    }

    // Luma between four neighbours.
    int32_t luma(int32_t u, int32_t v) const {
        u -= 1 << (kFraction - 1);
        const int32_t fu = u >> 8 & 255, fv = v >> 8 & 255;
        int32_t x = u >> kFraction, y = v >> kFraction;
        x = x < 0 ? x + width : x >= width ? x - width : x;
        const int32_t next = x + 1 == width ? 0 : x + 1;
        const int32_t below = std::clamp(y + 1, 0, height - 1);
        y = std::clamp(y, 0, height - 1);
        const uint8_t *const upper = pixels + ptrdiff_t{2} * y * width, *const lower =
                                                                            pixels + ptrdiff_t{2} * below * width;
        const int32_t top = upper[2 * x + 1] * (256 - fu) + upper[2 * next + 1] * fu;
        const int32_t bottom = lower[2 * x + 1] * (256 - fu) + lower[2 * next + 1] * fu;
        return (top * (256 - fv) + bottom * fv + (1 << 15)) >> 16;
    }
    // Both chroma bytes of the pair of pixels here.
    const uint8_t *chroma(int32_t u, int32_t v) const {
        int32_t x = u >> kFraction;
        x = x < 0 ? x + width : x >= width ? x - width : x;
        const int32_t y = std::clamp((v + (1 << (kFraction - 1))) >> kFraction, 0, height - 1);
        return pixels + ptrdiff_t{2} * (ptrdiff_t{y} * width + x / 2 * 2);
    }
    // Brings the corners of a cell within half a turn of the first one; false where they are too far apart to
    // interpolate.
    bool unwrap(warp_cell &cell) const {
        const int64_t turn = int64_t{width} << kFraction;
        for (source_position &corner : cell.corners) {
            const int64_t first = cell.corners[0].u;
            if (corner.u - first > turn / 2)
                corner.u -= turn;
            else if (first - corner.u > turn / 2)
                corner.u += turn;
            if (std::abs(corner.u - first) >= turn / 40)
                return false;
        }
        return true;
    }
    void put(int32_t u, int32_t v, int32_t column, uint8_t *row, const tones &levels) const {
        uint8_t *const pair = row + column / 2 * 4;
        pair[1 + column % 2 * 2] = levels[static_cast<size_t>(luma(u, v))];
        if (column % 2 == 0) {
            const uint8_t *const from = chroma(u, v);
            pair[0] = from[0];
            pair[2] = from[2];
        }
    }
    void put_run(source_position at, source_position step, int x, int count, uint8_t *row, const tones &levels) const {
        const int32_t turn = width << kFraction;
        auto u = static_cast<int32_t>(at.u), v = static_cast<int32_t>(at.v);
        const auto step_u = static_cast<int32_t>(step.u), step_v = static_cast<int32_t>(step.v);
        if (u >= turn)
            u -= turn;
        for (const int end = x + count; x < end; ++x, u += step_u, v += step_v)
            put(u, v, x, row, levels);
    }
    // One pixel without the mesh; black where nothing is seen.
    void put_exactly(std::optional<source_position> at, int x, uint8_t *row, const tones &levels) const {
        if (at) {
            put(static_cast<int32_t>(at->u), static_cast<int32_t>(at->v), x, row, levels);
            return;
        }
        uint8_t *const pair = row + x / 2 * 4;
        pair[1 + x % 2 * 2] = 16;
        pair[0] = pair[2] = 128;
    }
    // Where a pixel of the view is in a panorama.
    std::optional<source_position> in_panorama(const smap_view &view, int x, int y) const {
        if (!is_seen(view, x, y))
            return std::nullopt;
        const smap_screen_pt pixel = {x, y};
        smap_sphere_pt direction;
        smap_screen_pt_to_sphere_pt(&pixel, &view, &direction);
        return source_position{across(direction.pan), down(direction.tilt)};
    }
    // Where a direction is in the picture of a lens.
    std::optional<source_position> by_lens(const vela::overlay::view &lens, vela::overlay::direction shown) const {
        const auto at = lens.project(shown);
        if (!at || !(at->x >= 0 && at->x <= width - 1 && at->y >= 0 && at->y <= height - 1))
            return std::nullopt;
        constexpr double kUnit = 1 << kFraction;
        return source_position{std::llround((at->x + 0.5) * kUnit), std::llround(at->y * kUnit)};
    }
};

} // namespace

void frame::put(int32_t x, int32_t y, colour ink, int share) {
    if (!holds(x, y))
        return;
    uint8_t *const to = at(x, y);
    const uint8_t given[3] = {ink.red, ink.green, ink.blue};
    for (int i = 0; i < 3; ++i)
        to[i] = static_cast<uint8_t>((to[i] * (256 - share) + given[i] * share) >> 8);
}

void frame::line(double x0, double y0, double x1, double y1, colour ink, int share) {
    const double longest = std::max(std::fabs(x1 - x0), std::fabs(y1 - y0));
    if (!(longest < 4.0 * (width + height)))
        return;
    const int steps = static_cast<int>(std::ceil(longest));
    for (int i = 0; i <= steps; ++i) {
        const double t = steps ? static_cast<double>(i) / steps : 0;
        put(static_cast<int32_t>(std::lround(x0 + (x1 - x0) * t)),
            static_cast<int32_t>(std::lround(y0 + (y1 - y0) * t)), ink, share);
    }
}

int32_t frame::write(int32_t x, int32_t y, std::string_view text, colour ink, int32_t scale) {
    for (const char c : text) {
        const uint8_t *const rows = font::glyph(c);
        for (int32_t row = 0; row < font::kHeight * scale; ++row)
            for (int32_t column = 0; column < font::kWidth * scale; ++column)
                if (rows[row / scale] >> (font::kWidth - 1 - column / scale) & 1) {
                    put(x + column + 1, y + row + 1, {0, 0, 0}, 150);
                    put(x + column, y + row, ink);
                }
        x += (font::kWidth + 1) * scale;
    }
    return x;
}

void costs::part(const char *name) {
    timespec used = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    const double now = static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
    char text[64];
    std::snprintf(text, sizeof text, "%s%s;dur=%.2f", text_.empty() ? "" : ", ", name, now - last_);
    text_ += text;
    last_ = now;
}

tones tones_of(const state::settings &all) {
    std::vector<interp_knot> knots;
    for (const auto &[x, y] : all.curve)
        knots.push_back({static_cast<int16_t>(x), static_cast<int16_t>(y)});
    std::array<int16_t, 256> curve = {};
    const interp_curve spline = {INTERP_SPLI, static_cast<int32_t>(knots.size()), knots.data()};
    static_cast<void>(interpolate_c(&spline, curve.data()));
    tones levels;
    const double gain = std::exp2(all.exposure / 2.2);
    for (size_t i = 0; i < levels.size(); ++i) {
        const auto exposed = static_cast<size_t>(std::clamp(std::lround(static_cast<double>(i) * gain), 0L, 255L));
        levels[i] = static_cast<uint8_t>(std::clamp<int>(curve[exposed], 0, 255));
    }
    return levels;
}

void renderer::render(const surface &from, const smap_view &view, const tones &levels, frame &into, costs &parts) {
    const int32_t columns = (view.width + kMesh - 1) / kMesh + 1, rows = (view.height + kMesh - 1) / kMesh + 1;
    const auto nodes = static_cast<size_t>(columns) * static_cast<size_t>(rows);
    mesh_.resize(nodes);
    directions_.resize(nodes);
    for (int32_t j = 0; j < rows; ++j)
        for (int32_t i = 0; i < columns; ++i)
            mesh_[static_cast<size_t>(j * columns + i)] = {i * kMesh, j * kMesh};
    const smap_screen_poly screen = {static_cast<uint32_t>(nodes), mesh_.data()};
    smap_sphere_poly sphere = {static_cast<uint32_t>(nodes), directions_.data()};
    static_cast<void>(smap_screen_to_sphere(&screen, &view, &sphere));
    parts.part("spheremap");

    const sampler source = {from.pixels, from.width, from.height};
    const auto seen = vela::overlay::view::make(view);
    if (!seen)
        throw store::failure{"not a view"};
    const int32_t stride = (view.width + 1) / 2 * 4;
    packed_.resize(static_cast<size_t>(stride) * static_cast<size_t>(view.height));
    const auto row = [&](int y) { return &packed_[static_cast<size_t>(y) * static_cast<size_t>(stride)]; };
    const auto locate = [&](int x, int y) -> std::optional<source_position> {
        if (!from.lens)
            return source.in_panorama(view, x, y);
        const auto shown = seen->unproject({static_cast<double>(x), static_cast<double>(y)});
        return shown ? source.by_lens(*from.lens, *shown) : std::nullopt;
    };
    const auto node = [&](int x, int y) -> std::optional<source_position> {
        if (from.lens)
            return locate(x, y);
        const smap_sphere_pt &at = directions_[static_cast<size_t>(y / kMesh * columns + x / kMesh)];
        if (!is_seen(view, x, y) || std::abs(at.tilt) >= kSteepest)
            return std::nullopt;
        return source_position{source.across(at.pan), source.down(at.tilt)};
    };
    const auto draw = [&](warp_cell cell) {
        if (!cell.is_known || (!from.lens && !source.unwrap(cell))) {
            // Beside the picture of a lens no corner has a position, which would be above 0.
            const bool is_beside = from.lens && std::none_of(std::begin(cell.corners), std::end(cell.corners),
                                                             [](const source_position &each) { return each.u > 0; });
            for (int y = cell.y; y < cell.y + cell.height; ++y)
                for (int x = cell.x; x < cell.x + cell.width; ++x)
                    source.put_exactly(is_beside ? std::nullopt : locate(x, y), x, row(y), levels);
            return;
        }
        cell.for_each_row([&](int y, source_position at, source_position step) {
            source.put_run(at, step, cell.x, cell.width, row(y), levels);
        });
    };
    if (!vela::overlay::for_each_warp_cell(view.width, view.height, node, draw))
        throw std::bad_alloc();
    parts.part("sampling");
    into.width = view.width;
    into.height = view.height;
    into.pixels.resize(size_t{3} * static_cast<size_t>(view.width) * static_cast<size_t>(view.height));
    cyc422_to_srgb(packed_.data(), static_cast<uint32_t>(view.width), static_cast<uint32_t>(view.height),
                   static_cast<uint32_t>(stride), into.pixels.data());
    parts.part("colour");
}

void draw_grid(const smap_view &view, frame &onto) {
    const colour ink = {120, 235, 255};
    const auto place = [&](double pan, double tilt, smap_screen_pt &at) {
        const smap_sphere_pt direction = {static_cast<int32_t>(std::lround(pan * 1024)),
                                          static_cast<int32_t>(std::lround(tilt * 1024))};
        return smap_sphere_pt_to_screen_pt(&direction, &view, &at) == 1;
    };
    const double fov = view.fov / 1024.0, step = fov > 40 ? 10 : fov > 15 ? 5 : fov > 5 ? 2 : 1;
    const auto curve = [&](auto direction, double from, double to, int share) {
        smap_screen_pt last = {}, next = {};
        bool had = false;
        for (double at = from; at <= to + 1e-9; at += step / 5) {
            const auto [pan, tilt] = direction(at);
            const bool has = place(pan, tilt, next);
            if (has && had && (onto.holds(last.x, last.y) || onto.holds(next.x, next.y)))
                onto.line(last.x, last.y, next.x, next.y, ink, share);
            last = next;
            had = has;
        }
    };
    const double pan = view.pan / 1024.0, tilt = view.tilt / 1024.0, reach = fov * 0.8 + 5;
    const double low = std::max(-90.0, std::floor((tilt - reach) / step) * step), high = std::min(90.0, tilt + reach);
    const double spread =
        std::fabs(tilt) + reach > 80 ? 180 : std::min(180.0, reach / std::cos((std::fabs(tilt) + reach) / 57.3));
    for (double t = low; t <= high; t += step)
        curve([&](double p) { return std::pair(p, t); }, std::floor((pan - spread) / step) * step, pan + spread,
              t == 0 ? 200 : 70);
    for (double p = std::floor((pan - spread) / step) * step; p <= pan + spread; p += step)
        curve([&](double t) { return std::pair(p, t); }, low, high, std::fmod(p + 720, 90) == 0 ? 150 : 70);
    static constexpr const char *kNames[] = {"N", "NE", "E", "SE", "S", "SW", "W", "NW"};
    const int32_t scale = std::max(1, view.height / 300);
    for (int i = 0; i < 8; ++i) {
        smap_screen_pt at;
        if (place(i * 45.0, 0, at))
            onto.write(at.x - 3 * scale, at.y - 9 * scale, kNames[i], {255, 255, 255}, scale);
    }
}

std::string stamp_of(const timeval &at) {
    tm local;
    const time_t seconds = at.tv_sec;
    localtime_r(&seconds, &local);
    char text[64];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

void draw_notice(std::string_view text, frame &onto) {
    const int32_t scale = std::max(1, onto.height / 200), cell = (font::kWidth + 1) * scale;
    const auto length = static_cast<int32_t>(text.size()) * cell;
    const int32_t x = std::max(0, (onto.width - length) / 2), y = (onto.height - font::kHeight * scale) / 2;
    for (int32_t row = y - 3 * scale; row < y + (font::kHeight + 3) * scale; ++row)
        for (int32_t column = x - cell; column < x + length + cell; ++column)
            onto.put(column, row, {0, 0, 0}, 160);
    onto.write(x, y, text, {255, 255, 255}, scale);
}

void draw_stamp(const smap_view &view, const timeval &at, frame &onto) {
    const int32_t scale = std::max(1, view.height / 300), margin = 6 * scale;
    onto.write(margin, margin, stamp_of(at), {255, 255, 255}, scale);
    char text[64];
    std::snprintf(text, sizeof text, "%.1f %+.1f  %.1f", view.pan / 1024.0, view.tilt / 1024.0, view.fov / 1024.0);
    onto.write(onto.width - margin - static_cast<int32_t>(std::strlen(text)) * (font::kWidth + 1) * scale, margin, text,
               {255, 255, 255}, scale);
}

std::vector<uint8_t> encode(const frame &from, int32_t quality) {
    jpeg_compress_struct encoder = {};
    jpeg_error_mgr errors;
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    unsigned char *memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&encoder, &memory, &size);
    encoder.image_width = static_cast<JDIMENSION>(from.width);
    encoder.image_height = static_cast<JDIMENSION>(from.height);
    encoder.input_components = 3;
    encoder.in_color_space = JCS_RGB;
    jpeg_set_defaults(&encoder);
    jpeg_set_quality(&encoder, quality, TRUE);
    encoder.dct_method = JDCT_ISLOW;
    jpeg_start_compress(&encoder, TRUE);
    while (encoder.next_scanline < encoder.image_height) {
        JSAMPROW row =
            const_cast<JSAMPROW>(&from.pixels[size_t{3} * encoder.next_scanline * static_cast<size_t>(from.width)]);
        jpeg_write_scanlines(&encoder, &row, 1);
    }
    jpeg_finish_compress(&encoder);
    std::vector<uint8_t> result(memory, memory + size);
    jpeg_destroy_compress(&encoder);
    std::free(memory);
    return result;
}

} // namespace picture
