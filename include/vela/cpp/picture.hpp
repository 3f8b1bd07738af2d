/**
 * @file
 * Pictures as cameras make them, where they lie: vela/picture.h for C++.
 *
 *     const auto frame = vela::picture::make(vela::picture::format::nv12, vela::picture::colours::bt709_studio, 1920,
 *                                            1080, planes); // as the driver gives them
 *     if (!frame || !seen || !frame->hide(*door, *seen))
 *         return; // send nothing
 *     frame->text(16, 16, "Front gate 12:30:05", 3);
 *     const auto rgb = vela::picture::make(vela::picture::format::rgb24, frame->colour_space(), 1920, 1080, bytes);
 *     if (rgb && frame->convert_to(*rgb)) ...
 *
 * A picture is a view of memory of the caller's, as cheap to copy as a span. Only its making can fail for what it is,
 * so a picture that there is fits its memory. Needs the library `vela-overlay`. Nothing throws.
 */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <type_traits>
#include <vela/overlay.hpp>
#include <vela/picture.h>

namespace vela {

namespace internal {

// Takes the runs of a mask: one type for all that is done with them, so that drawing is compiled once. The first are
// kept up to the capacity, others are hidden if there is a picture.
struct run_receiver {
    vela_run *runs = nullptr;
    std::size_t capacity = 0;
    const vela_picture *onto = nullptr;
    const vela_cover *how = nullptr;
    std::size_t count = 0;

    void operator()(int y, int begin, int end) noexcept {
        const vela_run run = {y, begin, end};
        if (count < capacity)
            runs[count] = run;
        else if (onto)
            (void)vela_picture_hide(onto, &run, 1, how);
        ++count;
    }
};

} // namespace internal

/** A picture in memory of the caller's. */
class picture {
public:
    /** How pixels lie in memory. */
    enum class format : std::int32_t {
        rgb24 = VELA_RGB24, /**< bytes R, G, B */
        bgr24 = VELA_BGR24, /**< bytes B, G, R */
        rgba = VELA_RGBA,   /**< bytes R, G, B, alpha */
        yuyv = VELA_YUYV,   /**< 4:2:2, bytes Y0, Cb, Y1, Cr */
        uyvy = VELA_UYVY,   /**< 4:2:2, bytes Cb, Y0, Cr, Y1 */
        nv12 = VELA_NV12,   /**< 4:2:0, planes of Y and of pairs Cb, Cr */
        nv21 = VELA_NV21,   /**< 4:2:0, planes of Y and of pairs Cr, Cb */
        i420 = VELA_I420,   /**< 4:2:0, planes of Y, Cb, Cr */
        i422 = VELA_I422,   /**< 4:2:2, planes of Y, Cb, Cr */
        i444 = VELA_I444,   /**< 4:4:4, planes of Y, Cb, Cr */
        grey = VELA_GREY    /**< a plane of Y */
    };

    /** What the numbers of YCbCr mean. */
    enum class colours : std::int32_t {
        bt601_full = VELA_BT601_FULL,     /**< BT.601 weights, 0 to 255 */
        bt601_studio = VELA_BT601_STUDIO, /**< BT.601 weights, luma 16 to 235, chroma 16 to 240 */
        bt709_studio = VELA_BT709_STUDIO, /**< BT.709 weights, luma 16 to 235, chroma 16 to 240 */
        bt709_full = VELA_BT709_FULL      /**< BT.709 weights, 0 to 255 */
    };

    /** A colour, full range. */
    using rgb = vela_rgb;

    /** A plane as a driver gives it. */
    struct plane {
        std::span<std::uint8_t> bytes; /**< from the first byte of the first row on */
        std::size_t stride;            /**< bytes from the start of one row to that of the next */
    };

    /** How an area is hidden: solid() unless it is said. */
    class cover {
    public:
        /** One colour. */
        [[nodiscard]] static constexpr cover solid(rgb colour = {0, 0, 0}) noexcept {
            return cover({VELA_SOLID, 0, colour});
        }
        /** Squares of that many pixels or more, each of the average of what it covers. */
        [[nodiscard]] static constexpr cover blocks(int size) noexcept { return cover({VELA_BLOCKS, size, {}}); }
        /** Smooth shades between the centres of such squares. */
        [[nodiscard]] static constexpr cover blur(int size) noexcept { return cover({VELA_BLUR, size, {}}); }

        constexpr cover() noexcept : cover(solid()) {}
        /** What the C functions take; functions refuse one out of range. */
        constexpr explicit cover(const vela_cover &record) noexcept : record_(record) {}

        /** The record that the C functions take. */
        [[nodiscard]] constexpr const vela_cover &record() const noexcept { return record_; }

    private:
        vela_cover record_;
    };

    /**
     * A picture of planes.
     *
     * @param how     its format
     * @param space   its colours
     * @param width   pixels, 1 to 65535
     * @param height  rows, 1 to 65535
     * @param planes  as many as the format has; others are ignored
     * @return the picture; empty where something is out of range or a plane too small
     */
    [[nodiscard]] static std::optional<picture> make(format how, colours space, int width, int height,
                                                     std::span<const plane> planes) noexcept {
        picture made(how, space, width, height);
        std::size_t i = 0;
        for (vela_plane &to : made.record_.planes)
            if (i < planes.size()) {
                to = {planes[i].bytes.data(), planes[i].bytes.size(), planes[i].stride};
                ++i;
            }
        return checked(made);
    }

    /** The same of one piece of memory: plane after plane, row after row, without gaps. */
    [[nodiscard]] static std::optional<picture> make(format how, colours space, int width, int height,
                                                     std::span<std::uint8_t> bytes) noexcept {
        picture made(how, space, width, height);
        (void)vela_picture_lay_out(&made.record_, bytes.data(), bytes.size());
        return checked(made);
    }

