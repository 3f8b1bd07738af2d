#include "fuzz.hpp"
#include <memory>
#include <vela/resample.h>

namespace {

constexpr uint32_t kKernels[] = {RESAMPLE_LANC, RESAMPLE_LAN2, RESAMPLE_BILI};
constexpr uint32_t kFormats[] = {RESAMPLE_LEND, RESAMPLE_BEND, RESAMPLE_ALAW, RESAMPLE_ULAW};

uint32_t width_of(uint32_t format) { return format == RESAMPLE_LEND || format == RESAMPLE_BEND ? 2 : 1; }

struct conversion {
    uint32_t out_rate, in_rate, kernel, in_format, out_format;

    using state = std::unique_ptr<resample_state, void (*)(resample_state *)>;
    state begin() const { return {resample_alloc(out_rate, in_rate, kernel), resample_free}; }
};

// Converts what follows the samples used so far, at most so many, into so much room; says whether anything happened.
bool convert(const conversion &how, resample_state *state, const std::vector<char> &in, size_t *used, uint32_t count,
             uint32_t room, std::vector<char> *out) {
    const uint32_t in_width = width_of(how.in_format), out_width = width_of(how.out_format);
    const std::vector<char> piece(in.begin() + static_cast<long>(*used * in_width),
                                  in.begin() + static_cast<long>((*used + count) * in_width));
    std::vector<char> made(room * out_width);
    uint32_t consumed = count, written = room;
    resample_mono(state, piece.data(), &consumed, made.data(), &written, how.in_format, how.out_format);
    assert(consumed <= count && written <= room);
    *used += consumed;
    out->insert(out->end(), made.begin(), made.begin() + static_cast<long>(written * out_width));
    return consumed || written;
}

} // namespace

// A stream cut into calls of any counts gives the bytes of one call.
int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const conversion how = {data.ConsumeIntegralInRange<uint32_t>(1, 60), data.ConsumeIntegralInRange<uint32_t>(1, 60),
                            data.PickValueInArray(kKernels), data.PickValueInArray(kFormats),
                            data.PickValueInArray(kFormats)};
    const auto cut_bytes = data.ConsumeBytes<uint8_t>(data.ConsumeIntegralInRange<size_t>(0, 64));
    fuzz::source cuts(cut_bytes.data(), cut_bytes.size());
    const std::vector<char> in = fuzz::rest(data);
    const size_t total = in.size() / width_of(how.in_format);

    const auto whole_state = how.begin(), cut_state = how.begin();
    assert(whole_state && cut_state);
    std::vector<char> whole, cut;
    size_t used = 0, used_of_cut = 0;
    const auto room = static_cast<uint32_t>(total * how.out_rate / how.in_rate + 2);
    // A call may leave samples that no output needs yet; the next one takes them.
    const auto finish = [&](resample_state *state, size_t *at, std::vector<char> *out) {
        while (convert(how, state, in, at, static_cast<uint32_t>(total - *at), room, out)) {
        }
    };
    finish(whole_state.get(), &used, &whole);

    while (cuts.remaining_bytes()) {
        const auto count = cuts.ConsumeIntegralInRange<uint32_t>(0, 40);
        convert(how, cut_state.get(), in, &used_of_cut, std::min(count, static_cast<uint32_t>(total - used_of_cut)),
                cuts.ConsumeIntegralInRange<uint32_t>(0, 40), &cut);
    }
    finish(cut_state.get(), &used_of_cut, &cut);
    assert(cut == whole);
    assert(used == used_of_cut);
    assert(whole_state->phase == cut_state->phase);
    return 0;
}
