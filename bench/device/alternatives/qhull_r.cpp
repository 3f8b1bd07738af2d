#include "../../clouds.hpp"
#include "../device.hpp"
#include <cstdio>
#include <ctime>
extern "C" {
#include <libqhull_r/libqhull_r.h>
}

// A clock that does not move: Qhull formats a number made from it, which would make the counts differ.
extern "C" time_t time(time_t *seconds) {
    if (seconds)
        *seconds = 0;
    return 0;
}
extern "C" clock_t clock() { return 0; }

static constexpr int kPoints = 10000;

static const device::cases registered([] {
    for (const clouds::shape kind : {clouds::shape::cube, clouds::shape::shell})
        device::add(std::string("qh_new_qhull/") + (kind == clouds::shape::shell ? "shell" : "cube"), "point", kPoints,
                    [=] {
                        return [points = clouds::cloud_of(kind, kPoints).interleaved(),
                                nowhere = std::fopen("/dev/null", "w")]() mutable {
                            char command[] = "qhull ";
                            qhT qhull = {};
                            qh_zero(&qhull, nowhere);
                            qh_new_qhull(&qhull, 3, kPoints, points.data(), False, command, nowhere, nowhere);
                            int remaining, blocks;
                            qh_freeqhull(&qhull, qh_ALL);
                            qh_memfreeshort(&qhull, &remaining, &blocks);
                        };
                    });
});
