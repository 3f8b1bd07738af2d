/**
 * @file
 * The convex hull of points with 8-bit coordinates, such as the colours of a picture, as an owner.
 *
 *     if (std::optional<vela::hull> colours = vela::hull::of_pixels(picture)) {
 *         for (const chull_face &face : colours->faces())
 *             draw(face);
 *         if (std::optional<vela::hull_membership> known = colours->membership())
 *             fraction = known->count(other_picture);
 *     }
 *
 * It is made and asked by the functions of <vela/chull.h>, whose records it shows as they are. A hull that is shared
 * between threads may be asked by all of them, and a hull_membership too.
 */
#pragma once

#include <algorithm>
#include <climits>
#include <compare>
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

namespace vela {

namespace internal {

inline void release_hull(chull_ctx *record) noexcept {
    free_chull(record);
    std::free(record);
}

constexpr std::int32_t floor_of_quotient(std::int32_t a, std::int32_t positive) noexcept {
    return a >= 0 ? a / positive : -((positive - 1 - a) / positive);
}

constexpr std::int32_t ceiling_of_quotient(std::int32_t a, std::int32_t positive) noexcept {
    return -floor_of_quotient(-a, positive);
}

} // namespace internal

/** A point of 8-bit space, or beside it. */
struct hull_point {
    std::int32_t x; /**< first coordinate */
    std::int32_t y; /**< second */
    std::int32_t z; /**< third */

    /** Whether they are the same point. */
    friend bool operator==(const hull_point &, const hull_point &) = default;
};

/** The coordinates of a vertex. */
[[nodiscard]] inline hull_point point_of(const chull_vertex &vertex) noexcept {
    return {vertex.coord[0], vertex.coord[1], vertex.coord[2]};
}

/**
 * The records of one of a hull's lists, in their order, as a forward range.
 *
 *     for (const chull_vertex &vertex : colours.vertices())
 *         add(vela::point_of(vertex));
 *
 * It holds until the hull grows, is assigned to or ends.
 */
template <class Record>
class hull_records {
public:
    class iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Record;
        using difference_type = std::ptrdiff_t;
        using pointer = const Record *;
        using reference = const Record &;

        iterator() = default;
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
        friend hull_records;
        explicit iterator(const Record *head) noexcept : record_(head), head_(head) {}

        const Record *record_ = nullptr, *head_ = nullptr;
    };

    /** The records from a list's head on; none for null. */
    explicit hull_records(const Record *head) noexcept : head_(head) {}

    [[nodiscard]] iterator begin() const noexcept { return iterator(head_); } /**< at the list's head */
    [[nodiscard]] iterator end() const noexcept { return iterator(); }        /**< behind the last record */
    [[nodiscard]] bool empty() const noexcept { return !head_; }              /**< whether there are none */

private:
    const Record *head_;
};

/**
 * Which points of 8-bit space lie in a hull: for each of the 65,536 columns of points with the same x and y, the lowest
 * and the highest z inside, in 128 KiB. What it says is what hull::contains() says, for every point.
 *
 *     if (auto known = colours.membership())
 *         inside = known->contains(red, green, blue);
 *
 * It is made by hull::membership() and does not follow when the hull grows.
 */
class hull_membership {
public:
    /** The points of a column that lie inside: those with `lowest` <= z <= `highest`; none where `lowest` is above. */
    struct column {
        std::uint8_t lowest;  /**< the least z inside */
        std::uint8_t highest; /**< the greatest */

        /** Whether no point is inside. */
        [[nodiscard]] bool empty() const noexcept { return lowest > highest; }
        /** Whether the point with this z is inside. */
        [[nodiscard]] bool contains(std::uint8_t z) const noexcept { return lowest <= z && z <= highest; }
    };

    /** The column of points (x, y, z) with any z. */
    [[nodiscard]] column operator()(std::uint8_t x, std::uint8_t y) const noexcept { return columns_[place(x, y)]; }

