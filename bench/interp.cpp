// Tables through a few knots, against GSL's interpolation with its accelerator, and the error of each against GSL in
// double.
#include "inputs.hpp"
#include "ratios.hpp"
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>
#ifdef HAVE_GSL
#include <gsl/gsl_spline.h>
#endif

namespace {

const std::vector<interp_knot> kCurve = tone_curve();

#ifdef HAVE_GSL
template <class Value>
void fill_by_gsl(std::vector<Value> &table, const gsl_interp_type *type) {
    std::vector<double> xs, ys;
    for (const interp_knot &knot : kCurve) {
        xs.push_back(knot.x);
        ys.push_back(knot.y);
    }
    gsl_interp_accel *accelerator = gsl_interp_accel_alloc();
    gsl_spline *spline = gsl_spline_alloc(type, kKnots);
    gsl_spline_init(spline, xs.data(), ys.data(), kKnots);
    for (size_t i = 0; i < kEntries; ++i)
        table[i] = static_cast<Value>(gsl_spline_eval(spline, static_cast<double>(i), accelerator));
    gsl_spline_free(spline);
    gsl_interp_accel_free(accelerator);
}
#endif

template <class Value, class Fill>
void add(const std::string &case_name, const std::string &implementation, [[maybe_unused]] bool is_spline, Fill fill) {
    ratios::add(case_name, implementation, kEntries,
                [=, table = std::vector<Value>(kEntries)]() mutable { fill(table); });
#ifdef HAVE_GSL
    ratios::add({case_name, "worst error of an entry", implementation, [=] {
                     std::vector<Value> table(kEntries);
                     std::vector<double> exact(kEntries);
                     fill(table);
                     fill_by_gsl(exact, is_spline ? gsl_interp_cspline : gsl_interp_linear);
                     double worst = 0;
                     for (size_t i = 0; i < kEntries; ++i)
                         worst = std::max(worst, std::fabs(static_cast<double>(table[i]) - exact[i]));
                     return worst;
                 }});
#endif
}

template <class Value>
void add_case(const std::string &case_name, uint32_t type, int32_t (*interpolate)(const interp_curve *, Value *),
              bool is_spline) {
    add<Value>(case_name, "vela", is_spline, [=](std::vector<Value> &table) {
        const interp_curve curve = {type, kKnots, kCurve.data()};
        interpolate(&curve, table.data());
    });
#ifdef HAVE_GSL
    add<Value>(case_name, "gsl", is_spline, [=](std::vector<Value> &table) {
        fill_by_gsl(table, is_spline ? gsl_interp_cspline : gsl_interp_linear);
    });
#endif
    if (is_spline)
        ratios::target(case_name, 5);
}

const bool registered = [] {
    add_case<int16_t>("spline, 16 bits", INTERP_SPLI, interpolate_c, true);
    add_case<float>("spline, single precision", INTERP_SPLI, interpolate_float, true);
    add_case<int16_t>("line, 16 bits", INTERP_LINE, interpolate_c, false);
    return true;
}();

} // namespace
