/**
 * @file
 * The convex hull of points with 8-bit coordinates, such as the colours of a picture: vela/chull.h for C++.
 *
 *     if (std::optional<vela::hull> colours = vela::hull::of_pixels(picture)) {
 *         for (const chull_face &face : colours->faces())
 *             draw(face);
 *         if (std::optional<vela::hull::membership_table> table = colours->membership())
 *             fraction = table->count(other_picture);
 *     }
 *
 * The records of the C functions are shown as they are. Nothing throws. A hull, or a membership table, may be read by
 * many threads at once.
 */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <utility>
#include <vela/chull.h>
#include <vela/cpp/owner.hpp>
#include <vela/cpp/result.hpp>

namespace vela {

namespace internal {

inline void release_hull(chull_ctx *record) noexcept {
    free_chull(record);
    std::free(record);
}

} // namespace internal

/**
 * A finished hull.
 *
 *     std::optional<vela::hull> colours = vela::hull::of_pixels(picture);
 *     if (colours && colours->contains({10, 20, 30}))
 *         cubes = colours->volume();
 *
 * When get_chull() fails, it prints the reason on the standard error stream.
 */
class hull {
public:
    /** A point, in 8-bit space or outside of it. */
    struct point {
        std::int32_t x; /**< first coordinate */
        std::int32_t y; /**< second */
        std::int32_t z; /**< third */

        /** Whether they are the same point. */
        friend bool operator==(const point &, const point &) noexcept = default;
    };

    /** Squared distances from a point to the faces. */
    struct squared_distances {
        std::uint32_t nearest;  /**< to the nearest face */
        std::uint32_t farthest; /**< to the farthest */
    };

    template <class Record>
    class records;
    class membership_table;

    /** The coordinates of a vertex. */
    [[nodiscard]] static point point_of(const chull_vertex &vertex) noexcept {
        return {vertex.coord[0], vertex.coord[1], vertex.coord[2]};
    }

    /**
     * The hull of points in three arrays of the same length.
     *
     * @param xs  the first coordinates
     * @param ys  the second
     * @param zs  the third
     * @return the hull; empty when the lengths differ or exceed 2^31 - 1, when memory runs out, or when the points have
     *         none: no three consecutive points that are not collinear, or all points coplanar
     */
    [[nodiscard]] static result<hull> of_points(std::span<const std::uint8_t> xs, std::span<const std::uint8_t> ys,
                                                std::span<const std::uint8_t> zs) noexcept {
        result<hull> made = make_empty();
        return made && made->grow(xs, ys, zs) && !made->empty() ? std::move(made) : std::nullopt;
    }

    /**
     * The hull of interleaved pixels.
     *
     * @param pixels      the pixels without padding, each with x, y and z as its first bytes
     * @param pixel_size  bytes of a pixel, at least 3
     * @return the hull; empty as for of_points(), and when the last pixel is incomplete
     */
    [[nodiscard]] static result<hull> of_pixels(std::span<const std::uint8_t> pixels,
                                                std::size_t pixel_size = 3) noexcept {
        result<hull> made = make_empty();
        return made && made->grow_by_pixels(pixels, pixel_size) && !made->empty() ? std::move(made) : std::nullopt;
    }

    /**
     * Takes over a hull that get_chull() finished.
     *
     * @param record  the hull
     * @return its owner; empty for null, for a hull without faces and when a coordinate is not in 0 to 255: the record
     *         then remains the caller's
     */
    [[nodiscard]] static result<hull> adopt(chull_ctx *record) noexcept;

    /**
     * Grows the hull by further points.
     *
     * @param xs  the first coordinates
     * @param ys  the second
     * @param zs  the third
     * @return true. False when the lengths differ or exceed 2^31 - 1, with the hull unchanged, and when memory runs
     *         out: the hull is then empty
     */
    [[nodiscard]] bool grow(std::span<const std::uint8_t> xs, std::span<const std::uint8_t> ys,
                            std::span<const std::uint8_t> zs) noexcept {
        if (xs.size() != ys.size() || xs.size() != zs.size() || xs.size() > INT32_MAX)
            return false;
        if (xs.empty())
            return true;
        if (get_chull(xs.data(), ys.data(), zs.data(), static_cast<std::int32_t>(xs.size()), get()) == 0)
            return true;
        free_chull(get());
        return false;
    }

