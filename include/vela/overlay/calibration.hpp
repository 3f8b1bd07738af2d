/**
 * @file
 * The lens of a camera, from far points that it sees while it turns. Part of <vela/overlay.hpp>.
 *
 *     // Corners of buildings, stars, lights: each seen at two or more known positions of the camera.
 *     auto found = vela::overlay::calibrate<vela::overlay::pinhole>(1920, 1080, sightings);
 *     if (found && found->residual < 0.5)
 *         seen = vela::overlay::view::make(1920, 1080, where, found->lens);
 *
 * The points are so far that the camera's own extent doesn't count. Their directions needn't be known: they are found
 * together with the lens, as those that make the squares of the distances, in pixels, between where points are seen and
 * where they are projected the least (Levenberg and Marquardt). What is then much farther off than most is left out.
 *
 * Calibration allocates memory, and throws std::bad_alloc when it runs out.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>
#include <vela/overlay/view.hpp>
#include <vela/overlay/zoom.hpp>

namespace vela::overlay {

/** A far point in a picture. */
struct sighting {
    orientation where; /**< where the camera pointed */
    position at;       /**< where the picture has the point */
    std::size_t point; /**< which point: from 0, below the number of sightings */
};

/** What calibrate() found. */
template <class Lens>
struct calibration {
    Lens lens;       /**< the lens */
    double residual; /**< root of the mean squared distance in pixels, of the sightings that were used */
    /** Which of the lens' fields the sightings determine, in their order: as many as leave no position that the lens
     * shows in the picture with a standard deviation above a pixel. The others are guesses: 0, fy like fx, the centre
     * that of the picture; or what fits, where that is clearly something else. */
    std::array<bool, sizeof(Lens) / sizeof(double)> is_determined;
    std::vector<bool> is_used; /**< for each sighting: false for those that were left out */
};

namespace internal {

template <class Lens>
class calibrator {
public:
    calibrator(int width, int height, std::span<const sighting> samples, std::span<const direction> known)
        : width_(width), height_(height), samples_(samples), known_(known.size()), used_(samples.size(), true) {
        for (const sighting &sample : samples) {
            frames_.push_back(frame::of(sample.where));
            points_.resize(std::max(points_.size(), sample.point + 1));
        }
        for (std::size_t i = 0; i < std::min(known_, points_.size()); ++i)
            points_[i] = vector_of(known[i]);
        free_.fill(true);
    }

    std::optional<calibration<Lens>> run() {
        if (!guess())
            return std::nullopt;
        // First what all lenses have, then the distortion; then without what is far off.
        free_.fill(false);
        free_[0] = free_[1] = is_shared_ = true;
        if (!fit())
            return std::nullopt;
        is_shared_ = false;
        for (std::size_t count = 4; count <= kFields; ++count) {
            for (std::size_t i = 0; i < count; ++i)
                free_[order(i)] = true;
            if (count >= 5 && count + 1 < kFields && !fit())
                return std::nullopt;
        }
        for (int round = 0; round < 20; ++round) {
            if (!fit())
                return std::nullopt;
            if (!leave_out_outliers() && !give_up_least_determined())
                break;
        }
        for (std::size_t k = 0; k < kFields; ++k)
            free_[k] = free_[k] && !guessed_[k];
        return calibration<Lens>{lens_of<Lens>(numbers_), residual(), free_, used_};
    }

private:
    static constexpr std::size_t kFields = std::tuple_size_v<coefficients<Lens>>;
    static constexpr bool kIsPinhole = std::is_same_v<Lens, pinhole>;
    using numbers = coefficients<Lens>;
    using optics = std::conditional_t<kIsPinhole, rectilinear, azimuthal>;

    // The fields from those that everything needs to those that matter least.
    static constexpr std::size_t order(std::size_t i) noexcept {
        constexpr std::array<std::size_t, 9> pinhole_order = {0, 1, 2, 3, 4, 5, 6, 7, 8};
        return kIsPinhole ? pinhole_order[i] : i;
    }

