/**
 * @file
 * The odd polynomial by which lenses distort radii. Part of <vela/overlay.hpp>; nothing here is public.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace vela::overlay::internal {

// The first zero, between 0 and end, of a polynomial 1 + c[0] x + c[1] x^2 + ...; end where there is none. Between the
// zeros of its derivative it's monotone: those of each derivative are found from the ones of the next.
template <std::size_t N>
double first_zero(const std::array<double, N> &c, double end) noexcept {
    std::array<double, N + 1> ends{}; // where monotone parts end
    std::size_t count = 0;
    for (std::size_t order = N; order-- > 0;) {
        const auto derivative = [&](double x) {
            double sum = 0;
            for (std::size_t i = N; i-- > 0 && i + 1 >= order;) {
                double factor = c[i];
                for (std::size_t j = 0; j < order; ++j)
                    factor *= static_cast<double>(i + 1 - j);
                sum = sum * x + factor;
            }
            return order == 0 ? sum * x + 1 : sum;
        };
        std::array<double, N + 1> zeros{};
        std::size_t found = 0;
        double from = 0;
        ends[count++] = end;
        for (std::size_t i = 0; i < count; ++i) {
            double low = from, high = from = ends[i];
            const bool is_positive = derivative(low) > 0;
            if (is_positive == (derivative(high) > 0))
                continue;
            for (double middle = (low + high) / 2; low < middle && middle < high; middle = (low + high) / 2)
                (derivative(middle) > 0) == is_positive ? low = middle : high = middle;
            zeros[found++] = high;
        }
        ends = zeros;
        count = found;
    }
    return count ? ends[0] : end;
}

// x (1 + c[0] x^2 + c[1] x^4 + c[2] x^6 + c[3] x^8).
struct odd_series {
    std::array<double, 4> c;

    bool operator==(const odd_series &) const noexcept = default;
    bool is_linear() const noexcept { return c == decltype(c){}; }
    double factor(double x) const noexcept {
        const double square = x * x;
        return 1 + square * (c[0] + square * (c[1] + square * (c[2] + square * c[3])));
    }
    double value(double x) const noexcept { return x * factor(x); }
    double slope(double x) const noexcept {
        const double square = x * x;
        return 1 + square * (3 * c[0] + square * (5 * c[1] + square * (7 * c[2] + square * 9 * c[3])));
    }

    // Where the slope is first 0, up to a limit.
    double turn(double limit) const noexcept {
        if (is_linear())
            return limit;
        const double zero =
            first_zero(std::array{3 * c[0], 5 * c[1], 7 * c[2], 9 * c[3]}, std::min(limit * limit, 1e30));
        return std::min(std::sqrt(zero), limit);
    }

    // The x up to a limit, below which the series rises, at which it has a value.
    double inverse(double y, double limit) const noexcept {
        if (is_linear())
            return std::min(y, limit);
        double low = 0, high = 1;
        while (high < limit && value(high) < y)
            low = high, high *= 2;
        high = std::min(high, limit);
        double x = std::clamp(y, low, high);
        for (int i = 0; i < 200; ++i) {
            const double excess = value(x) - y;
            (excess < 0 ? low : high) = x;
            double next = x - excess / slope(x);
            if (!(low < next && next < high))
                next = (low + high) / 2;
            if (std::fabs(next - x) <= 1e-16 * x || !(low < next && next < high))
                break;
            x = next;
        }
        return x;
    }

    // Upper bounds of magnitudes, for each x from low to high: of the value, of its first and second derivative, of the
    // derivative of value / x, and of what the terms of the latter amount to.
    struct size {
        double value, first, second, shear, terms;
    };
    size size_between(double low, double high, double linear = 1) const noexcept {
        size sum = {linear * high, linear, 0, 0, 0};
        const double x = (low + high) / 2, half = (high - low) / 2;
        double second = 0, shear = 0; // in the middle, and how much they change to the ends
        double second_change = 0, shear_change = 0;
        double power = 1, power_of_x = 1; // to m - 3
        for (std::size_t i = 0; i < 4; ++i, power *= high * high, power_of_x *= x * x) {
            if (c[i] == 0)
                continue; // 0 times infinity
            const double m = 2 * static_cast<double>(i) + 3, part = std::fabs(c[i]) * power;
            sum.value += part * high * high * high;
            sum.first += m * part * high * high;
            sum.second += m * (m - 1) * part * high;
            sum.terms += (m - 1) * part * high;
            second += m * (m - 1) * c[i] * power_of_x * x;
            shear += (m - 1) * c[i] * power_of_x * x;
            second_change += m * (m - 1) * (m - 2) * part * half;
            shear_change += (m - 1) * (m - 2) * part * half;
        }
        sum.second = std::min(sum.second, std::fabs(second) + second_change);
        sum.shear = std::min(sum.terms, std::fabs(shear) + shear_change);
        return sum;
    }
    // Bounds of the factor and of the slope between two x.
    struct range {
        double low, high;
    };
    range factor_between(double low, double high) const noexcept {
        const double middle = factor((low + high) / 2), change = size_between(low, high).shear * (high - low) / 2;
        return {middle - change, middle + change};
    }
    range slope_between(double low, double high) const noexcept {
        const double middle = slope((low + high) / 2), change = size_between(low, high).second * (high - low) / 2;
        return {middle - change, middle + change};
    }
    size size_up_to(double x, double linear = 1) const noexcept { return size_between(0, x, linear); }
};

} // namespace vela::overlay::internal
