// One function for each module, compiled for the device and, as WebAssembly, for the page.
#include "checksums.hpp"
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <span>
#include <vela/cpp/base64.hpp>
#include <vela/cpp/curve.hpp>
#include <vela/cpp/hull.hpp>
#include <vela/cpp/matrix.hpp>
#include <vela/cpp/resampler.hpp>
#include <vela/cpp/url.hpp>
#include <vela/cpp/uuid.hpp>
#include <vela/vela.h>

namespace checksums {

namespace {

// FNV-1a over 64 bits. Numbers go in with their least significant byte first.
class sum {
public:
    void add(std::string_view bytes) {
        for (const char byte : bytes)
            value_ = (value_ ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    }
    void add(std::span<const uint8_t> bytes) { add({reinterpret_cast<const char *>(bytes.data()), bytes.size()}); }
    void add(int64_t number) {
        for (int i = 0; i < 8; ++i)
            value_ = (value_ ^ (static_cast<uint64_t>(number) >> 8 * i & 255)) * 0x100000001B3;
    }
    void add(float number) { add(int64_t{std::bit_cast<int32_t>(number)}); }
    std::string text() const {
        uint8_t bytes[8];
        char digits[17] = {};
        for (int i = 0; i < 8; ++i)
            bytes[i] = static_cast<uint8_t>(value_ >> (56 - 8 * i));
        bin2hex(bytes, sizeof bytes, digits);
        return digits;
    }

private:
    uint64_t value_ = 0xCBF29CE484222325;
};

// Pseudo-random numbers (xorshift), the same everywhere.
class source {
public:
    uint32_t operator()() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return state_;
    }
    int32_t below(uint32_t limit) { return static_cast<int32_t>((*this)() % limit); }
    std::vector<uint8_t> bytes(size_t count) {
        std::vector<uint8_t> made(count);
        for (uint8_t &byte : made)
            byte = static_cast<uint8_t>((*this)() >> 11);
        return made;
    }

private:
    uint32_t state_ = 2463534242;
};

void of_base64(source &from, sum &to) { to.add(vela::base64::encode(from.bytes(60000))); }

void of_hulls(source &from, sum &to) {
    const auto hull = vela::hull::of_pixels(from.bytes(3 * 5000));
    for (const chull_vertex &vertex : hull->vertices())
        for (const int32_t one : vertex.coord)
            to.add(int64_t{one});
    to.add(static_cast<int64_t>(std::lround(hull->volume() * 6)));
}

void of_colours(source &from, sum &to) {
    std::vector<uint8_t> pixels = from.bytes(3 * 20000);
    for (const auto convert : {srgb_to_yccfull, srgb_to_yccbt601, srgb_to_yccbt709, yccbt709_to_srgb})
        convert(pixels.data(), pixels.data(), 20000);
    to.add(std::span<const uint8_t>(pixels));
}

void of_fixed_point(source &from, sum &to) {
    for (int i = 0; i < 20000; ++i) {
        const auto number = static_cast<int32_t>(from());
        to.add(int64_t{sinQ10inQ12out(number)});
        to.add(int64_t{int_sqrt(static_cast<uint32_t>(number))});
        to.add(int64_t{sin_q15(number >> 12)});
    }
}

void of_curves(source &from, sum &to) {
    for (int round = 0; round < 50; ++round) {
        std::vector<interp_knot> knots;
        for (int x = 0; x <= 255; x += 1 + from.below(60))
            knots.push_back({static_cast<int16_t>(x), static_cast<int16_t>(from.below(256))});
        const auto curve = vela::curve::make(vela::curve::method::spline, knots);
        std::vector<int16_t> table(curve->size());
        if (curve->fill(std::span(table)))
            for (const int16_t value : table)
                to.add(int64_t{value});
    }
}

void of_matrices(source &from, sum &to) {
    auto matrix = vela::matrix::make(24, 12);
    for (float &element : matrix->elements())
        element = static_cast<float>(from.below(2001) - 1000) / 16;
    const auto svd = vela::decompose(*matrix);
    for (const float value : svd->values)
        to.add(value);
}

void of_resampling(source &from, sum &to) {
    auto resampler = vela::resampler::with_lobes(8000, 44100, 16);
    std::vector<uint8_t> coded;
    if (resampler->push(from.bytes(2 * 44100), vela::resampler::format::little_endian, coded,
                        vela::resampler::format::ulaw))
        to.add(std::span<const uint8_t>(coded));
}

void of_the_sphere(source &from, sum &to) {
    for (int i = 0; i < 20000; ++i) {
        const smap_view view = {1280, 720, from.below(368640), from.below(184321) - 92160, 2048 + from.below(110000)};
        const smap_screen_pt pixel = {from.below(1280), from.below(720)};
        smap_sphere_pt seen;
        smap_screen_pt_to_sphere_pt(&pixel, &view, &seen);
        to.add(int64_t{seen.pan});
        to.add(int64_t{seen.tilt});
        smap_screen_pt back = {};
        to.add(int64_t{smap_sphere_pt_to_screen_pt(&seen, &view, &back)});
        to.add(int64_t{back.x});
        to.add(int64_t{back.y});
    }
}

void of_text(source &from, sum &to) {
    const std::vector<uint8_t> bytes = from.bytes(20000);
    std::string digits(2 * bytes.size(), 0);
    bin2hex(bytes.data(), static_cast<uint32_t>(bytes.size()), digits.data());
    to.add(digits);
    std::string lines(2 * digits.size(), 0);
    const int32_t length = chunk_split(digits.data(), static_cast<uint32_t>(digits.size()), lines.data(),
                                       static_cast<uint32_t>(lines.size()), 76);
    to.add(std::string_view(lines.data(), static_cast<size_t>(std::max(length, 0))));
}

void of_times(source &from, sum &to) {
    timeval time = {1000000000, 0};
    for (int i = 0; i < 20000; ++i) {
        time_add_usec(&time, from.below(1 << 30));
        const timeval step = {from.below(3), from.below(1000000)};
        time = time_sub(&time, &step);
        to.add(int64_t{time.tv_sec});
        to.add(int64_t{time.tv_usec});
    }
}

void of_urls(source &from, sum &to) {
    for (int i = 0; i < 500; ++i) {
        const std::vector<uint8_t> bytes = from.bytes(60);
        std::array<char, 3 * 60 + 5> buffer = {};
        const std::string_view code(buffer.data(),
                                    static_cast<size_t>(url_encode(bytes.data(), 60, buffer.data(), buffer.size())));
        const auto url = vela::url::parse("http://camera:8080/a/" + std::string(code) + "?b=" + std::string(code));
        to.add(url->path().value_or(""));
        std::array<char, 60 + 1> back = {};
        const int32_t size = url_decode(code.data(), static_cast<uint32_t>(code.size()), back.data(), back.size());
        to.add({back.data(), static_cast<size_t>(size - 1)});
    }
}

void of_uuids(source &from, sum &to) {
    for (int i = 0; i < 2000; ++i) {
        const std::vector<uint8_t> bytes = from.bytes(16);
        const std::string text = vela::uuid(std::span<const uint8_t, 16>(bytes.data(), 16)).to_string();
        to.add(text);
        to.add(int64_t{vela::uuid::parse(text)->version()});
    }
}

struct task {
    const char *module, *work;
    void (*run)(source &, sum &);
};
constexpr task kTasks[] = {
    {"base64", "60000 bytes encoded", of_base64},
    {"chull", "the hull of 5000 colours", of_hulls},
    {"colour", "20000 pixels there and back", of_colours},
    {"fixedpoint", "20000 sines and roots", of_fixed_point},
    {"interp", "50 splines", of_curves},
    {"matrix", "singular values of 24 x 12", of_matrices},
    {"resample", "a second of noise from 44100 to 8000 Hz", of_resampling},
    {"spheremap", "20000 directions there and back", of_the_sphere},
    {"text", "20000 bytes as digits, in lines", of_text},
    {"time", "20000 sums", of_times},
    {"url", "500 addresses taken apart", of_urls},
    {"uuid", "2000 printed and read", of_uuids},
};

} // namespace

std::vector<checksum> all() {
    std::vector<checksum> made;
    for (const task &each : kTasks) {
        source from;
        sum to;
        each.run(from, to);
        made.push_back({each.module, each.work, to.text()});
    }
    return made;
}

} // namespace checksums