    std::optional<optics> optics_of(const numbers &from) const noexcept {
        return optics::make(lens_of<Lens>(from), width_, height_);
    }

    bool is_known(std::size_t point) const noexcept { return point < known_; }

    // Directions as the means of what the lens shows at their positions; false when it shows too little.
    bool place_points(const optics &lens) {
        std::vector<vec> sums(points_.size());
        std::size_t shown = 0;
        for (std::size_t i = 0; i < samples_.size(); ++i)
            if (const std::optional<vec> p = used_[i] ? lens.unproject(samples_[i].at) : std::nullopt) {
                vec &sum = sums[samples_[i].point];
                sum = sum + frames_[i].to_sphere(unit(*p));
                ++shown;
            }
        for (std::size_t i = 0; i < points_.size(); ++i)
            if (!is_known(i))
                points_[i] = length(sums[i]) > 0 ? unit(sums[i]) : vec{1, 0, 0};
        return 2 * shown > samples_.size();
    }

    // The distance between a sighting and its point, nothing where the lens doesn't see it.
    std::optional<position> away(std::size_t i, const optics &lens, vec point) const noexcept {
        const vec p = frames_[i].to_local(point);
        if (!lens.sees(p))
            return std::nullopt;
        const position at = lens.project(p);
        return position{samples_[i].at.x - at.x, samples_[i].at.y - at.y};
    }

    // The focal length, of 60 from a narrow view to a wide one, by which half of the sightings are nearest.
    bool guess() {
        double best = kUnbounded;
        for (int i = 0; i < 60; ++i) {
            const double fov = 2 * std::pow(kIsPinhole ? 80.0 : 170.0, i / 59.0);
            const numbers tried = coefficients_of(Lens::of_fov(width_, height_, fov));
            const auto lens = optics_of(tried);
            if (!lens || !place_points(*lens))
                continue;
            std::vector<double> distances;
            for (std::size_t j = 0; j < samples_.size(); ++j) {
                const auto off = away(j, *lens, points_[samples_[j].point]);
                distances.push_back(off ? std::hypot(off->x, off->y) : 1e9);
            }
            const double median = middle(distances);
            if (median < best) {
                best = median;
                numbers_ = tried;
            }
        }
        const auto lens = optics_of(numbers_);
        return best < kUnbounded && lens && place_points(*lens);
    }

    static double middle(std::vector<double> &values) {
        const auto half = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
        std::nth_element(values.begin(), half, values.end());
        return *half;
    }

    struct tangent {
        vec across, along;

        explicit tangent(vec p) noexcept {
            across = unit(std::fabs(p.z) < 0.7 ? cross({0, 0, 1}, p) : cross({1, 0, 0}, p));
            along = cross(p, across);
        }
    };

    // The equations of a step: the lens' own, after each point's two unknowns are eliminated.
    struct equations {
        std::array<std::array<double, kFields>, kFields> matrix{};
        numbers right{};
    };
    struct elimination {
        std::array<std::array<double, 2>, kFields> mixed{};
        double xx = 0, xy = 0, yy = 0, right_x = 0, right_y = 0;
    };

    static double weight_of(double distance, double scale) noexcept {
        return distance > 2 * scale ? 2 * scale / distance : 1; // Huber's
    }

    double cost(const optics &lens, const std::vector<vec> &points, double scale) const {
        double sum = 0;
        for (std::size_t i = 0; i < samples_.size(); ++i) {
            if (!used_[i])
                continue;
            const auto off = away(i, lens, points[samples_[i].point]);
            const double distance = off ? std::hypot(off->x, off->y) : 1e6;
            sum += distance > 2 * scale ? 4 * scale * (distance - scale) : distance * distance;
        }
        return sum;
    }

