// The windowed sinc kernels of <vela/fixedpoint.h>. Prints two blocks: x and Lanczos_q15(a, x) for a = 8, 4, 2, 1; x
// and the greatest error of sinc_q15(x), Lanczos_q15(2, x) and Lanczos_q15(8, x) near x.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <vela/fixedpoint.h>

namespace {

constexpr int32_t kOne = 32768;

double exact_sinc(double x) { return x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x); }

// In units of the last place. lobes 0: sinc_q15().
double error(int32_t lobes, int32_t x) {
    const double at = x * 1.0 / kOne;
    if (lobes == 0)
        return std::abs(sinc_q15(x) - kOne * exact_sinc(at));
    const double exact = at < lobes ? exact_sinc(at) * exact_sinc(at / lobes) : 0;
    return std::abs(Lanczos_q15(lobes, x) - kOne * exact);
}

} // namespace

int main() {
    for (int32_t x = -8 * kOne; x <= 8 * kOne; x += kOne / 16) {
        std::printf("%g", x * 1.0 / kOne);
        for (const int32_t lobes : {8, 4, 2, 1})
            std::printf(std::abs(x) <= lobes * kOne ? " %g" : " nan", Lanczos_q15(lobes, x) * 1.0 / kOne);
        std::puts("");
    }
    std::puts("\n");
    for (double begin = 10, end; begin < 10 * kOne; begin = end) { // eight ranges per doubling
        end = begin * std::exp2(0.125);
        std::printf("%g", std::sqrt(begin * end) / kOne);
        for (const int32_t lobes : {0, 2, 8}) {
            double greatest = 0;
            for (double x = std::ceil(begin); x < end; x += std::max(1.0, std::floor((end - begin) / 500)))
                greatest = std::max(greatest, error(lobes, static_cast<int32_t>(x)));
            std::printf(lobes == 0 || end <= lobes * kOne ? " %g" : " nan", greatest);
        }
        std::puts("");
    }
}
