// What several threads may call at once, from four of them in a fresh process: each gets what one alone gets, and
// ThreadSanitizer sees no race (the preset tsan).
#include "generated.hpp"
#include "support.hpp"
#include <array>
#include <thread>
#include <vela/vela.h>
#include <vela/vela.hpp>

namespace {

constexpr int kThreads = 4;
using bytes = std::vector<uint8_t>;

// The results' bytes, one after the other.
template <class T>
void add(std::string &results, const std::vector<T> &values) {
    results.append(reinterpret_cast<const char *>(values.data()), values.size() * sizeof(T));
}

std::string texts(uint32_t seed) {
    const bytes data = noise<uint8_t>(1000, seed);
    std::string code(1337, '\0'), hex(2000, '\0');
    bytes back(1000);
    const int32_t length = base64_encode(data.data(), 1000, code.data(), 1337);
    back.resize(base64_decode(code.data(), static_cast<uint32_t>(length), back.data(), 1000));
    bin2hex(data.data(), 1000, hex.data());
    char form[3001] = "";
    code += std::to_string(url_encode(data.data(), 1000, form, sizeof form)) + form + hex + http_strerr(404);
    add(code, back);
    const auto url = value_of(vela::url::parse("http://user@host:80/path?" + hex));
    return code + std::string(value_of(url.query())) + std::string(value_of(url.host()));
}

std::string numbers(uint32_t seed) {
    std::vector<float> values;
    std::string results;
    for (const uint8_t byte : noise<uint8_t>(64, seed))
        values.push_back(static_cast<float>(byte));
    add(results, value_of(vela::decompose(value_of(vela::matrix::of(8, 8, values)))).values);
    for (int32_t i = 0; i < 1000; ++i)
        add(results, std::vector<int32_t>{sinQ10inQ12out(i * 999), Lanczos_q15(3, i * 64), reciprocal(i + 1, 8)});
    std::vector<int16_t> table(1001);
    const interp_knot knots[] = {{0, 0}, {static_cast<int16_t>(100 + seed), 250}, {1000, -70}};
    for (const auto method : {vela::curve::method::line, vela::curve::method::fixed_spline})
        if (value_of(vela::curve::make(method, knots)).fill(table))
            add(results, table);
    return results;
}

std::string pictures(uint32_t seed) {
    const bytes pixels = noise<uint8_t>(3000, seed);
    bytes converted(3000);
    std::string results;
    for (auto *convert : {srgb_to_yccfull, yccfull_to_srgb, srgb_to_yccbt601, yccbt709_to_srgb}) {
        convert(pixels.data(), converted.data(), 1000);
        add(results, converted);
    }
    const smap_view view = {640, 480, 0, 0, 60 << 10};
    for (int32_t x = 0; x < 640; x += 7) {
        const smap_screen_pt pixel = {x, static_cast<int32_t>(seed)};
        smap_sphere_pt point;
        smap_screen_pt again = {};
        smap_screen_pt_to_sphere_pt(&pixel, &view, &point);
        const int is_seen = smap_sphere_pt_to_screen_pt(&point, &view, &again);
        add(results, std::vector<int32_t>{point.pan, point.tilt, is_seen, again.x, again.y});
    }
    return results;
}

std::string sounds(uint32_t seed) {
    const bytes samples = noise<uint8_t>(2000, seed);
    std::string results;
    for (const auto kernel : {vela::resampler::kernel::bilinear, vela::resampler::kernel::lanczos}) {
        auto converter = value_of(vela::resampler::make(16000, 44100, kernel));
        bytes out;
        if (converter.push(samples, vela::resampler::format::alaw, out, vela::resampler::format::little_endian))
            add(results, out);
    }
    return results;
}

const vela::hull &shared_hull() {
    static const vela::hull hull = value_of(vela::hull::of_pixels(noise<uint8_t>(300, 9)));
    return hull;
}

std::string hulls(uint32_t seed) {
    const bytes pixels = noise<uint8_t>(300, seed);
    const vela::hull hull = value_of(vela::hull::of_pixels(pixels));
    std::string results = std::to_string(chull_volume6(hull.get())) + std::to_string(chull_num_faces(hull.get()));
    for (size_t i = 0; i < 300; i += 3)
        results += std::to_string(is_in_chull(shared_hull().get(), pixels[i], pixels[i + 1], pixels[i + 2]));
    return results;
}

std::string system_calls(uint32_t) {
    struct timeval now = {};
    std::string results =
        std::to_string(gettime(&now)) + std::to_string(is_dir("/proc/self")) + std::to_string(exists("/none"));
    const auto walk = vela::walk::make("/proc/self", "stat*");
    results += walk ? "walked" : "not walked";
    uint8_t id[16], same[16];
    char text[39];
    uuid_create(id);
    uuid_sprint(text, id);
    const int code = uuid_scan(text, same);
    return results + std::to_string(code) + std::to_string(uuid_compare(id, same)) + std::to_string(randint(3, 3));
}

} // namespace

TEST(four_threads_get_what_one_gets) {
    const auto parts = {texts, numbers, pictures, sounds, hulls, system_calls};
    std::array<std::vector<std::string>, kThreads> results;
    std::vector<std::thread> threads;
    shared_hull();
    for (uint32_t seed = 0; seed < kThreads; ++seed)
        threads.emplace_back([&, seed] {
            for (int round = 0; round < 3; ++round)
                for (const auto part : parts)
                    results[seed].push_back(part(seed));
        });
    for (std::thread &thread : threads)
        thread.join();
    for (uint32_t seed = 0; seed < kThreads; ++seed)
        for (size_t i = 0; i < results[seed].size(); ++i)
            ck_assert_msg(results[seed][i] == parts.begin()[i % parts.size()](seed), "part %zu, seed %u", i, seed);
}
