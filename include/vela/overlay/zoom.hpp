/**
 * @file
 * Lenses of a camera that zooms: a table by zoom position, and natural cubic splines between its rows. Part of
 * <vela/overlay.hpp>.
 *
 *     auto lenses = vela::overlay::zoom<vela::overlay::pinhole>::make(rows);
 *     if (lenses)
 *         seen = vela::overlay::view::make(1920, 1080, where, lenses->at(position));
 */
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>
#include <vela/overlay/lens.hpp>

namespace vela::overlay {

namespace internal {

// A lens as its numbers, in the order of its fields.
template <class Lens>
using coefficients = std::array<double, sizeof(Lens) / sizeof(double)>;

template <class Lens>
coefficients<Lens> coefficients_of(const Lens &lens) noexcept {
    return std::bit_cast<coefficients<Lens>>(lens);
}

template <class Lens>
Lens lens_of(const coefficients<Lens> &numbers) noexcept {
    return std::bit_cast<Lens>(numbers);
}

} // namespace internal

/** The lenses of all zoom positions; Lens is pinhole or fisheye. */
template <class Lens>
class zoom {
public:
    /** The lens at a zoom position, in whatever unit the camera tells it. */
    struct row {
        double position; /**< of the zoom */
        Lens lens;       /**< what it makes of the lens */
    };

    /**
     * Prepares a table. Allocates, and throws std::bad_alloc when memory runs out.
     *
     * @param rows  one or more, positions strictly rising
     * @return the table; empty for rows that aren't like that and for numbers that are not finite
     */
    [[nodiscard]] static std::optional<zoom> make(std::span<const row> rows) {
        if (rows.empty())
            return std::nullopt;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            for (const double number : internal::coefficients_of(rows[i].lens))
                if (!std::isfinite(number))
                    return std::nullopt;
            if (!std::isfinite(rows[i].position) || (i > 0 && !(rows[i - 1].position < rows[i].position)))
                return std::nullopt;
        }
        return zoom(rows);
    }

    /**
     * The lens at a position.
     *
     * @param position  before the first row and after the last one, the lens of that row is used
     * @return the lens, each number by a natural cubic spline through the table's; of the first row for NaN
     */
    [[nodiscard]] Lens at(double position) const noexcept {
        if (!(position > rows_.front().position))
            return rows_.front().lens;
        if (!(position < rows_.back().position))
            return rows_.back().lens;
        const auto after = std::upper_bound(rows_.begin(), rows_.end(), position,
                                            [](double at, const row &knot) { return at < knot.position; });
        const auto i = static_cast<std::size_t>(after - rows_.begin());
        const double span = rows_[i].position - rows_[i - 1].position, b = (position - rows_[i - 1].position) / span,
                     a = 1 - b;
        const numbers from = internal::coefficients_of(rows_[i - 1].lens),
                      to = internal::coefficients_of(rows_[i].lens);
        numbers made;
        for (std::size_t k = 0; k < made.size(); ++k)
            made[k] = a * from[k] + b * to[k] +
                      ((a * a * a - a) * second_[i - 1][k] + (b * b * b - b) * second_[i][k]) * span * span / 6;
        return internal::lens_of<Lens>(made);
    }

private:
    using numbers = internal::coefficients<Lens>;

    explicit zoom(std::span<const row> rows) : rows_(rows.begin(), rows.end()), second_(rows.size(), numbers{}) {
        // The second derivatives, 0 at both ends, from a tridiagonal system.
        std::vector<double> upper(rows.size(), 0.0);
        for (std::size_t i = 1; i + 1 < rows.size(); ++i) {
            const double before = rows[i].position - rows[i - 1].position,
                         after = rows[i + 1].position - rows[i].position;
            const double pivot = 2 * (before + after) - before * upper[i - 1];
            upper[i] = after / pivot;
            const numbers p = internal::coefficients_of(rows[i - 1].lens), q = internal::coefficients_of(rows[i].lens),
                          r = internal::coefficients_of(rows[i + 1].lens);
            for (std::size_t k = 0; k < p.size(); ++k)
                second_[i][k] =
                    (6 * ((r[k] - q[k]) / after - (q[k] - p[k]) / before) - before * second_[i - 1][k]) / pivot;
        }
        for (std::size_t i = rows.size(); i-- > 1;)
            for (std::size_t k = 0; k < second_[i].size(); ++k)
                second_[i - 1][k] -= upper[i - 1] * second_[i][k];
    }

    std::vector<row> rows_;
    std::vector<numbers> second_;
};

} // namespace vela::overlay
