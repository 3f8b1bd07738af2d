#include "device.hpp"
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>
#include <vela/cpp/rate_converter.hpp>

namespace {

struct conversion {
    uint32_t in_rate, out_rate, kernel = RESAMPLE_LAN2, from = RESAMPLE_LEND, to = RESAMPLE_LEND;
};

// Converts `inputs` samples in one call: from a fresh start, or as a packet within a stream.
void add(const std::string &name, const conversion &c, uint32_t inputs, uint32_t outputs, bool is_fresh) {
    device::add(name, "output", outputs, [=] {
        std::shared_ptr<resample_state> state(resample_alloc(c.out_rate, c.in_rate, c.kernel), resample_free);
        std::vector<int16_t> in(inputs), out(outputs);
        for (uint32_t i = 0; i < inputs; ++i)
            in[i] = static_cast<int16_t>(i * 40503 >> 3);
        return [=]() mutable {
            uint32_t used = inputs, made = outputs;
            if (is_fresh)
                resample_reset(state.get());
            resample_mono(state.get(), in.data(), &used, out.data(), &made, c.from, c.to);
        };
    });
}

void add_block(const std::string &name, const conversion &c) {
    constexpr uint32_t kBlock = 4096;
    const auto outputs = static_cast<uint32_t>((uint64_t{kBlock} * c.out_rate + c.in_rate - 1) / c.in_rate);
    add("resample_mono/" + name, c, kBlock, outputs, true);
}

void add_packet(const std::string &name, const conversion &c, uint32_t milliseconds) {
    add("resample_mono/" + name + "/" + std::to_string(milliseconds) + "ms", c, c.in_rate * milliseconds / 1000,
        c.out_rate * milliseconds / 1000, false);
}

// The same through a filter bank.
void add_quality(const std::string &name, const conversion &c, vela::quality quality, uint32_t inputs) {
    const auto outputs = static_cast<uint32_t>(uint64_t{inputs} * c.out_rate / c.in_rate);
    device::add(name, "output", outputs, [=] {
        auto converter =
            std::make_shared<vela::rate_converter<>>(*vela::rate_converter<>::make(c.out_rate, c.in_rate, quality));
        std::vector<int16_t> in(inputs), out(outputs + 1);
        for (uint32_t i = 0; i < inputs; ++i)
            in[i] = static_cast<int16_t>(i * 40503 >> 3);
        return [=]() mutable { (void)converter->push(in, std::span(out)); };
    });
}

} // namespace

static const device::cases registered([] {
    const std::pair<std::string, uint32_t> kernels[] = {
        {"LAN2/", RESAMPLE_LAN2}, {"LANC/", RESAMPLE_LANC}, {"BILI/", RESAMPLE_BILI}};
    const std::pair<const char *, conversion> rates[] = {{"44100-48000", {44100, 48000}},
                                                         {"48000-8000", {48000, 8000}},
                                                         {"8000-16000", {8000, 16000}},
                                                         {"44100-8000", {44100, 8000}}};
    const conversion recoding = {8000, 16000, RESAMPLE_LAN2, RESAMPLE_ULAW, RESAMPLE_ALAW};
    for (const auto &[kernel, tag] : kernels)
        for (const auto &[pair, c] : rates)
            add_block(kernel + pair, {c.in_rate, c.out_rate, tag});
    add_block("LAN2/8000-16000/mu-law-to-A-law", recoding);
    const std::pair<std::string, vela::quality> qualities[] = {{"speech/", vela::quality::speech},
                                                               {"low/", vela::quality::low},
                                                               {"medium/", vela::quality::medium},
                                                               {"high/", vela::quality::high},
                                                               {"best/", vela::quality::best}};
    for (const auto &[name, quality] : qualities)
        for (const auto &[pair, c] : rates)
            add_quality("rate_converter/" + name + pair, c, quality, c.in_rate);
    add_quality("rate_converter/high/44100-48000/10ms", {44100, 48000}, vela::quality::high, 441);
    for (const uint32_t milliseconds : {10, 20}) {
        for (const auto &[pair, c] : rates)
            add_packet(std::string("LAN2/") + pair, c, milliseconds);
        add_packet("LAN2/8000-16000/mu-law-to-A-law", recoding, milliseconds);
    }
    add_block("G.711/A-law-encode", {8000, 8000, RESAMPLE_BILI, RESAMPLE_LEND, RESAMPLE_ALAW});
    add_block("G.711/A-law-decode", {8000, 8000, RESAMPLE_BILI, RESAMPLE_ALAW, RESAMPLE_LEND});
    add_block("G.711/mu-law-encode", {8000, 8000, RESAMPLE_BILI, RESAMPLE_LEND, RESAMPLE_ULAW});
    add_block("G.711/mu-law-decode", {8000, 8000, RESAMPLE_BILI, RESAMPLE_ULAW, RESAMPLE_LEND});
});
