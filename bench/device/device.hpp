// Cases whose cost on the device is counted in executed instructions.
//
// A file registers the cases of a module, or of a few small ones:
//
//     static const device::cases registered([] {
//         device::add("url_decode", "byte", 4096, [] {
//             return [text = std::string(4096, 'x'), out = std::string(4097, 0)]() mutable { url_decode(...); };
//         });
//     });
//
// One case runs in a process of its own, a few times and then more often; the difference is its cost, so that start-up
// and preparation cancel out. All repetitions must therefore do the same: inputs from fixed seeds, records reset or
// released, nothing that grows.
#pragma once

#include <functional>
#include <string>

namespace device {

// Repeats the work of a case.
using work = std::function<void(unsigned times)>;

void add_work(std::string name, std::string unit, double items, std::function<work()> prepare);

// Registers a case: its name, which begins with the function's; what the cost is counted per, and how many of these one
// repetition handles; a function that prepares and returns the work.
template <class Prepare>
void add(std::string name, std::string unit, double items, Prepare prepare) {
    add_work(std::move(name), std::move(unit), items, [prepare]() -> work {
        return [run = prepare()](unsigned times) mutable {
            while (times--)
                run();
        };
    });
}

// Calls its argument, which registers cases, before main() begins.
struct cases {
    template <class Register>
    explicit cases(Register register_all) {
        register_all();
    }
};

} // namespace device