    /** The same from the record that the C functions take. */
    [[nodiscard]] static std::optional<picture> make(const vela_picture &record) noexcept {
        return checked(picture(record));
    }

    /** The bytes that a picture takes without gaps; 0 for a size out of range. */
    [[nodiscard]] static std::size_t size(format how, int width, int height) noexcept {
        picture made(how, colours::bt601_full, width, height);
        return vela_picture_lay_out(&made.record_, nullptr, 0);
    }

    [[nodiscard]] int width() const noexcept { return record_.width; }   /**< pixels */
    [[nodiscard]] int height() const noexcept { return record_.height; } /**< rows */
    /** How its pixels lie. */
    [[nodiscard]] format layout() const noexcept { return static_cast<format>(record_.format); }
    /** What its numbers mean. */
    [[nodiscard]] colours colour_space() const noexcept { return static_cast<colours>(record_.colours); }
    /** The record that the C functions take. */
    [[nodiscard]] const vela_picture &record() const noexcept { return record_; }

    /**
     * Converts the picture: see vela_picture_convert().
     *
     * @param to  a picture of the same size; none of this one's memory
     * @return whether it's done; false with nothing written
     */
    [[nodiscard]] bool convert_to(const picture &to) const noexcept {
        return vela_picture_convert(&record_, &to.record_) == 0;
    }

    /**
     * Hides pixels, with all chroma that any of them has a share in: see vela_picture_hide().
     *
     * @param runs  which; what lies outside is left out
     * @param how   under what
     * @return whether it's done; false with nothing written for blocks or a blur out of range
     */
    [[nodiscard]] bool hide(std::span<const vela_run> runs, const cover &how = {}) const noexcept {
        return vela_picture_hide(&record_, runs.data(), runs.size(), &how.record()) == 0;
    }

    /**
     * Hides what a mask covers.
     *
     * @param what  the mask
     * @param seen  what the picture shows; of its size
     * @param how   under what
     * @return whether it's done; false with nothing written where sizes differ or the cover is out of range
     */
    [[nodiscard]] bool hide(overlay::mask &what, const overlay::view &seen, const cover &how = {}) const noexcept {
        return is_shown(seen) && hide_drawn([&](receiver &each) { what.draw(seen, each); }, how);
    }

    /** The same for what a mask covers at any moment of the motion from one view to another. */
    [[nodiscard]] bool hide(overlay::mask &what, const overlay::view &from, const overlay::view &to,
                            const cover &how = {}) const noexcept {
        return is_shown(from) && is_shown(to) && hide_drawn([&](receiver &each) { what.draw(from, to, each); }, how);
    }

    /**
     * Draws text: see vela_picture_text().
     *
     * @param x      the left edge
     * @param y      the upper edge
     * @param line   the text, ends with a null character
     * @param scale  pixels of a dot's side, 1 to 1000
     * @param ink    the colour of the dots
     * @param paper  the colour between them, if any
     * @return whether it's done; false with nothing written for a scale out of range
     */
    bool text(int x, int y, const char *line, int scale = 2, rgb ink = {255, 255, 255},
              std::optional<rgb> paper = rgb{0, 0, 0}) const noexcept {
        return vela_picture_text(&record_, x, y, line, scale, &ink, paper ? &*paper : nullptr) == 0;
    }

    /**
     * Draws a line between two positions, both included.
     *
     * @param from       one end, up to a million pixels from the picture
     * @param to         the other
     * @param ink        its colour
     * @param thickness  in pixels, 1 to 1000
     * @return whether it's done; false with nothing written for what is out of range
     */
    bool line(overlay::position from, overlay::position to, rgb ink = {255, 255, 255},
              int thickness = 1) const noexcept {
        const auto near = [](double place) { return -kFarthest <= place && place <= kFarthest; };
        const auto nearest = [](double place) { return static_cast<std::int32_t>(std::lround(place)); };
        return near(from.x) && near(from.y) && near(to.x) && near(to.y) &&
               vela_picture_line(&record_, nearest(from.x), nearest(from.y), nearest(to.x), nearest(to.y), thickness,
                                 &ink) == 0;
    }

private:
    static constexpr double kFarthest = 1e6;

    using receiver = internal::run_receiver;

    struct freed {
        void operator()(void *block) const noexcept { std::free(block); }
    };

    explicit picture(const vela_picture &record) noexcept : record_(record) {}
    picture(format how, colours space, int width, int height) noexcept
        : record_{width, height, static_cast<std::int32_t>(how), static_cast<std::int32_t>(space), {}} {}

    static std::optional<picture> checked(const picture &made) noexcept {
        return vela_picture_is_valid(&made.record_) ? std::optional(made) : std::nullopt;
    }

    bool is_shown(const overlay::view &seen) const noexcept {
        return seen.width() == record_.width && seen.height() == record_.height;
    }

    // Averages are those of the picture before: without memory for all runs the area becomes solid.
    template <class Draw>
    bool hide_drawn(Draw &&draw, const cover &how) const noexcept {
        if (!hide({}, how))
            return false;
        if (how.record().style != VELA_SOLID) {
            receiver counter;
            draw(counter);
            const std::unique_ptr<vela_run[], freed> all(
                static_cast<vela_run *>(std::malloc((counter.count + 1) * sizeof(vela_run))));
            if (all) {
                receiver collector{all.get(), counter.count};
                draw(collector);
                return hide(std::span<const vela_run>(all.get(), counter.count), how);
            }
        }
        const vela_cover solid = cover::solid(how.record().colour).record();
        receiver filler{nullptr, 0, &record_, &solid};
        draw(filler);
        return true;
    }

    vela_picture record_;
};

} // namespace vela
