// The same twice, by the C functions (c_...) and by an owner (cpp_...): owners.sh compares their code.
#include <vela/cpp/hull.hpp>
#include <vela/cpp/matrix.hpp>
#include <vela/cpp/resampler.hpp>

extern "C" {

void use_matrix(const fmatrix *made);
void use_state(resample_state *made);

bool c_matrix(int32_t rows, int32_t cols) {
    fmatrix *made = malloc_matrix(rows, cols);
    if (!made)
        return false;
    use_matrix(made);
    free_matrix(made);
    return true;
}

bool cpp_matrix(int32_t rows, int32_t cols) {
    const auto made = vela::matrix::adopt(malloc_matrix(rows, cols));
    if (!made)
        return false;
    use_matrix(made->get());
    return true;
}

bool c_resampler(uint32_t out_rate, uint32_t in_rate) {
    resample_state *made = resample_alloc(out_rate, in_rate, RESAMPLE_LAN2);
    if (!made)
        return false;
    use_state(made);
    resample_reset(made);
    resample_free(made);
    return true;
}

bool cpp_resampler(uint32_t out_rate, uint32_t in_rate) {
    auto made = vela::resampler::make(out_rate, in_rate, vela::resampler_kernel::lanczos2);
    if (!made)
        return false;
    use_state(made->get());
    made->reset();
    return true;
}

double c_hull(const chull_ctx *const *one) { return (*one)->faces ? chull_volume6(*one) / 6.0 : -1; }

double cpp_hull(const vela::hull &one) { return one.empty() ? -1 : one.volume(); }
}
