// A hull under construction, in arrays: the contents of the records (adjacency, slots, order of creation) and the data
// to locate a point without testing every face.
//
// With a fixed inner point c of the hull, the rays from c cut space into one cone per face. A point is outside exactly
// if it sees the face in whose cone it lies. So a point is located by a walk over the surface towards that face. The
// walk starts at the face where that of the last point in the same part of space ended, and usually takes one or two
// steps.
//
// The lists of records are in the order of creation. So the slots in use are linked in that order, and each carries a
// creation number: the horizon of a point is processed in the order of its edges' numbers, like the steps, which
// traverse the whole list.
#pragma once

#include "common/memory.hpp"
#include "vector3.hpp"
#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vela/chull.h>

namespace vela::detail {

// Position in one of the arrays. Those of slots begin at kFirst.
using index = uint32_t;
constexpr index kNone = 0, kFirst = 1;

// An array whose slots are reused, the one freed last first: a new face gets the slot of an old one nearby, so a stored
// index of the old face leads close to the new one. The slots in use also form a list.
template <class Slot>
class pool {
public:
    Slot &operator[](index i) { return slots_[i]; }
    const Slot &operator[](index i) const { return slots_[i]; }
    // Slots from here on have never been used.
    index end() const { return end_; }
    index capacity() const { return capacity_; }
    bool is_free(index i) const { return slots_[i].created == kNone; }

    // Ensures that `more` slots can be taken.
    [[nodiscard]] bool reserve(index more) {
        static_assert(std::is_trivially_copyable_v<Slot>);
        if (more > kMost - created_)
            return false;
        if (end_ + more <= capacity_)
            return true;
        const index larger = std::max(end_ + more, capacity_ * 2);
        if (!resize(slots_, larger))
            return false;
        if (capacity_ == 0)
            slots_[kNone].next = slots_[kNone].prev = kNone;
        capacity_ = larger;
        return true;
    }

    // A slot without a record, at the end of the list.
    index take() {
        index i = free_;
        if (i == kNone)
            i = end_++;
        else
            free_ = slots_[i].next;
        slots_[i].created = created_++;
        slots_[i].record = nullptr;
        append(i);
        return i;
    }

    void give_back(index i) {
        unlink(i);
        slots_[i].created = kNone;
        slots_[i].next = free_;
        free_ = i;
    }

    void move_to_end(index i) {
        unlink(i);
        append(i);
    }

    // Calls step with each slot of the list until it returns false.
    template <class Step>
    bool for_all(Step step) const {
        index i = slots_[kNone].next;
        while (i != kNone && step(slots_[i]))
            i = slots_[i].next;
        return i == kNone;
    }

private:
    // Creation numbers stay below this, and so do indices: two bits are left for packing.
    static constexpr uint32_t kMost = UINT32_MAX >> 2;

    void append(index i) {
        const index last = slots_[kNone].prev;
        slots_[i].prev = last;
        slots_[i].next = kNone;
        slots_[last].next = slots_[kNone].prev = i;
    }

    void unlink(index i) {
        const index prev = slots_[i].prev, next = slots_[i].next;
        slots_[prev].next = next;
        slots_[next].prev = prev;
    }

    owned<Slot[]> slots_; // the one at kNone is the sentinel of the list
    index end_ = kFirst, capacity_ = 0;
    index free_ = kNone; // the first of the slots to be used again, linked by `next`
    uint32_t created_ = kFirst;
};

// An edge as seen from one of its faces: its index, and whether the face traverses it from end 1 to end 0.
struct side {
    index edge;
    bool reversed;

    constexpr uint32_t packed() const { return edge << 1 | index{reversed}; }
    static constexpr side unpacked(uint32_t code) { return {code >> 1, (code & 1) != 0}; }
};

// An edge of the horizon: as seen from the visible face, and which of the edge's faces[] that is.
struct horizon_edge {
    side of;
    bool slot;

