/**
 * @file
 * Curves through a few knots as tables: vela/interp.h for C++.
 *
 *     const interp_knot knots[] = {{0, 0}, {64, 90}, {255, 255}};
 *     auto tone = vela::curve::make(vela::curve::method::spline, knots);
 *     std::array<int16_t, 256> table;
 *     if (!tone || !tone->fill(table))
 *         return; // knots whose x do not rise, or a table of another size
 *
 * A curve holds its knots. Any number of threads may use one curve at once. As in the C functions, a program that runs
 * out of memory in fill() is ended.
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

/** A curve through knots whose x rise. */
class curve {
public:
    /** How the knots are joined. */
    enum class method : uint8_t {
        line,        /**< line segments; equal x of two knots make a step */
        spline,      /**< the natural cubic spline, in single precision */
        fixed_spline /**< the same in 32-bit fixed point, wrong beyond the limits that spline_interpolate() names */
    };

    /**
     * Makes a curve.
     *
     * @param how     how knots are joined
     * @param points  1 to 32767 knots, x rising; for lines x may also stay
     * @return the curve; nothing for knots that are not like that
     */
    [[nodiscard]] static std::optional<curve> make(method how, std::span<const interp_knot> points) {
        if (points.empty() || points.size() > INT16_MAX)
            return std::nullopt;
        for (size_t i = 1; i < points.size(); ++i)
            if (points[i].x < points[i - 1].x || (points[i].x == points[i - 1].x && how != method::line))
                return std::nullopt;
        return curve(how, points);
    }

    /** The number of entries of the table, one for each x from the first knot's to the last one's. */
    [[nodiscard]] size_t size() const { return static_cast<size_t>(points.back().x - points.front().x) + 1; }

    /** The knots. */
    [[nodiscard]] std::span<const interp_knot> knots() const { return points; }

    /**
     * Fills a table of integers; a single knot gives its own value. A spline's values are rounded to the nearest
     * integer and kept within 16 bits.
     *
     * @param table  size() entries
     * @return false, with nothing written, for a table of another size
     */
    [[nodiscard]] bool fill(std::span<int16_t> table) const {
        const interp_curve record = as_record();
        if (table.size() != size())
            return false;
        if (points.size() == 1) {
            table[0] = points[0].y;
            return true;
        }
        if (how != method::spline)
            return interpolate_c(&record, table.data()) == 0;
        std::vector<float> values(size());
        spline_interpolate_float(&record, values.data());
        for (size_t i = 0; i < table.size(); ++i) {
            const float value = std::round(values[i]);
            table[i] = static_cast<int16_t>(value < INT16_MIN ? INT16_MIN : value > INT16_MAX ? INT16_MAX : value);
        }
        return true;
    }

    /**
     * Fills a table of single-precision numbers with the spline.
     *
     * @param table  size() entries
     * @return false, with nothing written, for a table of another size and for lines
     */
    [[nodiscard]] bool fill(std::span<float> table) const {
        if (table.size() != size() || how == method::line)
            return false;
        const interp_curve record = as_record();
        spline_interpolate_float(&record, table.data());
        if (points.size() == 1)
            table[0] = points[0].y;
        return true;
    }

private:
    curve(method joined, std::span<const interp_knot> from) : how(joined), points(from.begin(), from.end()) {}

    interp_curve as_record() const {
        return {how == method::line ? uint32_t{INTERP_LINE} : uint32_t{INTERP_SPLI},
                static_cast<int32_t>(points.size()), points.data()};
    }

    method how;
    std::vector<interp_knot> points;
};

} // namespace vela
