// Cases whose cost on the device is counted in executed instructions.
//
// bench/device/NAME.cpp registers the cases of the module NAME:
//
//     static const device::cases registered([] {
//         device::add("url_decode", "byte", 4096, [] {
//             return [text = std::string(4096, 'x'), out = std::string(4097, 0)](unsigned times) mutable {
//                 while (times--)
//                     url_decode(...);
//             };
//         });
//     });
//
// One case runs in a process of its own, once for few times and once for more; the difference is its cost, so
// that start-up and preparation cancel. Everything must therefore be the same in each of the times: inputs
// from fixed seeds, records reset or released, nothing that grows.
#pragma once

#include <functional>
#include <string>

namespace device {

// Does a case's work so many times.
using work = std::function<void(unsigned times)>;

// Registers a case: its name (the function's, with what distinguishes the case behind slashes), what the cost
// is counted per, how many of these one time of the work is, and what prepares the work.
void add(std::string name, std::string unit, double items, std::function<work()> prepare);

// Calls its argument, which registers cases, before main() begins.
struct cases {
    template <class Register>
    explicit cases(Register register_all) {
        register_all();
    }
};

} // namespace device
