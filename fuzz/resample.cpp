// A stream cut into calls of any counts gives the outputs of the definition.
#include "../tests/models/resample.hpp"
#include "fuzz.hpp"
#include <memory>

namespace {

constexpr uint32_t kKernels[] = {RESAMPLE_LANC, RESAMPLE_LAN2, RESAMPLE_BILI};
constexpr uint32_t kFormats[] = {RESAMPLE_LEND, RESAMPLE_BEND, RESAMPLE_ALAW, RESAMPLE_ULAW};

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto out_rate = data.ConsumeIntegralInRange<uint32_t>(1, 60),
               in_rate = data.ConsumeIntegralInRange<uint32_t>(1, 60);
    const uint32_t kernel = data.PickValueInArray(kKernels), in_format = data.PickValueInArray(kFormats),
                   out_format = data.PickValueInArray(kFormats);
    const auto lobes = data.ConsumeIntegralInRange<int32_t>(0, 5);
    fuzz::cuts cuts(data);
    const auto in = data.ConsumeRemainingBytes<uint8_t>();
    const std::unique_ptr<resample_state, void (*)(resample_state *)> state(resample_alloc(out_rate, in_rate, kernel),
                                                                            resample_free);
    assert(state);
    init_lanczos(state.get(), lobes); // 0: the kernel stays
    const model::samples samples = model::decoded(in, in_format);
    const model::bytes expected = model::encoded(model::resampled(*state, samples), out_format);

    model::bytes out;
    const uint32_t in_size = model::size_of(in_format), out_size = model::size_of(out_format);
    auto left = static_cast<uint32_t>(samples.size());
    const auto convert = [&](uint32_t count, uint32_t room) {
        count = std::min(count, left);
        const auto *from = in.data() + (samples.size() - left) * in_size;
        const model::bytes piece(from, from + count * in_size);
        model::bytes made(room * out_size);
        uint32_t used = count, written = room;
        resample_mono(state.get(), piece.data(), &used, made.data(), &written, in_format, out_format);
        assert(used <= count && written <= room);
        left -= used;
        out.insert(out.end(), made.begin(), made.begin() + static_cast<std::ptrdiff_t>(written * out_size));
        return used || written;
    };
    while (cuts.numbers.remaining_bytes()) {
        const uint32_t count = cuts.next(0, 40);
        convert(count, cuts.next(0, 90));
    }
    // A call may leave samples that no output needs yet; the next one takes them.
    while (convert(left, left * out_rate / in_rate + 2)) {
    }
    assert(out == expected);
    return 0;
}