    /**
     * Grows the hull by interleaved pixels.
     *
     * @param pixels      as for of_pixels()
     * @param pixel_size  bytes of a pixel, at least 3
     * @return as grow(); false, with the hull unchanged, also when the last pixel is incomplete and when there is no
     *         memory for a copy of the coordinates
     */
    [[nodiscard]] bool grow_by_pixels(std::span<const std::uint8_t> pixels, std::size_t pixel_size = 3) noexcept {
        if (pixel_size < 3 || pixels.size() % pixel_size != 0)
            return false;
        const std::size_t count = pixels.size() / pixel_size;
        const std::unique_ptr<std::uint8_t[]> planes(new (std::nothrow) std::uint8_t[3 * count]);
        if (!planes)
            return false;
        std::uint8_t *const xs = planes.get(), *const ys = xs + count, *const zs = ys + count;
        for (std::size_t i = 0; i < count; ++i) {
            xs[i] = pixels[i * pixel_size];
            ys[i] = pixels[i * pixel_size + 1];
            zs[i] = pixels[i * pixel_size + 2];
        }
        return grow({xs, count}, {ys, count}, {zs, count});
    }

    /** Whether a point, any point, is in the hull or on its surface; see membership() for many of them. */
    [[nodiscard]] bool contains(point p) const noexcept {
        return is_within(p, 0) && is_in_chull(get(), p.x, p.y, p.z) != 0;
    }

    /**
     * The squared distances from a point to the nearest and to the farthest of the faces, rounded as by
     * dist_to_chull(). The point may be inside.
     *
     * @param p  the point
     * @return the distances; empty when the hull is, and for points more than 5000 outside of the range 0 to 255, for
     *         which 32 bits would overflow
     */
    [[nodiscard]] std::optional<squared_distances> distances(point p) const noexcept {
        squared_distances result = {};
        if (empty() || !is_within(p, 5000) ||
            dist_to_chull(get(), p.x, p.y, p.z, &result.nearest, &result.farthest) != 0)
            return std::nullopt;
        return result;
    }

    /** The volume. */
    [[nodiscard]] double volume() const noexcept { return chull_volume6(get()) / 6.0; }

    /** Whether the hull was lost by a failure to grow. */
    [[nodiscard]] bool empty() const noexcept { return !get()->faces; }

    [[nodiscard]] records<chull_vertex> vertices() const noexcept; /**< the vertices */
    [[nodiscard]] records<chull_edge> edges() const noexcept;      /**< the edges */
    [[nodiscard]] records<chull_face> faces() const noexcept;      /**< the faces, all of them triangles */

    /** The number of vertices, in linear time. */
    [[nodiscard]] std::size_t vertex_count() const noexcept { return chull_num_vertices(get()); }
    /** The number of edges, in linear time. */
    [[nodiscard]] std::size_t edge_count() const noexcept { return chull_num_edges(get()); }
    /** The number of faces, in linear time. */
    [[nodiscard]] std::size_t face_count() const noexcept { return chull_num_faces(get()); }

    /** Which points of 8-bit space are inside, as a table for many queries; empty when memory runs out. */
    [[nodiscard]] result<membership_table> membership() const noexcept;

    /**
     * Writes an OFF polyhedron file, the same as chull_to_file(). The `vnum` of each vertex becomes its index in the
     * file.
     *
     * @param path  the file, created or truncated
     * @return whether all of it was written
     */
    [[nodiscard]] bool write_off(const char *path) noexcept;

    /** The record, for C functions; it remains this object's. */
    [[nodiscard]] chull_ctx *get() noexcept { return record_.get(); }
    [[nodiscard]] const chull_ctx *get() const noexcept { return record_.get(); } /**< the same, read-only */
    /** Hands the record over to the caller, who releases it by free_chull() and free(). */
    [[nodiscard]] chull_ctx *release() noexcept { return record_.release(); }

private:
    explicit hull(chull_ctx *record) noexcept : record_(record) {}

    static result<hull> make_empty() noexcept {
        chull_ctx *record = nullptr;
        return alloc_chull(&record) == 0 ? result<hull>(hull(record)) : std::nullopt;
    }

    // Whether all coordinates are in the range 0 to 255, widened by a margin.
    static bool is_within(point p, std::int32_t margin) noexcept {
        const auto [least, greatest] = std::minmax({p.x, p.y, p.z});
        return least >= -margin && greatest <= UINT8_MAX + margin;
    }

    internal::owner<chull_ctx, internal::release_hull> record_;
};

/**
 * One of the circular lists of a hull as a forward range, in the list's order.
 *
 *     for (const chull_vertex &vertex : colours.vertices())
 *         add(vela::hull::point_of(vertex));
 *
 * It is valid until the hull grows, is assigned to or is destroyed.
 */
template <class Record>
class hull::records {
public:
    class iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Record;
        using difference_type = std::ptrdiff_t;
        using pointer = const Record *;
        using reference = const Record &;

