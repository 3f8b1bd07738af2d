// The rules that decide which records a hull consists of, and their order, shared by the steps, which work on the
// records, and get_chull(), which works on points and arrays.
#pragma once

#include "vector3.hpp"

namespace vela::detail {

// ---- The start. A circular sequence of points has positions: point_of() gives the point at one, following() the next
// one.

template <class Circle, class Place>
vector3 normal_of(const Circle &circle, const Place (&corners)[3]) {
    const vector3 corner = circle.point_of(corners[0]);
    return cross(circle.point_of(corners[1]) - corner, circle.point_of(corners[2]) - corner);
}

// The first three consecutive positions, from `first` on, whose points are not collinear.
template <class Circle, class Place>
[[nodiscard]] bool find_triangle(const Circle &circle, Place first, Place (&corners)[3]) {
    Place place = first;
    do {
        corners[0] = place;
        corners[1] = circle.following(corners[0]);
        corners[2] = circle.following(corners[1]);
        if (!is_zero(normal_of(circle, corners)))
            return true;
        place = corners[1];
    } while (place != first);
    return false;
}

// The first position after a triangle's last corner whose point is not in its plane.
template <class Circle, class Place>
[[nodiscard]] bool find_apex(const Circle &circle, const Place (&corners)[3], Place &apex) {
    const vector3 normal = normal_of(circle, corners), corner = circle.point_of(corners[0]);
    for (apex = circle.following(corners[2]); apex != corners[0]; apex = circle.following(apex))
        if (inner(normal, circle.point_of(apex) - corner) != 0)
            return true;
    return false;
}

// ---- The cone from the horizon to a new point

// A face of the cone: its corners and its edges, edge i from corner i to the next.
template <class Vertex, class Edge>
struct cone_face {
    Vertex corners[3];
    Edge edges[3];
};

// Its direction along its base is that of the visible face that it replaces: from end 0 to end 1, or reversed. The
// spokes join the base's ends to the apex.
template <class Vertex, class Edge>
constexpr cone_face<Vertex, Edge> cone_face_on(Edge base, const Vertex (&ends)[2], const Edge (&spokes)[2], Vertex apex,
                                               bool reversed) {
    return {{ends[reversed], ends[!reversed], apex}, {base, spokes[!reversed], spokes[reversed]}};
}

// A spoke has the first of its two faces in slot 0.
template <class Face>
constexpr void fill_free_slot(Face (&faces)[2], Face face, Face none) {
    if (faces[0] == none)
        faces[0] = face;
    else if (faces[1] == none)
        faces[1] = face;
}

} // namespace vela::detail
