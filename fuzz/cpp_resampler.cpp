// A stream pushed in pieces of any size, from one format to another, gives the outputs of the definition; and with its
// end those of one push.
#include "../tests/models/resample.hpp"
#include "fuzz.hpp"
#include <vela/cpp/resampler.hpp>

namespace {

constexpr vela::sample_format kFormats[] = {vela::sample_format::little_endian, vela::sample_format::big_endian,
                                            vela::sample_format::alaw, vela::sample_format::ulaw};

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto rate = [&] { return data.ConsumeIntegralInRange<uint32_t>(1, 24); };
    const uint32_t out_rate = rate(), in_rate = rate(), lobes = data.ConsumeIntegralInRange<uint32_t>(1, 5);
    const auto from = data.PickValueInArray(kFormats), to = data.PickValueInArray(kFormats);
    fuzz::cuts cuts(data);
    const auto in = data.ConsumeRemainingBytes<uint8_t>();
    auto in_pieces = vela::resampler::with_lobes(out_rate, in_rate, lobes),
         in_one_go = vela::resampler::with_lobes(out_rate, in_rate, lobes);
    assert(in_pieces && in_one_go);
    const auto samples = model::decoded(in, static_cast<uint32_t>(from));
    const auto expected = model::encoded(model::resampled(*in_one_go->get(), samples), static_cast<uint32_t>(to));

    model::bytes out;
    const size_t each = vela::size_of(from);
    for (size_t at = 0, count; at < samples.size(); at += count) {
        count = std::min<size_t>(cuts.next(1, 300), samples.size() - at);
        const model::bytes piece(in.begin() + static_cast<std::ptrdiff_t>(at * each),
                                 in.begin() + static_cast<std::ptrdiff_t>((at + count) * each));
        const size_t due = out.size() + static_cast<size_t>(in_pieces->outputs_of(count)) * vela::size_of(to);
        assert(in_pieces->push(piece, from, out, to) && out.size() == due);
    }
    assert(out == expected);

    model::samples whole;
    in_one_go->push(samples, whole);
    in_one_go->flush(whole);
    in_pieces->flush(out, to);
    assert(out == model::encoded(whole, static_cast<uint32_t>(to)));
    return 0;
}
