// The hull of the colours of a view.
//
//   GET /api/gamut/off  a view, [points]: the hull as an OFF file
#include "../device/eye.hpp"
#include "../device/store.hpp"
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vela/cpp/hull.hpp>

namespace {

using web::exchange;
using web::refusal;

// Pixels at equal distances over the picture.
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

// write_off() wants a path: that of a file in memory.
void send_off(exchange &http) {
    const view_request what = read_view(http);
    const auto points = static_cast<size_t>(http.whole("points", 16, 4096, 1024));
    eye sensor;
    auto hull = vela::hull::of_pixels(sample(sensor.look(what, state::now(), eye::marks::none), points));
    if (!hull)
        throw refusal{409, "the colours of this view have no volume"};
    const int file = memfd_create("hull", MFD_CLOEXEC);
    std::string body;
    if (file >= 0 && hull->write_off(("/proc/self/fd/" + std::to_string(file)).c_str())) {
        char buffer[4096];
        for (ssize_t got; (got = pread(file, buffer, sizeof buffer, static_cast<off_t>(body.size()))) > 0;)
            body.append(buffer, static_cast<size_t>(got));
    }
    if (file >= 0)
        close(file);
    if (body.empty())
        throw store::failure{"the hull can't be written"};
    http.response().header("Content-Disposition", "attachment; filename=\"colours.off\"");
    http.answer("text/plain; charset=utf-8", body);
}

} // namespace

int main() { return web::run({{"GET", "/off", send_off}}); }