    bool fit() {
        double damping = 1e-3;
        auto lens = optics_of(numbers_);
        for (int step = 0; step < 60 && lens; ++step) {
            const double scale = spread(*lens);
            const double before = cost(*lens, points_, scale);
            std::vector<elimination> eliminations(points_.size());
            equations all = collect(*lens, scale, eliminations);
            bool is_better = false;
            double change = 0;
            for (int attempt = 0; attempt < 12 && !is_better; ++attempt, damping *= is_better ? 0.1 : 10) {
                numbers moved = numbers_;
                std::vector<vec> points = points_;
                change = move(all, eliminations, damping, moved, points);
                const auto next = optics_of(moved);
                if (change < kUnbounded && next && cost(*next, points, scale) < before) {
                    is_better = true;
                    numbers_ = moved;
                    points_ = std::move(points);
                    lens = next;
                }
            }
            damping = std::max(damping * 0.1, 1e-12);
            if (!is_better || change < 1e-10)
                break;
        }
        return lens.has_value();
    }

    // A robust measure of the distances.
    double spread(const optics &lens) const {
        std::vector<double> distances;
        for (std::size_t i = 0; i < samples_.size(); ++i)
            if (const auto off = used_[i] ? away(i, lens, points_[samples_[i].point]) : std::nullopt)
                distances.push_back(std::hypot(off->x, off->y));
        return distances.empty() ? 1 : std::max(1.5 * middle(distances), 1e-9);
    }

    // How a coefficient is varied: by what moves the rim of a usual picture by a ten thousandth.
    double variation(std::size_t field) const noexcept { return field < 4 ? 1e-4 * numbers_[0] : 1e-5; }

    equations collect(const optics &lens, double scale, std::vector<elimination> &eliminations) const {
        equations all;
        std::array<std::optional<optics>, 2 * kFields> varied;
        for (std::size_t k = 0; k < kFields; ++k)
            for (std::size_t sign = 0; free_[k] && sign < 2; ++sign) {
                numbers near = numbers_;
                near[k] += sign ? variation(k) : -variation(k);
                if (is_shared_)
                    near[1] = near[0];
                varied[2 * k + sign] = optics_of(near);
            }
        for (std::size_t i = 0; i < samples_.size(); ++i) {
            const std::size_t point = samples_[i].point;
            const vec p = points_[point];
            const auto off = used_[i] ? away(i, lens, p) : std::nullopt;
            if (!off)
                continue;
            const double weight = weight_of(std::hypot(off->x, off->y), scale);
            std::array<position, kFields + 2> rates{};
            bool is_good = true;
            const auto rate = [&](const std::optional<optics> &low, vec at_low, const std::optional<optics> &high,
                                  vec at_high, double step) {
                const auto a = low ? away(i, *low, at_low) : std::nullopt,
                           b = high ? away(i, *high, at_high) : std::nullopt;
                is_good = is_good && a && b;
                return is_good ? position{(a->x - b->x) / (2 * step), (a->y - b->y) / (2 * step)} : position{};
            };
            for (std::size_t k = 0; k < kFields; ++k)
                if (free_[k])
                    rates[k] = rate(varied[2 * k], p, varied[2 * k + 1], p, variation(k));
            const tangent axes(p);
            const std::optional<optics> same(lens);
            for (std::size_t k = 0; k < 2 && !is_known(point); ++k) {
                const vec aside = 1e-6 * (k ? axes.along : axes.across);
                rates[kFields + k] = rate(same, p - aside, same, p + aside, 1e-6);
            }
            if (!is_good)
                continue;
            elimination &own = eliminations[point];
            const position &x = rates[kFields], &y = rates[kFields + 1];
            for (std::size_t k = 0; k < kFields; ++k) {
                for (std::size_t m = 0; m < kFields; ++m)
                    all.matrix[k][m] += weight * (rates[k].x * rates[m].x + rates[k].y * rates[m].y);
                all.right[k] += weight * (rates[k].x * off->x + rates[k].y * off->y);
                own.mixed[k][0] += weight * (rates[k].x * x.x + rates[k].y * x.y);
                own.mixed[k][1] += weight * (rates[k].x * y.x + rates[k].y * y.y);
            }
            own.xx += weight * (x.x * x.x + x.y * x.y);
            own.xy += weight * (x.x * y.x + x.y * y.y);
            own.yy += weight * (y.x * y.x + y.y * y.y);
            own.right_x += weight * (x.x * off->x + x.y * off->y);
            own.right_y += weight * (y.x * off->x + y.y * off->y);
        }
        return all;
    }

