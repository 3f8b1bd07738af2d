// Errors of the sines of <vela/fixedpoint.h> in units of the last place. Prints three blocks: angle in degrees and the
// least, mean and greatest error of sinQ10inQ12out() over half a degree; its errors within one degree; those of
// sin_q15().
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <vela/fixedpoint.h>

namespace {

// At an angle in Q10 degrees.
double table_error(int32_t angle) {
    return sinQ10inQ12out(angle) - 4096 * std::sin(angle / 1024.0 * std::numbers::pi / 180);
}

// At an angle in Q15 radians.
double parabola_error(int32_t angle) { return sin_q15(angle) - 32768 * std::sin(angle / 32768.0); }

} // namespace

int main() {
    constexpr int32_t kStep = 512;
    for (int32_t begin = 0; begin < 90 * 1024; begin += kStep) {
        double least = 0, greatest = -1e9, sum = 0;
        for (int32_t angle = begin; angle < begin + kStep; ++angle) {
            const double error = table_error(angle);
            least = std::min(least, error);
            greatest = std::max(greatest, error);
            sum += error;
        }
        std::printf("%g %g %g %g\n", (begin + kStep / 2.0) / 1024, least, sum / kStep, greatest);
    }
    std::puts("\n");
    for (int32_t angle = 10 * 1024; angle <= 11 * 1024; angle += 4)
        std::printf("%g %g\n", angle / 1024.0, table_error(angle));
    std::puts("\n");
    for (double degrees = 0; degrees <= 90; degrees += 0.25)
        std::printf("%g %g\n", degrees, parabola_error(static_cast<int32_t>(degrees * 32768 * std::numbers::pi / 180)));
}
