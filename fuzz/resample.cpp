// A stream cut into calls of any counts, and into pushes in C++, from one format to another, gives the outputs of the
// definition; and so does each call on a record that its caller changes between calls.
#include "../tests/models/resample.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto below = [&](uint32_t end) { return data.ConsumeIntegralInRange<uint32_t>(0, end - 1); };
    const uint32_t out_rate = 1 + below(60), in_rate = 1 + below(60), kernel = model::kKernels[below(3)];
    const uint32_t from = model::kFormats[below(4)], to = model::kFormats[below(4)];
    const uint32_t lobes = below(6);
    fuzz::cuts cuts(data);
    const auto in = data.ConsumeRemainingBytes<uint8_t>();
    const auto cut = [&] { return cuts.numbers.remaining_bytes() ? cuts.next(0, 90) : 400; };
    const auto state = model::make_converter(out_rate, in_rate, kernel);
    init_lanczos(state.get(), static_cast<int32_t>(lobes)); // 0: the kernel stays
    model::expect_stream(*state, in, from, to, "the stream", cut);
    model::expect_pushes(value_of(vela::resampler::with_lobes(out_rate, in_rate, lobes + 1)), in, from, to, "pushes",
                         cut);
    model::changed_record record;
    std::string name = "changes";
    while (cuts.numbers.remaining_bytes()) {
        name += ", " + record.change([&](uint32_t end) { return cuts.next(0, end - 1); });
        const auto count = std::min<size_t>(in.size() / model::size_of(from), cuts.next(1, 400)) * model::size_of(from);
        if (count && cuts.next(0, 1))
            model::expect_call(*record.made, {in.begin(), in.begin() + static_cast<ptrdiff_t>(count)}, from, to,
                               cuts.next(1, 400), name);
    }
    return 0;
}