    // The lens' equations without the points.
    equations reduced(const equations &all, const std::vector<elimination> &eliminations, double damping) const {
        equations made = all;
        for (std::size_t k = 0; k < kFields; ++k)
            made.matrix[k][k] *= 1 + damping;
        for (const elimination &own : eliminations) {
            const double xx = own.xx * (1 + damping), yy = own.yy * (1 + damping), size = xx * yy - own.xy * own.xy;
            if (!(size > 1e-12 * xx * yy))
                continue;
            for (std::size_t k = 0; k < kFields; ++k) {
                const double a = (own.mixed[k][0] * yy - own.mixed[k][1] * own.xy) / size,
                             b = (own.mixed[k][1] * xx - own.mixed[k][0] * own.xy) / size;
                for (std::size_t m = 0; m < kFields; ++m)
                    made.matrix[k][m] -= a * own.mixed[m][0] + b * own.mixed[m][1];
                made.right[k] -= a * own.right_x + b * own.right_y;
            }
        }
        return made;
    }

    // Solves for the free fields by elimination of the largest pivots; false where there is none.
    bool solve(const equations &all, numbers &step) const noexcept {
        auto m = all.matrix;
        step = all.right;
        std::array<double, kFields> scale{};
        for (std::size_t k = 0; k < kFields; ++k)
            scale[k] = std::sqrt(std::max(m[k][k], 0.0));
        std::array<bool, kFields> done{};
        for (std::size_t k = 0; k < kFields; ++k)
            done[k] = !free_[k];
        for (std::size_t round = 0; round < kFields; ++round) {
            std::size_t pivot = kFields;
            for (std::size_t k = 0; k < kFields; ++k)
                if (!done[k] && scale[k] > 0 &&
                    (pivot == kFields || m[k][k] / scale[k] / scale[k] > m[pivot][pivot] / scale[pivot] / scale[pivot]))
                    pivot = k;
            if (pivot == kFields)
                break;
            if (!(m[pivot][pivot] > 1e-15 * scale[pivot] * scale[pivot]))
                return false;
            done[pivot] = true;
            for (std::size_t k = 0; k < kFields; ++k) {
                if (k == pivot || !free_[k])
                    continue;
                const double factor = m[k][pivot] / m[pivot][pivot];
                for (std::size_t j = 0; j < kFields; ++j)
                    if (free_[j])
                        m[k][j] -= factor * m[pivot][j];
                step[k] -= factor * step[pivot];
            }
        }
        for (std::size_t k = 0; k < kFields; ++k)
            step[k] = free_[k] && m[k][k] != 0 ? step[k] / m[k][k] : 0;
        return true;
    }

    // Moves the lens and the points; the largest move relative to a variation.
    double move(const equations &all, const std::vector<elimination> &eliminations, double damping, numbers &to,
                std::vector<vec> &points) const {
        numbers step;
        if (!solve(reduced(all, eliminations, damping), step))
            return kUnbounded;
        double largest = 0;
        for (std::size_t k = 0; k < kFields; ++k) {
            to[k] += step[k];
            largest = std::max(largest, std::fabs(step[k]) / variation(k));
        }
        if (is_shared_)
            to[1] = to[0];
        for (std::size_t i = 0; i < points.size(); ++i) {
            const elimination &own = eliminations[i];
            double x = own.right_x, y = own.right_y;
            for (std::size_t k = 0; k < kFields; ++k) {
                x -= own.mixed[k][0] * step[k];
                y -= own.mixed[k][1] * step[k];
            }
            const double xx = own.xx * (1 + damping), yy = own.yy * (1 + damping), size = xx * yy - own.xy * own.xy;
            if (is_known(i) || !(size > 1e-12 * xx * yy))
                continue;
            const tangent axes(points[i]);
            points[i] = unit(points[i] + (x * yy - y * own.xy) / size * axes.across +
                             (y * xx - x * own.xy) / size * axes.along);
        }
        return std::isfinite(largest) ? largest : kUnbounded;
    }