    /** Whether a point lies in the hull or on its surface. */
    [[nodiscard]] bool contains(std::uint8_t x, std::uint8_t y, std::uint8_t z) const noexcept {
        return (*this)(x, y).contains(z);
    }

    /**
     * Tells for each pixel whether it lies inside.
     *
     * @param pixels      the pixels, one after the other, each with x, y and z as its first bytes
     * @param inside      receives 1 or 0 for each of them
     * @param pixel_size  bytes of a pixel, at least 3
     * @return true; false, with nothing written, when @p pixels or @p inside has another size than that
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
     * Counts the pixels that lie inside.
     *
     * @param pixels      as for test()
     * @param pixel_size  bytes of a pixel, at least 3
     * @return their number; empty when @p pixels has no whole number of them
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

    explicit hull_membership(std::unique_ptr<column[]> columns) noexcept : columns_(std::move(columns)) {}

    static constexpr std::size_t kColumns = 65536;
    static constexpr std::size_t place(std::size_t x, std::size_t y) noexcept { return x << 8 | y; }

    // Enters a face that looks up or down: where the hull ends, in the columns that meet the face or its border. The
    // plane of the face is n p = h, with n pointing outward.
    void enter(const chull_face &face) noexcept {
        hull_point corners[3];
        for (int i = 0; i < 3; ++i)
            corners[i] = point_of(*face.vert[i]);
        const hull_point a = corners[0], b = corners[1], c = corners[2];
        const hull_point n = {(b.y - a.y) * (c.z - a.z) - (b.z - a.z) * (c.y - a.y),
                              (b.z - a.z) * (c.x - a.x) - (b.x - a.x) * (c.z - a.z),
                              (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x)};
        if (n.z == 0)
            return;
        const std::int32_t h = n.x * a.x + n.y * a.y + n.z * a.z;
        std::sort(corners, corners + 3, [](const hull_point &p, const hull_point &q) { return p.x < q.x; });
        for (std::int32_t x = corners[0].x; x <= corners[2].x; ++x) {
            // The line of this x enters and leaves the face through the side between the outer corners and one of the
            // other two.
            const bool is_left = x < corners[1].x || corners[1].x == corners[2].x;
            const side sides[2] = {{corners[0], corners[2]},
                                   is_left ? side{corners[0], corners[1]} : side{corners[1], corners[2]}};
            const std::int32_t first = std::min(sides[0].first_from(x), sides[1].first_from(x));
            const std::int32_t last = std::max(sides[0].last_to(x), sides[1].last_to(x));
            for (std::int32_t y = first; y <= last; ++y) {
                const std::int32_t rest = h - n.x * x - n.y * y; // n.z z here
                column &known = columns_[place(static_cast<std::size_t>(x), static_cast<std::size_t>(y))];
                if (n.z > 0)
                    known.highest = static_cast<std::uint8_t>(internal::floor_of_quotient(rest, n.z));
                else
                    known.lowest = static_cast<std::uint8_t>(internal::ceiling_of_quotient(-rest, -n.z));
            }
        }
    }

    // A side of a face seen from above, from left to right.
    struct side {
        hull_point from, to;

        // The first y that is not before the side at x, and the last that is not behind it.
        std::int32_t first_from(std::int32_t x) const noexcept {
            return from.y + internal::ceiling_of_quotient((to.y - from.y) * (x - from.x), to.x - from.x);
        }
        std::int32_t last_to(std::int32_t x) const noexcept {
            return from.y + internal::floor_of_quotient((to.y - from.y) * (x - from.x), to.x - from.x);
        }
    };

    std::unique_ptr<column[]> columns_;
};

/**
 * A finished hull.
 *
 *     std::optional<vela::hull> colours = vela::hull::of_pixels(picture);
 *     if (colours && colours->contains({10, 20, 30}))
 *         cubes = colours->volume();
 *
 * What get_chull() finds wrong, and want of memory, it says on the standard error stream.
 */
class hull {
public:
    /** Squared distances from a point to the faces. */
    struct squared_distances {
        std::uint32_t nearest;  /**< to the nearest face */
        std::uint32_t farthest; /**< to the farthest */
    };

