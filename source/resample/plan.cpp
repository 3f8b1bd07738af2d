// The rows of a kernel table, and whether they are still those of the record's table.
#include "plan.hpp"
#include "common/memory.hpp"
#include "compare.hpp"
#include "filter.hpp"
#include <algorithm>
#include <cstdlib>
#include <new>

using namespace vela::detail;

namespace {

constexpr uint32_t kMostPhases = UINT16_MAX;
constexpr uint32_t kShortestCycle = 32;
constexpr uintptr_t kTableAlignment = 4; // for the comparison

// The dimensions of a record's filter as rows: none for a filter that only the conversion by the table can do. Taps
// beyond the history are left out.
struct row_layout {
    uint32_t taps = 0, cycle = 0, rows = 0;
    uint32_t coeffs = 0; // number of the table's coefficients in the rows
    uint32_t first_outputs = 0, first_samples = 0;

    [[gnu::cold, gnu::noinline]] explicit row_layout(const resample_state &state) {
        const uint32_t phases = state.interp_factor, ahead = window_ahead(state.history_len);
        if (phases == 0 || phases > kMostPhases || state.decim_factor == 0 || state.num_coeffs == 0 ||
            state.coeff_shift != kCoefficientBits || ahead >= kWindow)
            return;
        coeffs = std::min<uint32_t>(state.num_coeffs, (state.history_len + 1U) * phases);
        taps = (coeffs - 1) / phases / kTapsMultiple * kTapsMultiple + kTapsMultiple;

        const uint64_t L = phases, M = state.decim_factor, latest_phase = std::max(L, M) - 1;
        const uint64_t reaching = ((taps - 1) * L - 1) / M + 1, groups = (reaching + kOutputs - 1) / kOutputs;
        for (const uint64_t outputs : {groups * kOutputs, reaching}) {
            const uint64_t samples = (latest_phase + (outputs - 1) * M) / L + 1;
            if (samples > kWindow - ahead)
                continue;
            first_outputs = static_cast<uint32_t>(outputs);
            first_samples = static_cast<uint32_t>(samples);
            cycle = (kShortestCycle + phases - 1) / phases * phases;
            rows = (cycle + kOutputs) / 2 * 2; // an even number of starts, for the alignment of the rows after them
            return;
        }
    }

    size_t size() const { return rows * sizeof(uint32_t) + (size_t{rows} * taps + coeffs) * sizeof(int16_t); }
};

// Whether the plan was made from the record's current values.
bool is_current(const resample_plan &plan, const resample_state &state) {
    return plan.interp_factor == state.interp_factor && plan.decim_factor == state.decim_factor &&
           plan.num_coeffs == state.num_coeffs && plan.coeff_shift == state.coeff_shift &&
           plan.history_len == state.history_len && plan.max_simd == vela_max_simd &&
           are_equal(plan.coeffs, state.coeffs, plan.copied, plan.filter.groups);
}

[[gnu::cold]] void write_row(const resample_state &state, uint32_t phase, const row_layout &layout, int16_t *row) {
    for (uint32_t i = layout.taps, k = phase; i--; k += state.interp_factor)
        row[i] = k < layout.coeffs ? state.coeffs[k] : int16_t{0};
}

[[gnu::cold]] void write_rows(resample_plan &plan, const resample_state &state, const row_layout &layout) {
    const uint32_t L = state.interp_factor, M = state.decim_factor;
    polyphase &filter = plan.filter;
    for (uint32_t row = 0, phase = 0, start = 0; row < layout.rows; ++row) {
        filter.starts[row] = start;
        write_row(state, phase, layout, filter.rows + size_t{row} * layout.taps);
        if (phase == 1 % L) {
            plan.row_of_phase_1 = row % L;
            filter.cycle = layout.cycle; // has every phase, since the factors have no common divisor
        }
        start += M / L;
        phase += M % L;
        if (phase >= L) {
            phase -= L;
            ++start;
        }
    }
}

// Rebuilds the rows, or removes them if the block is too small.
[[gnu::cold, gnu::noinline]] void rebuild(resample_plan &plan, const resample_state &state) {
    const row_layout layout(state);
    polyphase &filter = plan.filter;
    filter.cycle = 0;
    plan.num_coeffs = 0;
    plan.copied = 0;
    if (layout.rows == 0 || layout.size() > plan.capacity)
        return;
    filter.starts = reinterpret_cast<uint32_t *>(&plan + 1);
    filter.rows = reinterpret_cast<int16_t *>(filter.starts + layout.rows);
    filter.taps = layout.taps;
    filter.cycle_span = static_cast<uint32_t>(uint64_t{layout.cycle} * state.decim_factor / state.interp_factor);
    write_rows(plan, state, layout);
    choose_functions(filter, has_simd());
    plan.first_outputs = layout.first_outputs;
    plan.first_samples = layout.first_samples;

    plan.interp_factor = state.interp_factor;
    plan.decim_factor = state.decim_factor;
    plan.num_coeffs = state.num_coeffs;
    plan.coeff_shift = state.coeff_shift;
    plan.history_len = state.history_len;
    plan.max_simd = vela_max_simd;
    int16_t *copy = filter.rows + size_t{layout.rows} * layout.taps;
    std::copy_n(state.coeffs, layout.coeffs, copy);
    plan.coeffs = copy;
    plan.copied = layout.coeffs;
    plan.at = {0, static_cast<int32_t>(1 - layout.taps)};
    plan.phase = 0;
}

} // namespace

namespace vela::detail {

[[gnu::cold]] bool make_plan(resample_state &state) {
    const size_t size = row_layout(state).size();
    if (state.plan && size <= state.plan->capacity)
        return true;
    owned<uint8_t[]> block = allocate<uint8_t>(sizeof(resample_plan) + size);
    if (!block)
        return false;
    std::free(state.plan);
    state.plan = new (block.release()) resample_plan;
    state.plan->capacity = size;
    return true;
}

resample_plan *refresh_plan(const resample_state &state) {
    if (!state.plan || reinterpret_cast<uintptr_t>(state.coeffs) % kTableAlignment != 0 ||
        state.phase >= std::max(state.interp_factor, state.decim_factor))
        return nullptr;
    if (!is_current(*state.plan, state))
        rebuild(*state.plan, state);
    return state.plan->filter.cycle ? state.plan : nullptr;
}

} // namespace vela::detail
