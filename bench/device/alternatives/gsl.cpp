#include "../device.hpp"
#include <gsl/gsl_spline.h>
#include <vector>

static const device::cases registered([] {
    constexpr size_t kKnots = 16, kEntries = 4096;
    device::add("gsl_spline_eval", "entry", kEntries, [] {
        std::vector<double> xs(kKnots), ys(kKnots);
        for (size_t i = 0; i < kKnots; ++i) {
            xs[i] = static_cast<double>(i * 273 + (i % 3 == 1 ? 40 : 0));
            ys[i] = static_cast<double>(i * i * 10) - static_cast<double>(i * 70);
        }
        return [=, table = std::vector<double>(kEntries)]() mutable {
            gsl_interp_accel *position = gsl_interp_accel_alloc();
            gsl_spline *spline = gsl_spline_alloc(gsl_interp_cspline, kKnots);
            gsl_spline_init(spline, xs.data(), ys.data(), kKnots);
            for (size_t i = 0; i < table.size() && i <= xs.back(); ++i)
                table[i] = gsl_spline_eval(spline, static_cast<double>(i), position);
            gsl_spline_free(spline);
            gsl_interp_accel_free(position);
        };
    });
});