    double residual() const {
        const auto lens = optics_of(numbers_);
        double sum = 0;
        std::size_t count = 0;
        for (std::size_t i = 0; i < samples_.size(); ++i)
            if (const auto off = used_[i] ? away(i, *lens, points_[samples_[i].point]) : std::nullopt) {
                sum += off->x * off->x + off->y * off->y;
                ++count;
            }
        return count ? std::sqrt(sum / static_cast<double>(count)) : kUnbounded;
    }

    // Those farther off than four times the usual, and a tenth of a pixel; a point that is seen once tells nothing.
    bool leave_out_outliers() {
        const auto lens = optics_of(numbers_);
        const double limit = std::max(3 * spread(*lens), 0.1); // spread is about 1.8 standard deviations of an axis
        bool is_changed = false;
        for (std::size_t i = 0; i < samples_.size(); ++i) {
            const auto off = away(i, *lens, points_[samples_[i].point]);
            const bool is_near = off && std::hypot(off->x, off->y) <= limit;
            is_changed = is_changed || is_near != used_[i];
            used_[i] = is_near;
        }
        return is_changed && ++exclusions_ < 10;
    }

    // Gives up the least determined field, if the sightings leave a position in the picture open by more than a pixel:
    // fixes it, or keeps it as a guess when what it would be fixed at is three standard deviations away, and one of
    // them moves the corner by less than a tenth of the picture.
    bool give_up_least_determined() {
        const auto lens = optics_of(numbers_);
        const std::array<bool, kFields> fitted = free_;
        for (std::size_t k = 0; k < kFields; ++k)
            free_[k] = free_[k] && !guessed_[k];
        std::vector<elimination> eliminations(points_.size());
        equations all = reduced(collect(*lens, 1e9, eliminations), eliminations, 0);
        const double noise = std::max(residual(), kLeastNoise);
        const double corner = farthest(width_, height_, width_ / 2.0, height_ / 2.0, numbers_[0], numbers_[1]);
        // What isn't determined at all is left open by some ten thousand pixels.
        for (std::size_t k = 0; k < kFields; ++k)
            all.matrix[k][k] += std::pow(noise * effect(k, corner) / 1e4, 2);
        std::array<numbers, kFields> covariance{};
        std::size_t least = 0; // the focal length, when it is the last
        double most = 0, deviation = 0;
        for (std::size_t i = 0; i < kFields; ++i) {
            const std::size_t k = order(i);
            all.right = {};
            all.right[k] = noise * noise;
            if (!free_[k])
                continue;
            const bool is_solved = solve(all, covariance[k]);
            // The second focal length is fixed at the first.
            const double variance =
                k == 1 ? covariance[0][0] + covariance[1][1] - 2 * covariance[0][1] : covariance[k][k];
            const double own = is_solved ? std::sqrt(std::max(variance, 0.0)) : kUnbounded;
            if (i > 0 && own * effect(k, corner) >= most) {
                most = own * effect(k, corner);
                least = k;
                deviation = own;
            }
        }
        const bool is_open = largest_deviation(*lens, covariance) > 1;
        free_ = fitted;
        if (!is_open)
            return false;
        const numbers plain = coefficients_of(Lens::of_fov(width_, height_, 60));
        const double fixed = least == 1 ? numbers_[0] : least < 4 ? plain[least] : 0;
        guessed_[least] = least == 0 || (std::fabs(numbers_[least] - fixed) > 3 * deviation && most < 0.1 * width_);
        if (!guessed_[least]) {
            free_[least] = false;
            numbers_[least] = fixed;
            is_shared_ = !free_[1];
        }
        return true;
    }

