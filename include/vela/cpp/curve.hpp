/**
 * @file
 * Interpolation of a few knots as tables: vela/interp.h for C++.
 *
 *     const interp_knot knots[] = {{0, 0}, {64, 90}, {255, 255}};
 *     auto tone = vela::curve::make(vela::curve::method::spline, knots);
 *     std::array<std::int16_t, 256> table;
 *     if (!tone || !tone->fill(table))
 *         return; // knots whose x do not increase, or a table of another size
 *
 * A curve holds a copy of its knots. make() and fill() into integers throw std::bad_alloc; nothing else throws. Where
 * the C functions run out of memory they end the program. Any number of threads may use one curve at once.
 */
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>
#include <vela/interp.h>

namespace vela {

/** A curve through knots in the order of x. */
class curve {
public:
    /** How the knots are joined. */
    enum class method : std::uint8_t {
        line,        /**< line segments; equal x of two knots make a step */
        spline,      /**< the natural cubic spline, in single precision */
        fixed_spline /**< the same in 32-bit fixed point, wrong beyond the limits that spline_interpolate() states */
    };

    /**
     * Makes a curve.
     *
     * @param how    how knots are joined
     * @param knots  1 to 32767 knots, x increasing; for lines x may also repeat
     * @return the curve; empty for other knots
     */
    [[nodiscard]] static std::optional<curve> make(method how, std::span<const interp_knot> knots) {
        if (knots.empty() || knots.size() > INT16_MAX)
            return std::nullopt;
        for (std::size_t i = 1; i < knots.size(); ++i)
            if (knots[i].x < knots[i - 1].x || (knots[i].x == knots[i - 1].x && how != method::line))
                return std::nullopt;
        return curve(how, knots);
    }

    /** The number of entries of the table, one for each x from the first knot's to the last one's. */
    [[nodiscard]] std::size_t size() const noexcept {
        return static_cast<std::size_t>(knots_.back().x - knots_.front().x) + 1;
    }

    /** The knots. */
    [[nodiscard]] std::span<const interp_knot> knots() const noexcept { return knots_; }

    /**
     * Fills a table of integers; a single knot gives its own value. A spline's values are rounded to the nearest
     * integer and clamped to 16 bits.
     *
     * @param table  size() entries
     * @return false, with nothing written, for a table of another size
     */
    [[nodiscard]] bool fill(std::span<std::int16_t> table) const {
        const interp_curve record = as_record();
        if (table.size() != size())
            return false;
        if (knots_.size() == 1) {
            table[0] = knots_[0].y;
            return true;
        }
        if (method_ != method::spline)
            return interpolate_c(&record, table.data()) == 0;
        std::vector<float> values(size());
        spline_interpolate_float(&record, values.data());
        for (std::size_t i = 0; i < table.size(); ++i) {
            const float value = std::round(values[i]);
            table[i] = static_cast<std::int16_t>(value < INT16_MIN ? INT16_MIN : value > INT16_MAX ? INT16_MAX : value);
        }
        return true;
    }

    /**
     * Fills a table of single-precision numbers with the spline.
     *
     * @param table  size() entries
     * @return false, with nothing written, for a table of another size and for lines
     */
    [[nodiscard]] bool fill(std::span<float> table) const noexcept {
        if (table.size() != size() || method_ == method::line)
            return false;
        const interp_curve record = as_record();
        spline_interpolate_float(&record, table.data());
        if (knots_.size() == 1)
            table[0] = knots_[0].y;
        return true;
    }

private:
    curve(method how, std::span<const interp_knot> knots) : method_(how), knots_(knots.begin(), knots.end()) {}

    interp_curve as_record() const noexcept {
        return {method_ == method::line ? std::uint32_t{INTERP_LINE} : std::uint32_t{INTERP_SPLI},
                static_cast<std::int32_t>(knots_.size()), knots_.data()};
    }

    method method_;
    std::vector<interp_knot> knots_;
};

} // namespace vela
