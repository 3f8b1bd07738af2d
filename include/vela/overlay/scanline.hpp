/**
 * @file
 * A row of pixels while a polygon is filled. Part of <vela/overlay.hpp>; nothing here is public.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <type_traits>

namespace vela::overlay::internal {

struct freed {
    void operator()(void *block) const noexcept { std::free(block); }
};
template <class T>
using array = std::unique_ptr<T[], freed>;

// Uninitialised, from the C allocator, which needs no C++ library at run time; null when memory runs out.
template <class T>
array<T> allocate(std::size_t count) noexcept {
    static_assert(std::is_trivially_default_constructible_v<T> && std::is_trivially_destructible_v<T>);
    constexpr std::size_t size = sizeof(T); // NOLINT(bugprone-sizeof-expression): T may be a pointer
    if (count > PTRDIFF_MAX / size)
        return nullptr;
    return array<T>(static_cast<T *>(std::malloc((count ? count : 1) * size)));
}

// Where edges cross the scanline, and what they touch of the row around it.
class scanline {
public:
    explicit scanline(std::size_t max_edges) noexcept
        : capacity_(max_edges), crossings_(allocate<crossing>(max_edges)),
          intervals_(allocate<interval>(2 * max_edges)) {}
    explicit operator bool() const noexcept { return crossings_ && intervals_; }

    // What is between intervals that are twice the reach apart at most is within reach.
    void clear(double reach = 0) noexcept {
        crossing_count_ = interval_count_ = 0;
        last_polygon_ = 0;
        gap_ = 2 * reach;
    }
    // A polygon's winding number changes by step from left to right. Several polygons can be filled at once. Of more
    // edges than there is memory for all of the row is taken.
    void cross(double x, int step, int which = 0) noexcept {
        last_polygon_ = std::max(last_polygon_, which);
        if (crossing_count_ < capacity_)
            insert(crossings_.get(), crossing_count_, {x, 4 * step + which}, &crossing::x);
        else
            touch(-1e9, 1e9);
    }
    void touch(double begin, double end) noexcept {
        if (interval_count_ == 2 * capacity_)
            unite();
        insert(intervals_.get(), interval_count_, {begin, end}, &interval::begin);
    }

    // Unites the intervals inside on the scanline with those that are touched, and hands out the pixels whose centres
    // are in it or within reach.
    template <class Each>
    void emit(int y, int width, double reach, Each &each) {
        sort(crossings_.get(), crossing_count_, &crossing::x);
        for (int which = 0; which <= last_polygon_; ++which) {
            int winding = 0;
            double from = 0;
            const crossing *const last = crossings_.get() + crossing_count_;
            for (const crossing *at = crossings_.get(); at != last; ++at) {
                if ((at->step & 3) != which)
                    continue;
                if (winding == 0)
                    from = at->x;
                winding += at->step >> 2;
                if (winding == 0)
                    touch(from, at->x);
            }
            if (winding != 0)
                touch(from, width + 1.0);
        }
        // ceil(), of what isn't negative.
        const auto pixel = [right = static_cast<double>(width)](double x) {
            const double kept = std::clamp(x, 0.0, right);
            const int whole = static_cast<int>(kept);
            return whole + (whole < kept);
        };
        int begin = 0, end = 0;
        double reached = -1e300;
        sort(intervals_.get(), interval_count_, &interval::begin);
        const interval *const last = intervals_.get() + interval_count_;
        for (const interval *at = intervals_.get(); at != last; ++at) {
            if (at->end <= reached)
                continue;
            reached = at->end;
            const int next_begin = pixel(at->begin - reach), next_end = pixel(reached + reach);
            if (next_begin > end) {
                if (end > begin)
                    each(y, begin, end);
                begin = next_begin;
            }
            end = std::max(end, next_end);
        }
        if (end > begin)
            each(y, begin, end);
    }

private:
    struct crossing {
        double x;
        int step; // times 4, and which of up to four polygons
    };

    struct interval {
        double begin, end;
    };

    // Most rows have few items, which come nearly sorted: they are inserted. More than that are sorted at the end.
    static constexpr std::size_t kFew = 32;
    template <class Item>
    static void insert(Item *items, std::size_t &count, Item item, double Item::*key) noexcept {
        std::size_t at = count++;
        if (at < kFew)
            for (; at > 0 && items[at - 1].*key > item.*key; --at)
                items[at] = items[at - 1];
        items[at] = item;
    }
    template <class Item>
    static void sort(Item *items, std::size_t count, double Item::*key) noexcept {
        if (count > kFew)
            std::sort(items, items + count, [key](const Item &a, const Item &b) { return a.*key < b.*key; });
    }

    // Makes intervals one between which there is nothing out of reach; if there are none, all.
    [[gnu::noinline]] void unite() noexcept {
        std::size_t last = 0;
        sort(intervals_.get(), interval_count_, &interval::begin);
        const bool are_apart = interval_count_ > capacity_ && [this] {
            for (std::size_t i = 1; i < interval_count_; ++i)
                if (intervals_[i].begin <= intervals_[i - 1].end + gap_)
                    return false;
            return true;
        }();
        for (std::size_t i = 1; i < interval_count_; ++i) {
            if (intervals_[i].begin > intervals_[last].end + gap_ && !are_apart)
                intervals_[++last] = intervals_[i];
            else
                intervals_[last].end = std::max(intervals_[last].end, intervals_[i].end);
        }
        interval_count_ = last + 1;
    }

    std::size_t capacity_;
    array<crossing> crossings_;
    array<interval> intervals_;
    std::size_t crossing_count_ = 0, interval_count_ = 0;
    int last_polygon_ = 0;
    double gap_ = 0;
};

} // namespace vela::overlay::internal