    /**
     * The hull of points in three arrays of the same length.
     *
     * @param xs  the first coordinates
     * @param ys  the second
     * @param zs  the third
     * @return the hull; empty when the lengths differ or exceed 2^31 - 1, when memory runs out, or when there is none:
     * no three consecutive points out of line, or all points in one plane
     */
    [[nodiscard]] static std::optional<hull> of_points(std::span<const std::uint8_t> xs,
                                                       std::span<const std::uint8_t> ys,
                                                       std::span<const std::uint8_t> zs) noexcept {
        chull_ctx *record = nullptr;
        if (alloc_chull(&record) != 0)
            return std::nullopt;
        hull made(record);
        if (!made.grow(xs, ys, zs) || xs.empty())
            return std::nullopt;
        return made;
    }

    /**
     * The hull of interleaved pixels.
     *
     * @param pixels      the pixels, one after the other, each with x, y and z as its first bytes
     * @param pixel_size  bytes of a pixel, at least 3
     * @return the hull; empty as for of_points(), and when @p pixels has no whole number of pixels
     */
    [[nodiscard]] static std::optional<hull> of_pixels(std::span<const std::uint8_t> pixels,
                                                       std::size_t pixel_size = 3) noexcept {
        chull_ctx *record = nullptr;
        if (alloc_chull(&record) != 0)
            return std::nullopt;
        hull made(record);
        if (!made.grow_by_pixels(pixels, pixel_size) || pixels.empty())
            return std::nullopt;
        return made;
    }

    /**
     * Takes over a hull that get_chull() finished.
     *
     * @param record  the hull
     * @return its owner; empty for null, for a hull without faces and where a coordinate is not in 0 to 255: then the
     *         record stays the caller's
     */
    [[nodiscard]] static std::optional<hull> adopt(chull_ctx *record) noexcept {
        if (!record || !record->faces)
            return std::nullopt;
        for (const chull_vertex &vertex : hull_records<chull_vertex>(record->vertices))
            if (!is_in_range(point_of(vertex), 0))
                return std::nullopt;
        return hull(record);
    }

    /**
     * Grows the hull by further points.
     *
     * @param xs  the first coordinates
     * @param ys  the second
     * @param zs  the third
     * @return true. False when the lengths differ or exceed 2^31 - 1, with the hull as before, and when memory runs
     * out: then the hull is empty, and so is every answer
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
     * @return as grow(); false, with the hull as before, also when @p pixels has no whole number of pixels and when
     * there is no memory for a copy of their points
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

    /** Whether a point, any point, lies in the hull or on its surface; see membership() for many of them. */
    [[nodiscard]] bool contains(hull_point p) const noexcept {
        return is_in_range(p, 0) && is_in_chull(get(), p.x, p.y, p.z) != 0;
    }

    /**
     * The squared distances from a point to the nearest and to the farthest of the faces, as dist_to_chull() rounds
     * them. A point inside has them too.
     *
     * @param p  the point
     * @return the distances; empty when the hull is, and for points more than 5000 beside the range 0 to 255, for which
     *         they could not be computed in 32 bits
     */
    [[nodiscard]] std::optional<squared_distances> distances(hull_point p) const noexcept {
        squared_distances result = {};
        if (empty() || !is_in_range(p, 5000) ||
            dist_to_chull(get(), p.x, p.y, p.z, &result.nearest, &result.farthest) != 0)
            return std::nullopt;
        return result;
    }

    /** The volume. */
    [[nodiscard]] double volume() const noexcept { return chull_volume6(get()) / 6.0; }

