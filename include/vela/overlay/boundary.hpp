/**
 * @file
 * The boundary of what a lens sees of an outline, as chords on the screen. Part of <vela/overlay.hpp>; nothing here is
 * public.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <vela/overlay/flatten.hpp>

namespace vela::overlay::internal {

// Where an edge crosses the boundary of what is seen: the angle around the axis, where that is on the screen, and the
// change of the winding number along the boundary when that angle grows.
struct exit {
    double around;
    position at;
    int step;
};

template <class Lens, class Winding, class Chord>
class boundary {
public:
    // chord(from, to, weight) is called for each chord: on one side of it, the right one where it leads downward, the
    // winding number is greater by the weight. There must be memory for four exits of each edge. winding(direction) is
    // asked at the boundary of what is seen.
    boundary(const Lens &lens, std::span<exit> exits, const flattener<Lens> &flatten, Winding winding,
             Chord chord) noexcept
        : lens_(lens), exits_(exits), flatten_(flatten), winding_(winding), chord_(chord) {}

    // Directions in the view's frame; the last one is connected to the first. Together the chords are closed: the
    // winding number beyond what is seen is 0.
    void draw(std::span<const vec> corners) {
        for (std::size_t i = 0; i < corners.size(); ++i)
            cut_to_seen(lens_, corners[i], corners[i + 1 < corners.size() ? i + 1 : 0],
                        [this](vec a, vec b, bool enters, bool leaves) { add(a, b, enters, leaves); });
        close();
    }

private:
    void add(vec a, vec b, bool enters, bool leaves) {
        if (enters)
            add_exit(a, 1);
        if (leaves)
            add_exit(b, -1);
        flatten_.arc(a, b, [this](position from, position to) { chord_(from, to, 1); });
    }

    void add_exit(vec p, int step) noexcept {
        if (count_ < exits_.size())
            exits_[count_++] = {std::atan2(-p.z, p.y), lens_.project(lens_.flat(p)), step};
    }

    // Adds the parts of the boundary of what is seen that are inside. Around the axis the winding number changes at the
    // exits alone.
    void close() {
        const auto angle_after = [this](std::size_t i) {
            return i + 1 < count_ ? exits_[i + 1].around : exits_[0].around + 2 * kPi;
        };
        if (count_ == 0) {
            const int winding = winding_(unit(lens_.rim(0)));
            const position at = lens_.project(lens_.flat(lens_.rim(kPi)));
            return winding ? add_rim({-kPi, at, 0}, {kPi, at, 0}, winding) : void();
        }
        std::sort(exits_.begin(), exits_.begin() + static_cast<std::ptrdiff_t>(count_),
                  [](const exit &a, const exit &b) { return a.around < b.around; });
        std::size_t widest = 0;
        for (std::size_t i = 1; i < count_; ++i)
            if (angle_after(i) - exits_[i].around > angle_after(widest) - exits_[widest].around)
                widest = i;
        int winding = winding_(unit(lens_.rim((exits_[widest].around + angle_after(widest)) / 2)));
        for (std::size_t i = 0, at = widest; i < count_; ++i) {
            const std::size_t next = at + 1 < count_ ? at + 1 : 0;
            if (winding != 0)
                add_rim(exits_[at], {angle_after(at), exits_[next].at, 0}, winding);
            winding += exits_[next].step;
            at = next;
        }
    }

    // The screen is on the right of who goes around by growing angles, clockwise.
    void add_rim(const exit &from, const exit &to, int winding) {
        const auto chord = [&](position a, position b) { chord_(a, b, winding); };
        if constexpr (Lens::kFoldEdges > 0)
            if (lens_.folds()) {
                position last = to.at;
                lens_.rim_parts(to.around, from.around, [&](double begin, double end, bool is_arc) {
                    const vec a = lens_.rim(begin), b = lens_.rim(end);
                    const position next = end == from.around ? from.at : lens_.project(b);
                    is_arc ? flatten_.arc(a, b, last, next, chord) : flatten_.rim(begin, end, last, next, chord);
                    last = next;
                });
                return chord(last, from.at);
            }
        flatten_.rim(to.around, from.around, to.at, from.at, chord);
    }

    const Lens &lens_;
    std::span<exit> exits_;
    std::size_t count_ = 0;
    const flattener<Lens> &flatten_;
    Winding winding_;
    Chord chord_;
};

} // namespace vela::overlay::internal
