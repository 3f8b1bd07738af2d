// A hull of <vela/chull.h> that grows by the points of a cloud, in five steps, and what it is after each point.
#include "svg.hpp"
#include <array>
#include <random>
#include <vela/cpp/hull.hpp>

namespace {

using svg::point;

struct vec {
    double x, y, z;
};

// Looked at from above the right; the farther away, the greater is z.
vec turned(const vela::hull_point &p) {
    const double x = p.x - 128.0, y = p.y - 128.0, z = p.z - 128.0;
    constexpr double kPan = 0.5, kTilt = 0.45;
    const double across = x * std::cos(kPan) + y * std::sin(kPan), away = y * std::cos(kPan) - x * std::sin(kPan);
    return {across, -z * std::cos(kTilt) - away * std::sin(kTilt), away * std::cos(kTilt) - z * std::sin(kTilt)};
}

struct cloud {
    std::vector<uint8_t> xs, ys, zs;

    size_t size() const { return xs.size(); }
    vela::hull_point at(size_t i) const { return {xs[i], ys[i], zs[i]}; }
};

// Points in an egg, in no order.
cloud make_cloud(size_t count) {
    cloud made;
    std::mt19937 random(7);
    while (made.size() < count) {
        const auto x = static_cast<uint8_t>(random()), y = static_cast<uint8_t>(random()),
                   z = static_cast<uint8_t>(random());
        const double dx = (x - 128.0) / 125, dy = (y - 128.0) / 100, dz = (z - 128.0) / (x < 128 ? 90 : 115);
        if (dx * dx + dy * dy + dz * dz > 1)
            continue;
        made.xs.push_back(x);
        made.ys.push_back(y);
        made.zs.push_back(z);
    }
    return made;
}

constexpr double kScale = 0.9;

// A side is the stronger, the more it faces a light from the upper left. Returns the corners of those that are seen.
std::vector<const chull_vertex *> draw_faces(svg::picture &on, point middle, const vela::hull &hull) {
    constexpr vec kLight = {-0.45, -0.65, -0.61};
    std::vector<const chull_vertex *> seen;
    for (const chull_face &face : hull.faces()) {
        std::array<vec, 3> corners;
        std::vector<point> outline;
        for (size_t i = 0; i < 3; ++i) {
            corners[i] = turned(vela::point_of(*face.vert[i]));
            outline.push_back({middle.x + kScale * corners[i].x, middle.y + kScale * corners[i].y});
        }
        const auto &[a, b, c] = corners;
        const vec u = {b.x - a.x, b.y - a.y, b.z - a.z}, v = {c.x - a.x, c.y - a.y, c.z - a.z};
        const vec normal = {u.y * v.z - u.z * v.y, u.z * v.x - u.x * v.z, u.x * v.y - u.y * v.x};
        if (normal.z > 0)
            continue; // turned away
        seen.insert(seen.end(), face.vert, face.vert + 3);
        const double length = std::sqrt(normal.x * normal.x + normal.y * normal.y + normal.z * normal.z);
        const double light = (normal.x * kLight.x + normal.y * kLight.y + normal.z * kLight.z) / length;
        on.area(outline, "fa face sground", 0.25 + 0.6 * std::max(0.0, light));
    }
    return seen;
}

void draw_step(svg::picture &on, point middle, const cloud &points, size_t taken, const vela::hull &hull) {
    for (size_t i = 0; i < points.size(); ++i) {
        const vec place = turned(points.at(i));
        if (i >= taken || !hull.contains(points.at(i)))
            on.dot({middle.x + kScale * place.x, middle.y + kScale * place.y}, 2, "fsoft");
    }
    const auto seen = draw_faces(on, middle, hull);
    for (const chull_vertex &vertex : hull.vertices()) {
        const vec place = turned(vela::point_of(vertex));
        on.dot({middle.x + kScale * place.x, middle.y + kScale * place.y}, 3,
               std::find(seen.begin(), seen.end(), &vertex) != seen.end() ? "fb" : "fb pale");
    }
    on.text({middle.x, middle.y - 98}, std::to_string(taken) + " points", "sub mid fink");
    on.text({middle.x, middle.y + 126},
            std::to_string(hull.vertex_count()) + " corners, " + std::to_string(hull.face_count()) + " faces",
            "mid fsoft");
}

} // namespace

int main() {
    constexpr size_t kSteps[] = {4, 8, 20, 50, 120};
    const cloud points = make_cloud(120);
    svg::picture picture(556, "A hull grows by the points of a cloud");
    std::optional<vela::hull> hull;
    std::vector<point> volumes;
    for (size_t taken = kSteps[0], step = 0, first = 0; taken <= points.size(); first = taken++) {
        const auto part = [&](const std::vector<uint8_t> &all) { return std::span(all).subspan(first, taken - first); };
        if (!hull)
            hull = vela::hull::of_points(part(points.xs), part(points.ys), part(points.zs));
        else if (!hull->grow(part(points.xs), part(points.ys), part(points.zs)))
            return EXIT_FAILURE;
        if (!hull)
            return EXIT_FAILURE;
        volumes.push_back({static_cast<double>(taken), hull->volume() / 1e6});
        if (taken == kSteps[step]) {
            draw_step(picture, {110 + static_cast<double>(step % 3) * 212, 158 + static_cast<double>(step / 3) * 256},
                      points, taken, *hull);
            ++step;
        }
    }
    svg::chart chart(picture, {486, 360, 130, 130}, {0, 120, {0, 40, 80, 120}, "points taken in"},
                     {0, 4, {0, 1, 2, 3, 4}, "volume in millions"});
    chart.curve(volumes, "sa");
    return picture.write();
}