    /** Whether nothing is left of the hull, after a failure to grow. */
    [[nodiscard]] bool empty() const noexcept { return !get()->faces; }

    /** The corners. */
    [[nodiscard]] hull_records<chull_vertex> vertices() const noexcept {
        return hull_records<chull_vertex>(get()->vertices);
    }
    /** The edges. */
    [[nodiscard]] hull_records<chull_edge> edges() const noexcept { return hull_records<chull_edge>(get()->edges); }
    /** The faces, all of them triangles. */
    [[nodiscard]] hull_records<chull_face> faces() const noexcept { return hull_records<chull_face>(get()->faces); }

    /** Number of vertices, which are counted one by one. */
    [[nodiscard]] std::size_t vertex_count() const noexcept { return chull_num_vertices(get()); }
    /** Number of edges, which are counted one by one. */
    [[nodiscard]] std::size_t edge_count() const noexcept { return chull_num_edges(get()); }
    /** Number of faces, which are counted one by one. */
    [[nodiscard]] std::size_t face_count() const noexcept { return chull_num_faces(get()); }

    /**
     * Which points of 8-bit space lie inside, ready for a picture's worth of questions.
     *
     * @return the answers for all of them; empty when there is no memory
     */
    [[nodiscard]] std::optional<hull_membership> membership() const noexcept {
        using column = hull_membership::column;
        static_assert(sizeof(column) == 2);
        std::unique_ptr<column[]> columns(new (std::nothrow) column[hull_membership::kColumns]);
        if (!columns)
            return std::nullopt;
        std::fill_n(columns.get(), hull_membership::kColumns, column{UINT8_MAX, 0});
        hull_membership made(std::move(columns));
        for (const chull_face &face : faces())
            made.enter(face);
        return made;
    }

    /**
     * Writes an OFF polyhedron file, the one that chull_to_file() writes. Each vertex's `vnum` becomes its number in
     * it.
     *
     * @param path  the file, created or truncated
     * @return whether all of it was written: false when the file can't be opened, and when the disk is full
     */
    [[nodiscard]] bool write_off(const char *path) noexcept {
        std::FILE *file = std::fopen(path, "w");
        if (!file)
            return false;
        std::fprintf(file, "OFF\n%zu %zu %zu\n", vertex_count(), face_count(), edge_count());
        std::int32_t number = 0;
        for (chull_vertex *vertex = get()->vertices; vertex; vertex = next(vertex)) {
            vertex->vnum = number++;
            std::fprintf(file, "%d %d %d\n", vertex->coord[0], vertex->coord[1], vertex->coord[2]);
        }
        for (const chull_face &face : faces())
            std::fprintf(file, "3 %d %d %d\n", face.vert[0]->vnum, face.vert[1]->vnum, face.vert[2]->vnum);
        const bool complete = !std::ferror(file);
        return std::fclose(file) == 0 && complete;
    }

    /** The record, for C functions. */
    [[nodiscard]] chull_ctx *get() noexcept { return record_.get(); }
    /** The record, for C functions. */
    [[nodiscard]] const chull_ctx *get() const noexcept { return record_.get(); }
    /** Hands the record over to a caller who ends it with free_chull() and free(). */
    [[nodiscard]] chull_ctx *release() noexcept { return record_.release(); }

private:
    explicit hull(chull_ctx *record) noexcept : record_(record) {}

    // Whether a point lies at most so far beside the range 0 to 255.
    static bool is_in_range(hull_point p, std::int32_t beside) noexcept {
        const auto [least, most] = std::minmax({p.x, p.y, p.z});
        return least >= -beside && most <= UINT8_MAX + beside;
    }

    chull_vertex *next(const chull_vertex *vertex) const noexcept {
        return vertex->next == get()->vertices ? nullptr : vertex->next;
    }

    internal::owner<chull_ctx, internal::release_hull> record_;
};

} // namespace vela
