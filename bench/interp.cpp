// Tables through a few knots, against GSL's interpolation with its accelerator.
#include "ratios.hpp"
#include "tone_curve.hpp"
#include <vector>
#ifdef HAVE_GSL
#include <gsl/gsl_spline.h>
#endif

namespace {

const std::vector<interp_knot> kCurve = tone_curve();

template <class Value, class Fill>
void add(const std::string &case_name, const std::string &implementation, Fill fill) {
    ratios::add(case_name, implementation, [=](benchmark::State &state) {
        std::vector<Value> table(kEntries);
        for (auto _ : state) {
            fill(table);
            benchmark::DoNotOptimize(table.data());
            benchmark::ClobberMemory();
        }
        state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kEntries));
    });
}

#ifdef HAVE_GSL
template <class Value>
void add_gsl(const std::string &case_name, const gsl_interp_type *type) {
    std::vector<double> xs, ys;
    for (const interp_knot &knot : kCurve) {
        xs.push_back(knot.x);
        ys.push_back(knot.y);
    }
    add<Value>(case_name, "gsl", [=](std::vector<Value> &table) {
        gsl_interp_accel *accelerator = gsl_interp_accel_alloc();
        gsl_spline *spline = gsl_spline_alloc(type, kKnots);
        gsl_spline_init(spline, xs.data(), ys.data(), kKnots);
        for (size_t i = 0; i < kEntries; ++i)
            table[i] = static_cast<Value>(gsl_spline_eval(spline, static_cast<double>(i), accelerator));
        gsl_spline_free(spline);
        gsl_interp_accel_free(accelerator);
    });
}
#endif

template <class Value>
void add_case(const std::string &case_name, uint32_t type, int32_t (*interpolate)(const interp_curve *, Value *),
              [[maybe_unused]] bool is_spline) {
    add<Value>(case_name, "vela", [=](std::vector<Value> &table) {
        const interp_curve curve = {type, kKnots, kCurve.data()};
        interpolate(&curve, table.data());
    });
#ifdef HAVE_GSL
    add_gsl<Value>(case_name, is_spline ? gsl_interp_cspline : gsl_interp_linear);
#endif
    if (is_spline)
        ratios::bar(case_name, 5);
}

const bool registered = [] {
    add_case<int16_t>("spline, 16 bits", INTERP_SPLI, interpolate_c, true);
    add_case<float>("spline, single precision", INTERP_SPLI, interpolate_float, true);
    add_case<int16_t>("line, 16 bits", INTERP_LINE, interpolate_c, false);
    return true;
}();

} // namespace
