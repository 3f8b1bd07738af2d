#include "device.hpp"
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>
#include <vela/resample.h>

namespace {

constexpr uint32_t kBlock = 4096; // input samples, converted in one call from a fresh start

void add_conversion(const std::string &name, uint32_t in_rate, uint32_t out_rate, uint32_t kernel, uint32_t from,
                    uint32_t to) {
    const auto outputs = static_cast<uint32_t>((uint64_t{kBlock} * out_rate + in_rate - 1) / in_rate);
    device::add(name, "output", outputs, [=] {
        std::shared_ptr<resample_state> state(resample_alloc(out_rate, in_rate, kernel), resample_free);
        std::vector<int16_t> in(kBlock), out(outputs);
        for (uint32_t i = 0; i < kBlock; ++i)
            in[i] = static_cast<int16_t>(i * 40503 >> 3);
        return [=]() mutable {
            uint32_t used = kBlock, made = outputs;
            resample_reset(state.get());
            resample_mono(state.get(), in.data(), &used, out.data(), &made, from, to);
        };
    });
}

// A packet within a stream.
void add_packet(const std::string &name, uint32_t in_rate, uint32_t out_rate, uint32_t milliseconds, uint32_t from,
                uint32_t to) {
    const uint32_t inputs = in_rate * milliseconds / 1000, outputs = out_rate * milliseconds / 1000;
    device::add(name + "/" + std::to_string(milliseconds) + "ms", "output", outputs, [=] {
        std::shared_ptr<resample_state> state(resample_alloc(out_rate, in_rate, RESAMPLE_LAN2), resample_free);
        std::vector<int16_t> in(inputs), out(outputs);
        for (uint32_t i = 0; i < inputs; ++i)
            in[i] = static_cast<int16_t>(i * 40503 >> 3);
        return [=]() mutable {
            uint32_t used = inputs, made = outputs;
            resample_mono(state.get(), in.data(), &used, out.data(), &made, from, to);
        };
    });
}

} // namespace

static const device::cases registered([] {
    const struct {
        const char *name;
        uint32_t tag;
    } kernels[] = {{"LAN2", RESAMPLE_LAN2}, {"LANC", RESAMPLE_LANC}, {"BILI", RESAMPLE_BILI}};
    const struct {
        const char *name;
        uint32_t in, out;
    } rates[] = {{"44100-48000", 44100, 48000},
                 {"48000-8000", 48000, 8000},
                 {"8000-16000", 8000, 16000},
                 {"44100-8000", 44100, 8000}};
    for (const auto &kernel : kernels)
        for (const auto &pair : rates)
            add_conversion(std::string("resample_mono/") + kernel.name + "/" + pair.name, pair.in, pair.out, kernel.tag,
                           RESAMPLE_LEND, RESAMPLE_LEND);
    const std::string recoding = "resample_mono/LAN2/8000-16000/mu-law-to-A-law";
    add_conversion(recoding, 8000, 16000, RESAMPLE_LAN2, RESAMPLE_ULAW, RESAMPLE_ALAW);
    for (const uint32_t milliseconds : {10, 20}) {
        for (const auto &pair : rates)
            add_packet(std::string("resample_mono/LAN2/") + pair.name, pair.in, pair.out, milliseconds, RESAMPLE_LEND,
                       RESAMPLE_LEND);
        add_packet(recoding, 8000, 16000, milliseconds, RESAMPLE_ULAW, RESAMPLE_ALAW);
    }
    const auto add_law = [](const char *name, uint32_t from, uint32_t to) {
        add_conversion(std::string("resample_mono/G.711/") + name, 8000, 8000, RESAMPLE_BILI, from, to);
    };
    add_law("A-law-encode", RESAMPLE_LEND, RESAMPLE_ALAW);
    add_law("A-law-decode", RESAMPLE_ALAW, RESAMPLE_LEND);
    add_law("mu-law-encode", RESAMPLE_LEND, RESAMPLE_ULAW);
    add_law("mu-law-decode", RESAMPLE_ULAW, RESAMPLE_LEND);
});