    // Packed numbers are in the order of the edges in their list.
    uint64_t packed(uint32_t created) const {
        return uint64_t{created} << 32 | of.edge << 2 | index{slot} << 1 | index{of.reversed};
    }
    static horizon_edge unpacked(uint64_t code) {
        const auto low = static_cast<uint32_t>(code);
        return {{low >> 2, (low & 1) != 0}, (low & 2) != 0};
    }
};

struct vertex_slot {
    vector3 point;
    int32_t vnum;
    index spoke; // during an insertion, the edge from here to the new point
    uint32_t created;
    index prev, next;
    chull_vertex *record; // null until there is one
};

// Values of vertex_slot::spoke that are not an edge.
constexpr index kOffHorizon = kNone;
constexpr index kOnHorizon = UINT32_MAX; // the edge is still to be made

struct edge_slot {
    index faces[2];
    index ends[2];
    uint32_t created;
    index prev, next;
    chull_edge *record;
};

struct face_slot {
    index corners[3];
    uint32_t sides[3]; // packed; sides[i] runs from corners[i] to corners[(i + 1) % 3]
    uint8_t places[3]; // of the sides that the record has as its edges[0] to edges[2]
    bool is_visible;
    uint32_t created;
    index prev, next;
    chull_face *record;
};

// The data of a face that a walk uses, in one cache line: four planes, as linear forms of a direction from the inner
// point that are negative on the outer side. Form 0 is the face's own plane, 64 times Volume(); forms 1 to 3 are the
// sides of its cone. All values fit 32 bits for points within the range, so wrapping intermediate results are harmless:
// with coordinates of 8 bits a determinant of three differences is at most 2 * 255^3, and 64 times that is below 2^31.
struct cone {
    uint32_t x[4], y[4], z[4];
    uint32_t height; // constant of form 0; the others have none
    index neighbours[3];

    vector3 form(int k) const { return {x[k], y[k], z[k]}; }
    void set_form(int k, vector3 value) {
        x[k] = value.x;
        y[k] = value.y;
        z[k] = value.z;
    }
    bool is_visible(vector3 direction) const { return as_signed(height + inner(form(0), direction)) < 0; }
    bool is_beyond_side(int k, vector3 direction) const { return as_signed(inner(form(k + 1), direction)) < 0; }
};

class surface {
public:
    pool<vertex_slot> vertices;
    pool<edge_slot> edges;
    pool<face_slot> faces;

    // Prepares for adding about this many points. The functions that return bool fail if memory runs out.
    [[nodiscard]] bool prepare(index points);
    [[nodiscard]] bool reserve(index more_vertices, index more_edges, index more_faces);
    // The inner point is the mean of four points that are not in one plane.
    void set_inner_point(vector3 sum_of_four) { inner_point_ = sum_of_four; }

    index new_vertex(vector3 p, int32_t vnum);
    index new_edge(index end0, index end1);
    index new_face(const index (&corners)[3]);
    // Sets a face's edges, in this order, and their directions. Returns whether they are its sides.
    bool set_sides(index face, const index (&of_record)[3]);
    // Computes the cone of a face, whose sides must have both of their faces.
    void set_cone(index face);
    const cone &cone_of(index face) const { return cones_[face]; }
    // Four times the direction from the inner point to p.
    vector3 seen(vector3 p) const { return 4 * p - inner_point_; }

    [[nodiscard]] bool add(vector3 p, int32_t vnum);

private:
    // The face where a search ended, and whether the point sees it.
    struct location {
        index face;
        bool is_visible;
    };

    // The heights at which a column of points is known to be inside: none while low is above high.
    struct column {
        uint8_t low, high;
        uint16_t failures; // to widen it, since the last success
    };

    owned<cone[]> cones_; // parallel to faces
    index cone_capacity_ = 0;
    vector3 inner_point_ = {}; // times 4
    index newest_ = kFirst;    // a face that is not free

    // Space in cubes and in columns of square section, cut into 2^space_bits_ parts along each axis.
    unsigned space_bits_ = 0;
    owned<index[]> hints_; // for each cube, the face where its last walk ended
    owned<column[]> columns_;

    // The region visible from a new point, and its horizon, during an insertion.
    owned<index[]> region_;
    owned<uint64_t[]> horizon_;
    index region_capacity_ = 0, region_count_ = 0, horizon_count_ = 0;

    location walk(index from, vector3 direction) const;
    location scan(vector3 direction) const;
    void widen(column &known, vector3 p, index face);

    // Adds a point that sees a face.
    [[nodiscard]] bool insert(index visible_face, vector3 p, int32_t vnum);
    [[nodiscard]] bool reserve_region();
    void find_region(index seed, vector3 direction);
    void mark_horizon(index spoke);
    void remove_region();
    index spoke_from(index vertex, index apex);
    index make_cone_face(horizon_edge on, index apex);
};

// Copies a finished hull to an empty surface, prepared for adding a number of points. Fails if memory runs out or the
// records aren't those of a finished hull; they are unchanged.
[[nodiscard]] bool load_hull(surface &shape, const chull_ctx &hull, index points);

// Updates the hull that was copied to the state of the surface. Fails, after a report, if a record can't be made; then
// the hull may be counted, printed and emptied.
[[nodiscard]] bool store_hull(surface &shape, chull_ctx &hull);

} // namespace vela::detail
