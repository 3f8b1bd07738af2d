// The colours of a view, and the hull around them.
//
//   GET /api/gamut      a view, [points]: the hull as JSON
//   GET /api/gamut/off  the same as an OFF file
#include "../device/eye.hpp"
#include "../device/store.hpp"
#include <fcntl.h>
#include <map>
#include <sys/mman.h>
#include <unistd.h>
#include <vela/cpp/hull.hpp>

namespace {

using web::exchange;
using web::refusal;

// So many pixels, evenly over the picture.
std::vector<uint8_t> sample(const picture::frame &seen, size_t points) {
    const size_t all = seen.pixels.size() / 3;
    points = std::min(points, all);
    std::vector<uint8_t> pixels;
    for (size_t i = 0; i < points; ++i) {
        const auto from = seen.pixels.begin() + static_cast<ptrdiff_t>(3 * (i * all / points));
        pixels.insert(pixels.end(), from, from + 3);
    }
    return pixels;
}

struct cloud {
    size_t samples;
    vela::hull hull;
};

cloud look(const exchange &one) {
    const sight what = read_sight(one);
    const auto points = static_cast<size_t>(one.whole("points", 16, 4096, 1024));
    eye sensor;
    const std::vector<uint8_t> pixels = sample(sensor.look(what, state::now(), eye::marks::none), points);
    auto colours = vela::hull::of_pixels(pixels);
    if (!colours)
        throw refusal{409, "the colours of this view have no volume"};
    return {pixels.size() / 3, std::move(*colours)};
}

void send_json(exchange &one) {
    const auto [samples, colours] = look(one);
    std::map<const chull_vertex *, size_t> numbers;
    web::json::array vertices, faces;
    for (const chull_vertex &each : colours.vertices()) {
        const auto p = vela::hull::point_of(each);
        numbers.emplace(&each, numbers.size());
        vertices.raw("[" + std::to_string(p.x) + "," + std::to_string(p.y) + "," + std::to_string(p.z) + "]");
    }
    for (const chull_face &each : colours.faces())
        faces.raw("[" + std::to_string(numbers[each.vert[0]]) + "," + std::to_string(numbers[each.vert[1]]) + "," +
                  std::to_string(numbers[each.vert[2]]) + "]");
    one.json(web::json::object()
                 .add("samples", static_cast<double>(samples))
                 .raw("vertices", vertices.text())
                 .raw("faces", faces.text())
                 .add("volume", colours.volume() / (255.0 * 255.0 * 255.0), 6)
                 .text());
}

// The file is one of memory.
void send_off(exchange &one) {
    cloud seen = look(one);
    const int file = memfd_create("hull", MFD_CLOEXEC);
    std::string body;
    if (file >= 0 && seen.hull.write_off(("/proc/self/fd/" + std::to_string(file)).c_str())) {
        char buffer[4096];
        for (ssize_t got; (got = pread(file, buffer, sizeof buffer, static_cast<off_t>(body.size()))) > 0;)
            body.append(buffer, static_cast<size_t>(got));
    }
    if (file >= 0)
        close(file);
    if (body.empty())
        throw store::trouble{"the hull can't be written"};
    one.response().header("Content-Disposition", "attachment; filename=\"colours.off\"");
    one.answer("text/plain; charset=utf-8", body);
}

} // namespace

int main() { return web::run({{"GET", "", send_json}, {"GET", "/off", send_off}}); }
