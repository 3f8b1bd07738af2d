// What the test against OpenCV asks of the library. Numbers are doubles of the machine, from standard input to standard
// output, all as many as there are:
//
//     project    MODEL WIDTH HEIGHT FIELDS...  x y z of a direction in the camera's axes -> x y, NaN where there is
//     none unproject  MODEL WIDTH HEIGHT FIELDS...  x y -> x y z calibrate  MODEL WIDTH HEIGHT            pan tilt roll
//     x y point -> the lens' fields, the residual, and for each
//                                              field 1 if it is determined
//
// MODEL is pinhole or fisheye.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <string>
#include <vector>
#include <vela/overlay.hpp>

namespace {

using namespace vela::overlay;

std::vector<double> all_numbers() {
    std::vector<double> numbers;
    double buffer[4096];
    for (size_t count; (count = std::fread(buffer, sizeof *buffer, 4096, stdin)) > 0;)
        numbers.insert(numbers.end(), buffer, buffer + count);
    return numbers;
}

void write(std::initializer_list<double> numbers) {
    std::fwrite(numbers.begin(), sizeof(double), numbers.size(), stdout);
}

template <class Lens>
int answer(const std::string &action, int width, int height, char **fields) {
    const std::vector<double> numbers = all_numbers();
    if (action == "calibrate") {
        std::vector<sighting> sightings;
        for (size_t i = 0; i + 6 <= numbers.size(); i += 6)
            sightings.push_back({{numbers[i], numbers[i + 1], numbers[i + 2]},
                                 {numbers[i + 3], numbers[i + 4]},
                                 static_cast<size_t>(numbers[i + 5])});
        const auto found = calibrate<Lens>(width, height, sightings);
        if (!found)
            return EXIT_FAILURE;
        std::fwrite(&found->lens, sizeof found->lens, 1, stdout);
        write({found->residual});
        for (const bool is_determined : found->is_determined)
            write({static_cast<double>(is_determined)});
        return EXIT_SUCCESS;
    }
    double given[sizeof(Lens) / sizeof(double)] = {};
    for (size_t i = 0; fields[i] && i < std::size(given); ++i)
        given[i] = std::atof(fields[i]);
    Lens lens;
    std::memcpy(&lens, given, sizeof lens);
    const auto seen = view::make(width, height, orientation{0, 0}, lens);
    if (!seen)
        return EXIT_FAILURE;
    constexpr double kRadian = 180 / std::numbers::pi;
    // At pan and tilt 0 the camera's x is towards pan 90, its y downward.
    for (size_t i = 0; action == "project" && i + 3 <= numbers.size(); i += 3) {
        const double x = numbers[i], y = numbers[i + 1], z = numbers[i + 2];
        const auto at = seen->project({std::atan2(x, z) * kRadian, std::atan2(-y, std::hypot(x, z)) * kRadian});
        at ? write({at->x, at->y}) : write({NAN, NAN});
    }
    for (size_t i = 0; action == "unproject" && i + 2 <= numbers.size(); i += 2) {
        const auto shown = seen->unproject({numbers[i], numbers[i + 1]});
        const double pan = shown ? shown->pan / kRadian : NAN, tilt = shown ? shown->tilt / kRadian : NAN;
        write({std::cos(tilt) * std::sin(pan), -std::sin(tilt), std::cos(tilt) * std::cos(pan)});
    }
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 5)
        return EXIT_FAILURE;
    const int width = std::atoi(argv[3]), height = std::atoi(argv[4]);
    return std::string(argv[2]) == "pinhole" ? answer<pinhole>(argv[1], width, height, argv + 5)
                                             : answer<fisheye>(argv[1], width, height, argv + 5);
}