    // The standard deviation of positions in the picture, the largest of nine.
    double largest_deviation(const optics &lens, const std::array<numbers, kFields> &covariance) const {
        double largest = 0;
        for (int i = 0; i < 9; ++i) {
            const int column = i % 3, row = i / 3;
            const std::optional<vec> p = shown_near({column * (width_ - 1) / 2.0, row * (height_ - 1) / 2.0}, lens);
            if (!p)
                return kUnbounded;
            std::array<position, kFields> rates{};
            for (std::size_t k = 0; k < kFields; ++k) {
                numbers near = numbers_, far = numbers_;
                near[k] -= variation(k);
                far[k] += variation(k);
                if (is_shared_)
                    near[1] = near[0], far[1] = far[0];
                const auto low = optics_of(near), high = optics_of(far);
                if (!free_[k])
                    continue;
                if (!low || !high)
                    return kUnbounded;
                const position a = low->project(low->flat(*p)), b = high->project(high->flat(*p));
                rates[k] = {(b.x - a.x) / (2 * variation(k)), (b.y - a.y) / (2 * variation(k))};
            }
            double x = 0, y = 0;
            for (std::size_t k = 0; k < kFields; ++k)
                for (std::size_t m = 0; m < kFields; ++m) {
                    x += rates[k].x * covariance[k][m] * rates[m].x;
                    y += rates[k].y * covariance[k][m] * rates[m].y;
                }
            largest = std::max({largest, std::sqrt(std::max(x, 0.0)), std::sqrt(std::max(y, 0.0))});
        }
        return largest;
    }

    // What the lens shows at a position, or on the way there from its centre: a lens whose distortion isn't determined
    // tends to show less than the picture has, and its rim is the most uncertain.
    std::optional<vec> shown_near(position at, const optics &lens) const noexcept {
        for (int part = 256; part > 0; --part) {
            const double x = numbers_[2] + part * (at.x - numbers_[2]) / 256,
                         y = numbers_[3] + part * (at.y - numbers_[3]) / 256;
            if (const auto p = lens.unproject({x, y}))
                return p;
        }
        return std::nullopt;
    }

    // How far a change of a field by 1 moves the picture's corner.
    double effect(std::size_t k, double corner) const noexcept {
        const double r = kIsPinhole ? corner : std::min(corner, kPi), f = numbers_[0];
        if (k < 2)
            return r;
        if (k < 4)
            return 1;
        if (!kIsPinhole)
            return f * std::pow(r, 2.0 * static_cast<double>(k - 4) + 3);
        const double power = k == 4 ? 3 : k == 5 ? 5 : k == 8 ? 7 : 2;
        return f * std::pow(r, power);
    }

    static constexpr double kLeastNoise = 0.02; // pixels

    int width_, height_;
    std::span<const sighting> samples_;
    std::size_t known_;
    std::vector<frame> frames_;
    std::vector<vec> points_;
    std::vector<bool> used_;
    numbers numbers_{};
    std::array<bool, kFields> free_{};
    std::array<bool, kFields> guessed_{}; // free, but not determined
    bool is_shared_ = false;              // one focal length
    int exclusions_ = 0;
};

} // namespace internal

/**
 * Finds the lens of a camera. Lens is pinhole or fisheye.
 *
 * @param width      pixels of the pictures, 1 to 65535
 * @param height     pixels, 1 to 65535
 * @param sightings  ten or more, of points that are each seen from two or more orientations, all over the picture
 * @param known      the directions of the first points, as many as are known; such a point may be seen once
 * @return the lens; empty for too few sightings, for arguments out of range and when there is no lens that fits
 */
template <class Lens>
[[nodiscard]] std::optional<calibration<Lens>> calibrate(int width, int height, std::span<const sighting> sightings,
                                                         std::span<const direction> known = {}) {
    if (sightings.size() < 10 || !view::make(width, height, direction{0, 0}, 60))
        return std::nullopt;
    for (const sighting &one : sightings)
        if (!std::isfinite(one.at.x) || !std::isfinite(one.at.y) || !std::isfinite(one.where.pan) ||
            !std::isfinite(one.where.tilt) || !std::isfinite(one.where.roll) || one.point >= sightings.size())
            return std::nullopt;
    for (const direction d : known)
        if (!internal::is_finite(d))
            return std::nullopt;
    return internal::calibrator<Lens>(width, height, sightings, known).run();
}

} // namespace vela::overlay