        iterator() noexcept = default;
        reference operator*() const noexcept { return *record_; }
        pointer operator->() const noexcept { return record_; }
        iterator &operator++() noexcept {
            record_ = record_->next == head_ ? nullptr : record_->next;
            return *this;
        }
        iterator operator++(int) noexcept {
            const iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const iterator &a, const iterator &b) noexcept { return a.record_ == b.record_; }

    private:
        friend records;
        explicit iterator(const Record *head) noexcept : record_(head), head_(head) {}

        const Record *record_ = nullptr, *head_ = nullptr;
    };

    /** The records of the list that begins at a head; none for null. */
    explicit records(const Record *head) noexcept : head_(head) {}

    [[nodiscard]] iterator begin() const noexcept { return iterator(head_); } /**< the list's head */
    [[nodiscard]] iterator end() const noexcept { return iterator(); }        /**< one past the last record */
    [[nodiscard]] bool empty() const noexcept { return !head_; }              /**< whether there are none */

private:
    const Record *head_;
};

/**
 * Which points of 8-bit space are in a hull: for each of the 65,536 columns of points with the same x and y, the lowest
 * and the highest z inside, in 128 KiB. The answers are those of hull::contains(), for every point.
 *
 *     if (auto table = colours.membership())
 *         inside = table->contains(red, green, blue);
 *
 * It is made by hull::membership() and does not follow when the hull grows.
 */
class hull::membership_table {
public:
    /** The points of a column that are inside: those with `lowest` <= z <= `highest`; none if `lowest` is greater. */
    struct column {
        std::uint8_t lowest;  /**< the least z inside */
        std::uint8_t highest; /**< the greatest */

        /** Whether no point is inside. */
        [[nodiscard]] bool empty() const noexcept { return lowest > highest; }
        /** Whether the point with this z is inside. */
        [[nodiscard]] bool contains(std::uint8_t z) const noexcept { return lowest <= z && z <= highest; }
    };

    /** The column of points (x, y, z) with any z. */
    [[nodiscard]] column operator()(std::uint8_t x, std::uint8_t y) const noexcept { return columns_[index(x, y)]; }

    /** Whether a point is in the hull or on its surface. */
    [[nodiscard]] bool contains(std::uint8_t x, std::uint8_t y, std::uint8_t z) const noexcept {
        return (*this)(x, y).contains(z);
    }

    /**
     * Tests for each pixel whether it is inside.
     *
     * @param pixels      the pixels without padding, each with x, y and z as its first bytes
     * @param inside      receives 1 or 0 for each of them
     * @param pixel_size  bytes of a pixel, at least 3
     * @return true; false, with nothing written, when the sizes do not match
     */
    [[nodiscard]] bool test(std::span<const std::uint8_t> pixels, std::span<std::uint8_t> inside,
                            std::size_t pixel_size = 3) const noexcept {
        if (pixel_size < 3 || pixels.size() % pixel_size != 0 || inside.size() != pixels.size() / pixel_size)
            return false;
        const std::uint8_t *pixel = pixels.data();
        for (std::uint8_t &result : inside) {
            result = contains(pixel[0], pixel[1], pixel[2]);
            pixel += pixel_size;
        }
        return true;
    }

    /**
     * Counts the pixels that are inside.
     *
     * @param pixels      as for test()
     * @param pixel_size  bytes of a pixel, at least 3
     * @return their number; empty when the last pixel is incomplete
     */
    [[nodiscard]] std::optional<std::size_t> count(std::span<const std::uint8_t> pixels,
                                                   std::size_t pixel_size = 3) const noexcept {
        if (pixel_size < 3 || pixels.size() % pixel_size != 0)
            return std::nullopt;
        std::size_t number = 0;
        for (std::size_t at = 0; at < pixels.size(); at += pixel_size)
            number += contains(pixels[at], pixels[at + 1], pixels[at + 2]);
        return number;
    }

private:
    friend class hull;

    static constexpr std::size_t kColumns = 65536;

    explicit membership_table(std::unique_ptr<column[]> columns) noexcept : columns_(std::move(columns)) {}

    static constexpr std::size_t index(std::size_t x, std::size_t y) noexcept { return x << 8 | y; }

    static constexpr std::int32_t floor_divide(std::int32_t a, std::int32_t positive) noexcept {
        return a >= 0 ? a / positive : -((positive - 1 - a) / positive);
    }
    static constexpr std::int32_t ceil_divide(std::int32_t a, std::int32_t positive) noexcept {
        return -floor_divide(-a, positive);
    }

