// The same twice, by the C functions (c_...) and by an owner (cpp_...): owners.sh compares their code.
#include <vela/cpp/hull.hpp>
#include <vela/cpp/resampler.hpp>

extern "C" {

void use(resample_state *made);

bool c_resampler(uint32_t out_rate, uint32_t in_rate) {
    resample_state *made = resample_alloc(out_rate, in_rate, RESAMPLE_LAN2);
    if (!made)
        return false;
    use(made);
    resample_reset(made);
    resample_free(made);
    return true;
}

bool cpp_resampler(uint32_t out_rate, uint32_t in_rate) {
    auto made = vela::resampler::make(out_rate, in_rate, vela::resampler::kernel::lanczos2);
    if (!made)
        return false;
    use(made->get());
    made->reset();
    return true;
}

double c_hull(const chull_ctx *const *one) { return (*one)->faces ? chull_volume6(*one) / 6.0 : -1; }
double cpp_hull(const vela::hull &one) { return one.empty() ? -1 : one.volume(); }
}
