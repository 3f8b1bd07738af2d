// Fits a polynomial to the columns x, y of a table of comma-separated values, or a quadratic surface to x, y, z.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>
#include <vela/cpp/options.hpp>
#include <vela/matrix.h>

namespace {

constexpr cmdline_option kOptions[] = {
    {'d', "degree", "of the polynomial: 0, 1 or 2 (the default)", CMDLINE_REQUIRED},
    {'r', "residuals", "list each sample with the fit and the difference", 0},
    {},
};

constexpr const char *kPolynomialTerms[] = {"1", "x", "x^2"};
constexpr const char *kSurfaceTerms[] = {"1", "y", "x", "y^2", "x y", "x^2"};
constexpr size_t kSurfaceSize = std::size(kSurfaceTerms);
constexpr float kMaxCoordinate = 46340;

// The samples by column; zs is empty if there are two columns.
struct table {
    std::vector<float> xs, ys, zs;

    bool is_surface() const { return !zs.empty(); }
    const std::vector<float> &values() const { return is_surface() ? zs : ys; }
};

// Splits a line into numbers. Returns an error message, or nothing.
std::string parse_line(std::string_view line, std::vector<float> &numbers) {
    constexpr std::string_view kBlanks = " \t\r\n";
    numbers.clear();
    for (size_t begin = 0; begin <= line.size();) {
        const size_t end = std::min(line.find(',', begin), line.size());
        std::string_view field = line.substr(begin, end - begin);
        field.remove_prefix(std::min(field.find_first_not_of(kBlanks), field.size()));
        field = field.substr(0, field.find_last_not_of(kBlanks) + 1);
        float number = 0;
        const auto [stop, error] = std::from_chars(field.data(), field.data() + field.size(), number);
        if (error != std::errc() || stop != field.data() + field.size() || !std::isfinite(number))
            return "not a number: \"" + std::string(field) + '"';
        numbers.push_back(number);
        begin = end + 1;
    }
    return numbers.size() == 2 || numbers.size() == 3 ? "" : "expected two or three columns";
}

// Adds the numbers of a line to the samples. Returns an error message, or nothing.
std::string add_sample(const std::vector<float> &numbers, table &samples) {
    if (!samples.xs.empty() && (numbers.size() == 3) != samples.is_surface())
        return "the number of columns differs from the first line";
    const auto is_coordinate = [](float number) {
        return number >= 0 && number <= kMaxCoordinate && number == std::floor(number);
    };
    if (numbers.size() == 3 && !(is_coordinate(numbers[0]) && is_coordinate(numbers[1])))
        return "x and y of a surface must be integers from 0 to 46340";
    samples.xs.push_back(numbers[0]);
    samples.ys.push_back(numbers[1]);
    if (numbers.size() == 3)
        samples.zs.push_back(numbers[2]);
    return "";
}

// Reads the table, without empty lines and lines that begin with '#'.
bool read_table(FILE *file, const char *name, table &samples) {
    char *line = nullptr;
    size_t capacity = 0, number = 0;
    std::string error;
    std::vector<float> numbers;
    while (error.empty() && getline(&line, &capacity, file) >= 0) {
        ++number;
        if (line[0] == '#' || line[std::strspn(line, " \t\r\n")] == '\0')
            continue;
        error = parse_line(line, numbers);
        if (error.empty())
            error = add_sample(numbers, samples);
    }
    std::free(line);
    if (!error.empty())
        std::fprintf(stderr, "fit: %s:%zu: %s\n", name, number, error.c_str());
    else if (std::ferror(file))
        std::fprintf(stderr, "fit: cannot read %s\n", name);
    return error.empty() && !std::ferror(file);
}

bool fit(const table &samples, std::vector<float> &coeffs) {
    const auto count = static_cast<int32_t>(samples.xs.size());
    if (!samples.is_surface())
        return polyfit(samples.xs.data(), samples.ys.data(), count, static_cast<int32_t>(coeffs.size()),
                       coeffs.data()) == 0;
    const std::vector<uint16_t> xs(samples.xs.begin(), samples.xs.end()), ys(samples.ys.begin(), samples.ys.end());
    return polyfit2D(xs.data(), ys.data(), samples.zs.data(), count, coeffs.data()) == 0;
}

double value(const std::vector<float> &coeffs, float x, float y) {
    if (coeffs.size() == kSurfaceSize)
        return double{poly2D_value(x, y, coeffs.data())};
    double sum = 0;
    for (size_t i = coeffs.size(); i-- > 0;)
        sum = sum * double{x} + double{coeffs[i]};
    return sum;
}

void print_fit(const table &samples, const std::vector<float> &coeffs, bool with_residuals) {
    const char *const *terms = samples.is_surface() ? kSurfaceTerms : kPolynomialTerms;
    for (size_t i = 0; i < coeffs.size(); ++i)
        // There are as many terms as coefficients. NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage)
        std::printf("%-4s %.8g\n", terms[i], double{coeffs[i]});
    double mean = 0, about_mean = 0, about_fit = 0;
    for (const float sample : samples.values())
        mean += double{sample} / static_cast<double>(samples.values().size());
    for (size_t i = 0; i < samples.xs.size(); ++i) {
        const double sample = double{samples.values()[i]}, fitted = value(coeffs, samples.xs[i], samples.ys[i]);
        about_mean += (sample - mean) * (sample - mean);
        about_fit += (sample - fitted) * (sample - fitted);
        if (with_residuals && samples.is_surface())
            std::printf("%g,%g,%g,%g,%g\n", double{samples.xs[i]}, double{samples.ys[i]}, sample, fitted,
                        sample - fitted);
        else if (with_residuals)
            std::printf("%g,%g,%g,%g\n", double{samples.xs[i]}, sample, fitted, sample - fitted);
    }
    std::printf("%zu samples, residual %.4g rms, R^2 %.6f\n", samples.xs.size(),
                std::sqrt(about_fit / static_cast<double>(samples.xs.size())),
                about_mean > 0 ? 1 - about_fit / about_mean : 0);
}

} // namespace

int main(int argc, char **argv) {
    vela::options options(argc, argv, kOptions, "fit", "[options] [FILE]");
    size_t degree = 2;
    bool with_residuals = false;
    while (const int option = options.next())
        if (option == 'd')
            options.read(degree, 0, 2);
        else
            with_residuals = true;
    if (const auto status = options.finish(0, 1))
        return *status;

    const bool is_named = !options.operands().empty();
    const char *name = is_named ? options.operands()[0] : "standard input";
    FILE *file = is_named ? std::fopen(name, "r") : stdin;
    if (!file) {
        std::fprintf(stderr, "fit: cannot open %s\n", name);
        return EXIT_FAILURE;
    }
    table samples;
    if (!read_table(file, name, samples))
        return EXIT_FAILURE;
    std::vector<float> coeffs(samples.is_surface() ? kSurfaceSize : degree + 1);
    if (samples.xs.size() < coeffs.size()) {
        std::fprintf(stderr, "fit: %s: %zu samples are not enough for %zu coefficients\n", name, samples.xs.size(),
                     coeffs.size());
        return EXIT_FAILURE;
    }
    if (!fit(samples, coeffs)) {
        std::fprintf(stderr, "fit: %s: no fit\n", name);
        return EXIT_FAILURE;
    }
    print_fit(samples, coeffs, with_residuals);
    return EXIT_SUCCESS;
}