    // Rasterizes an upper or lower face: it bounds the hull in the columns that meet the face or its boundary. The
    // plane of the face is n p = h, with n pointing outward.
    void rasterize(const chull_face &face) noexcept {
        point corners[3];
        for (int i = 0; i < 3; ++i)
            corners[i] = point_of(*face.vert[i]);
        const point a = corners[0], b = corners[1], c = corners[2];
        const point n = {(b.y - a.y) * (c.z - a.z) - (b.z - a.z) * (c.y - a.y),
                         (b.z - a.z) * (c.x - a.x) - (b.x - a.x) * (c.z - a.z),
                         (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x)};
        if (n.z == 0)
            return;
        const std::int32_t h = n.x * a.x + n.y * a.y + n.z * a.z;
        std::sort(corners, corners + 3, [](const point &p, const point &q) { return p.x < q.x; });
        for (std::int32_t x = corners[0].x; x <= corners[2].x; ++x) {
            // The scanline of this x crosses the edge between the outer corners and one of the other two.
            const bool is_left = x < corners[1].x || corners[1].x == corners[2].x;
            const edge edges[2] = {{corners[0], corners[2]},
                                   is_left ? edge{corners[0], corners[1]} : edge{corners[1], corners[2]}};
            const std::int32_t first = std::min(edges[0].ceil_at(x), edges[1].ceil_at(x));
            const std::int32_t last = std::max(edges[0].floor_at(x), edges[1].floor_at(x));
            for (std::int32_t y = first; y <= last; ++y) {
                const std::int32_t rest = h - n.x * x - n.y * y; // n.z z here
                column &bounds = columns_[index(static_cast<std::size_t>(x), static_cast<std::size_t>(y))];
                if (n.z > 0)
                    bounds.highest = static_cast<std::uint8_t>(floor_divide(rest, n.z));
                else
                    bounds.lowest = static_cast<std::uint8_t>(ceil_divide(-rest, -n.z));
            }
        }
    }

    // An edge of a face, projected along z, in the order of x; and its y at an x, rounded up or down.
    struct edge {
        point from, to;

        std::int32_t ceil_at(std::int32_t x) const noexcept {
            return from.y + ceil_divide((to.y - from.y) * (x - from.x), to.x - from.x);
        }
        std::int32_t floor_at(std::int32_t x) const noexcept {
            return from.y + floor_divide((to.y - from.y) * (x - from.x), to.x - from.x);
        }
    };

    std::unique_ptr<column[]> columns_;
};

inline hull::records<chull_vertex> hull::vertices() const noexcept { return records<chull_vertex>(get()->vertices); }
inline hull::records<chull_edge> hull::edges() const noexcept { return records<chull_edge>(get()->edges); }
inline hull::records<chull_face> hull::faces() const noexcept { return records<chull_face>(get()->faces); }

inline result<hull> hull::adopt(chull_ctx *record) noexcept {
    if (!record || !record->faces)
        return std::nullopt;
    for (const chull_vertex &vertex : records<chull_vertex>(record->vertices))
        if (!is_within(point_of(vertex), 0))
            return std::nullopt;
    return hull(record);
}

inline result<hull::membership_table> hull::membership() const noexcept {
    using column = membership_table::column;
    static_assert(sizeof(column) == 2);
    std::unique_ptr<column[]> columns(new (std::nothrow) column[membership_table::kColumns]);
    if (!columns)
        return std::nullopt;
    std::fill_n(columns.get(), membership_table::kColumns, column{UINT8_MAX, 0});
    membership_table made(std::move(columns));
    for (const chull_face &face : faces())
        made.rasterize(face);
    return made;
}

inline bool hull::write_off(const char *path) noexcept {
    std::FILE *file = std::fopen(path, "w");
    if (!file)
        return false;
    std::fprintf(file, "OFF\n%zu %zu %zu\n", vertex_count(), face_count(), edge_count());
    std::int32_t index = 0;
    chull_vertex *vertex = get()->vertices;
    for (std::size_t left = vertex_count(); left > 0; --left, vertex = vertex->next) {
        vertex->vnum = index++;
        std::fprintf(file, "%d %d %d\n", vertex->coord[0], vertex->coord[1], vertex->coord[2]);
    }
    for (const chull_face &face : faces())
        std::fprintf(file, "3 %d %d %d\n", face.vert[0]->vnum, face.vert[1]->vnum, face.vert[2]->vnum);
    const bool complete = !std::ferror(file);
    return std::fclose(file) == 0 && complete;
}

} // namespace vela
