#include "../device.hpp"
#include <cmath>
#include <cstdio>
#include <ctime>
#include <random>
#include <vector>
extern "C" {
#include <libqhull_r/libqhull_r.h>
}

// The clock stands still: the library numbers its runs by it and formats the number, which would make the counts
// differ.
extern "C" time_t time(time_t *seconds) {
    if (seconds)
        *seconds = 0;
    return 0;
}
extern "C" clock_t clock() { return 0; }

static constexpr int kPoints = 10000;

// Points of the whole 8-bit range, or of the sphere that fits in it: those of the library's own cases.
static std::vector<double> cloud_of(bool shell, size_t count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(-1, 1);
    std::vector<double> points;
    while (points.size() < 3 * count) {
        const double v[3] = {unit(random), unit(random), unit(random)};
        const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        if (shell && (length > 1 || length < 0.1))
            continue;
        for (const double value : v)
            points.push_back(static_cast<double>(std::lround(127.5 + 127.5 * value / (shell ? length : 1))));
    }
    return points;
}

static const device::cases registered([] {
    for (const bool shell : {false, true})
        device::add(std::string("qh_new_qhull/") + (shell ? "shell" : "cube"), "point", kPoints, [=] {
            return [points = cloud_of(shell, kPoints)](unsigned times) mutable {
                FILE *nowhere = std::fopen("/dev/null", "w");
                while (times--) {
                    char command[] = "qhull ";
                    qhT qhull = {};
                    qh_zero(&qhull, nowhere);
                    qh_new_qhull(&qhull, 3, kPoints, points.data(), False, command, nowhere, nowhere);
                    int remaining, blocks;
                    qh_freeqhull(&qhull, qh_ALL);
                    qh_memfreeshort(&qhull, &remaining, &blocks);
                }
                std::fclose(nowhere);
            };
        });
});
