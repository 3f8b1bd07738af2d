// Cases that are timed both natively and as WebAssembly: a program that prints the best processor time of each in
// seconds, or a module whose host takes the times (compare.mjs). The work is the same, on the same input.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>
#include <vela/vela.h>
#ifndef __wasm__
#include <cstdio>
#include <ctime>
#endif

namespace {

constexpr uint32_t kPoints = 100000, kWidth = 1920, kHeight = 1080, kBytes = 1 << 20;

template <class Number>
std::vector<Number> noise(size_t count) {
    uint32_t state = 2463534242;
    std::vector<Number> made(count);
    for (Number &one : made) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        one = static_cast<Number>(state >> 11);
    }
    return made;
}

void resample(uint32_t rate) {
    static const std::vector<int16_t> in = noise<int16_t>(441000);
    static std::vector<int16_t> out(5000);
    resample_state *const state = resample_alloc(rate, 44100, RESAMPLE_LAN2);
    for (size_t at = 0; at < in.size(); at += 4410) {
        uint32_t used = 4410, made = 5000;
        resample_mono(state, &in[at], &used, out.data(), &made, RESAMPLE_LEND, RESAMPLE_LEND);
    }
    resample_free(state);
}

void unpack() {
    static const std::vector<uint8_t> packed = noise<uint8_t>(2 * kWidth * kHeight);
    static std::vector<uint8_t> pixels(3 * kWidth * kHeight);
    cyc422_to_srgb(packed.data(), kWidth, kHeight, 2 * kWidth, pixels.data());
}

void to_ycc() {
    static const std::vector<uint8_t> pixels = noise<uint8_t>(3 * kWidth * kHeight);
    static std::vector<uint8_t> made(pixels.size());
    srgb_to_yccbt601(pixels.data(), made.data(), kWidth * kHeight);
}

std::vector<char> &base64_text() {
    static std::vector<char> text(kBytes / 3 * 4 + 4);
    return text;
}

void encode() {
    static const std::vector<uint8_t> bytes = noise<uint8_t>(kBytes);
    (void)base64_encode(bytes.data(), kBytes, base64_text().data(), static_cast<uint32_t>(base64_text().size()));
}

void decode() {
    static const bool is_made = (encode(), true);
    static std::vector<uint8_t> bytes(kBytes + 8);
    if (is_made)
        (void)base64_decode(base64_text().data(), static_cast<uint32_t>(base64_text().size()), bytes.data(),
                            static_cast<uint32_t>(bytes.size()));
}

// Pixels' colours anywhere, or on a sphere, where each may be a corner.
template <uint32_t points, bool on_sphere>
void hull() {
    static const std::vector<uint8_t> cloud = [] {
        std::vector<uint8_t> made = noise<uint8_t>(3 * points);
        for (uint32_t i = 0; on_sphere && i < points; ++i) {
            const double a = i * 2.399963, z = 1 - (2 * i + 1.0) / points, r = std::sqrt(1 - z * z);
            made[i] = static_cast<uint8_t>(128 + 127 * r * std::cos(a));
            made[points + i] = static_cast<uint8_t>(128 + 127 * r * std::sin(a));
            made[2 * points + i] = static_cast<uint8_t>(128 + 127 * z);
        }
        return made;
    }();
    chull_ctx *made = nullptr;
    if (alloc_chull(&made) == 0 && get_chull(&cloud[0], &cloud[points], &cloud[2 * points], points, made) == 0)
        free_chull(made);
}

void project() {
    static std::vector<smap_sphere_pt> directions(kPoints);
    static std::vector<smap_screen_pt> pixels(kPoints);
    static const bool is_made = [] {
        const std::vector<int32_t> angles = noise<int32_t>(2 * kPoints);
        for (uint32_t i = 0; i < kPoints; ++i)
            directions[i] = {angles[2 * i] % 60000 - 20000, angles[2 * i + 1] % 60000 - 35000};
        return true;
    }();
    const smap_sphere_poly from = {is_made * kPoints, directions.data()};
    const smap_view view = {1920, 1080, 10240, -5120, 60 << 10};
    smap_screen_poly to = {kPoints, pixels.data()};
    static_cast<void>(smap_sphere_to_screen(&from, &view, &to));
}

constexpr struct {
    const char *name;
    void (*run)();
} kCases[] = {
    {"44.1 to 48 kHz", [] { resample(48000); }},
    {"44.1 to 8 kHz", [] { resample(8000); }},
    {"4:2:2 to RGB", unpack},
    {"RGB to BT.601", to_ycc},
    {"Base64 encode", encode},
    {"Base64 decode", decode},
    {"hull, cube of 100000", hull<100000, false>},
    {"hull, sphere of 100000", hull<100000, true>},
    {"hull, sphere of 10000", hull<10000, true>},
    {"sphere to screen", project},
};

} // namespace

#ifdef __wasm__
extern "C" {
[[clang::export_name("name")]] const char *case_name(size_t number) {
    return number < std::size(kCases) ? kCases[number].name : nullptr;
}
[[clang::export_name("run")]] void run_case(size_t number) { kCases[number].run(); }
}
#else
int main() {
    for (const auto &one : kCases) {
        std::clock_t best = CLOCKS_PER_SEC;
        for (int round = 0; round < 8; ++round) {
            const std::clock_t start = std::clock();
            one.run();
            best = std::min(best, std::clock() - start);
        }
        std::printf("%s\t%.9f\n", one.name, static_cast<double>(best) / CLOCKS_PER_SEC);
    }
    return 0;
}
#endif
