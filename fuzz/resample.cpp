// A stream cut into calls of any counts gives the bytes of one call.
#include "fuzz.hpp"
#include <memory>
#include <vela/resample.h>

namespace {

constexpr uint32_t kKernels[] = {RESAMPLE_LANC, RESAMPLE_LAN2, RESAMPLE_BILI};
constexpr uint32_t kFormats[] = {RESAMPLE_LEND, RESAMPLE_BEND, RESAMPLE_ALAW, RESAMPLE_ULAW};

int width_of(uint32_t format) { return format == RESAMPLE_LEND || format == RESAMPLE_BEND ? 2 : 1; }

struct stream {
    uint32_t in_format, out_format, left; // samples
    std::vector<char>::const_iterator in;
    std::unique_ptr<resample_state, void (*)(resample_state *)> state;
    std::vector<char> out = {};

    // Converts at most so many samples into so much room; says whether anything happened.
    bool convert(uint32_t count, uint32_t room) {
        count = std::min(count, left);
        const std::vector<char> piece(in, in + static_cast<int>(count) * width_of(in_format));
        std::vector<char> made(room * static_cast<size_t>(width_of(out_format)));
        uint32_t used = count, written = room;
        resample_mono(state.get(), piece.data(), &used, made.data(), &written, in_format, out_format);
        assert(used <= count && written <= room);
        left -= used;
        in += static_cast<int>(used) * width_of(in_format);
        out.insert(out.end(), made.begin(), made.begin() + static_cast<int>(written) * width_of(out_format));
        return used || written;
    }
};

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto out_rate = data.ConsumeIntegralInRange<uint32_t>(1, 60),
               in_rate = data.ConsumeIntegralInRange<uint32_t>(1, 60);
    const uint32_t kernel = data.PickValueInArray(kKernels), in_format = data.PickValueInArray(kFormats),
                   out_format = data.PickValueInArray(kFormats);
    fuzz::cuts cuts(data);
    const std::vector<char> in = data.ConsumeRemainingBytes<char>();
    const auto total = static_cast<uint32_t>(in.size()) / static_cast<uint32_t>(width_of(in_format));
    const auto begin = [&] {
        return stream{
            in_format, out_format, total, in.begin(), {resample_alloc(out_rate, in_rate, kernel), resample_free}};
    };
    stream whole = begin(), cut = begin();
    assert(whole.state && cut.state);
    while (cuts.numbers.remaining_bytes()) {
        const uint32_t count = cuts.next(0, 40);
        cut.convert(count, cuts.next(0, 40));
    }
    // A call may leave samples that no output needs yet; the next one takes them.
    for (stream *each : {&whole, &cut})
        while (each->convert(total, total * out_rate / in_rate + 2)) {
        }
    assert(cut.out == whole.out && cut.left == whole.left && cut.state->phase == whole.state->phase);
    return 0;
}
