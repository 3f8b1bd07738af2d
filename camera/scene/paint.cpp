// Paints the place of world.hpp, by day or by night, as an equirectangular panorama in packed 4:2:2 (Cb Y0 Cr Y1, full
// range): a row for each tilt from the zenith down, a pixel for each pan from the north clockwise.
#include "world.hpp"
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>
#include <vela/cmdline.h>
#include <vela/colour.h>

namespace {

using world::kDegree;

// ---- Vectors, colours and noise

struct vec {
    double x = 0, y = 0, z = 0;
    vec operator+(vec o) const { return {x + o.x, y + o.y, z + o.z}; }
    vec operator-(vec o) const { return {x - o.x, y - o.y, z - o.z}; }
    vec operator*(double s) const { return {x * s, y * s, z * s}; }
    vec operator*(vec o) const { return {x * o.x, y * o.y, z * o.z}; }
};
using colour = vec; // linear red, green and blue

double dot(vec a, vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
double length(vec a) { return std::sqrt(dot(a, a)); }
vec unit(vec a) { return a * (1 / length(a)); }
vec mix(vec a, vec b, double t) { return a + (b - a) * t; }
double clamp01(double t) { return std::clamp(t, 0.0, 1.0); }
double smooth(double from, double to, double t) {
    t = clamp01((t - from) / (to - from));
    return t * t * (3 - 2 * t);
}
constexpr colour rgb(int r, int g, int b) {
    const auto linear = [](int c) { return c * c / 65025.0; };
    return {linear(r), linear(g), linear(b)};
}

double hash(int x, int y, int z = 0) {
    uint32_t h = static_cast<uint32_t>(x) * 374761393U + static_cast<uint32_t>(y) * 668265263U +
                 static_cast<uint32_t>(z) * 2246822519U;
    h = (h ^ (h >> 13)) * 1274126177U;
    return (h ^ (h >> 16)) / 4294967296.0;
}

double noise(double x, double y, int seed = 0) {
    const double fx = std::floor(x), fy = std::floor(y);
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    const double u = smooth(0, 1, x - fx), v = smooth(0, 1, y - fy);
    const double low = hash(ix, iy, seed) * (1 - u) + hash(ix + 1, iy, seed) * u;
    const double high = hash(ix, iy + 1, seed) * (1 - u) + hash(ix + 1, iy + 1, seed) * u;
    return low * (1 - v) + high * v;
}

double cloudy(double x, double y, int octaves, int seed) {
    double sum = 0, weight = 0.5;
    for (int i = 0; i < octaves; ++i, weight /= 2, x = x * 2.03 + 1.7, y = y * 2.01 - 3.1)
        sum += weight * noise(x, y, seed + i);
    return sum;
}

// ---- What stands in the place

struct house {
    double x, y, half_x, half_y, wall, ridge; // ridge along x
    colour walls, roof;
    int number;
};

struct tree {
    double x, y, height, radius;
    int number;
};

// What may be met in a sector of half a degree of pan, and how far up; or in a lane along the direction of the light.
struct sector {
    std::vector<const house *> houses;
    std::vector<const tree *> trees;
    std::vector<const world::point *> lamps;
    bool tower = false;
    double top = -90;
};
constexpr int kSectors = 720, kLanes = 500;

struct place {
    bool night;
    vec sun;           // towards the light
    colour light, sky; // of the light, of what is in the shade
    std::vector<house> houses;
    std::vector<tree> trees;
    std::vector<world::point> lamps;
    std::vector<sector> sectors, lanes;

    // Distance of a point from the plane that holds the light and the camera's mast: the same all along a ray to the
    // light.
    double aside(double x, double y) const { return (x * sun.y - y * sun.x) / std::hypot(sun.x, sun.y); }
    const sector *lane(vec at) const {
        const double number = std::floor(aside(at.x, at.y)) + kLanes / 2;
        return number >= 0 && number < kLanes ? &lanes[static_cast<size_t>(number)] : nullptr;
    }
    const sector &towards(vec to) const {
        const double pan = std::atan2(to.x, to.y) / kDegree;
        return sectors[static_cast<size_t>((pan + 360) * 2) % kSectors];
    }
};

void sort_into_sectors(place &here) {
    here.sectors.assign(kSectors, {});
    here.lanes.assign(kLanes, {});
    const auto each = [&here](double x, double y, double reach, double height, auto add) {
        const double aside = here.aside(x, y) + kLanes / 2;
        for (auto i = static_cast<int>(aside - reach - 1); i <= static_cast<int>(aside + reach + 1); ++i)
            if (i >= 0 && i < kLanes)
                add(here.lanes[static_cast<size_t>(i)]);
        const double distance = std::hypot(x, y);
        const double half = distance > reach ? std::asin(reach / distance) / kDegree : 180;
        const double pan = std::atan2(x, y) / kDegree + 360;
        const double top = std::atan2(height - world::kCameraHeight, std::max(1.0, distance - reach)) / kDegree;
        for (int i = static_cast<int>(std::floor((pan - half) * 2)); i <= static_cast<int>((pan + half) * 2); ++i) {
            sector &one = here.sectors[static_cast<size_t>(i + kSectors) % kSectors];
            one.top = std::max(one.top, top + 0.5);
            add(one);
        }
    };
    for (const house &one : here.houses)
        each(one.x, one.y, std::hypot(one.half_x, one.half_y) + 1, one.ridge,
             [&](sector &s) { s.houses.push_back(&one); });
    for (const tree &one : here.trees)
        each(one.x, one.y, one.radius * 1.8, one.height + one.radius, [&](sector &s) { s.trees.push_back(&one); });
    for (const world::point &one : here.lamps)
        each(one.x, one.y, 0.5, one.z + 0.5, [&](sector &s) { s.lamps.push_back(&one); });
    const world::tower &t = world::kTower;
    each(t.x, t.y, t.half_width * 1.5 + 1, t.height + 12, [](sector &s) { s.tower = true; });
}

void make_place(bool night, place &here) {
    here.night = night;
    const double pan = night ? 140 : 222, tilt = night ? 38 : 34;
    here.sun = {std::sin(pan * kDegree) * std::cos(tilt * kDegree), std::cos(pan * kDegree) * std::cos(tilt * kDegree),
                std::sin(tilt * kDegree)};
    here.light = night ? colour{0.030, 0.036, 0.055} : colour{1.25, 1.14, 0.94};
    here.sky = night ? colour{0.010, 0.013, 0.024} : colour{0.30, 0.38, 0.52};

    const colour walls[] = {rgb(226, 206, 164), rgb(204, 122, 88),  rgb(236, 230, 216), rgb(158, 182, 190),
                            rgb(220, 178, 106), rgb(196, 156, 150), rgb(170, 188, 150)};
    const colour roofs[] = {rgb(150, 66, 46), rgb(122, 58, 48), rgb(92, 84, 88), rgb(166, 84, 54)};
    int number = 0;
    const auto row = [&](double y, double from, double to, double gap_from, double gap_to) {
        for (double x = from; x < to;) {
            const double half = 4.2 + 2.6 * hash(number, 1), depth = 4 + 1.6 * hash(number, 2);
            const double wall = 5.6 + 3.0 * std::floor(2.4 * hash(number, 3));
            const double middle = x + half;
            if (middle + half < gap_from || middle - half > gap_to)
                here.houses.push_back({middle, y + (hash(number, 4) - 0.5) * 2, half, depth, wall,
                                       wall + 2.6 + 1.6 * hash(number, 5), walls[number % 7], roofs[(number * 3) % 4],
                                       number});
            x = middle + half + 0.4 + (hash(number, 6) > 0.6 ? 5 : 0.6);
            ++number;
        }
    };
    row(29, -150, 160, 24, 45); // the north side of the street, but for the square at the tower
    row(58, -120, 150, 29, 40); // behind it
    row(-34, -95, -14, 0, 0);   // towards the lake
    row(-40, 46, 120, 0, 0);
    here.houses.push_back({24, 47, 7, 5, 8.5, 12.5, rgb(214, 196, 160), rgb(112, 56, 44), 900}); // the town hall

    int leaf = 0;
    const auto plant = [&](double x, double y, double size) {
        here.trees.push_back({x, y, size * (0.9 + 0.3 * hash(leaf, 7)), size * (0.34 + 0.08 * hash(leaf, 8)), leaf});
        ++leaf;
    };
    for (double x = -140; x < 150; x += 13)
        if (std::fabs(x - 34) > 9)
            plant(x + 3 * hash(leaf, 9), 10.2 - 0.4 * hash(leaf, 10), 5.4);
    for (int i = 0; i < 46; ++i) {
        const double angle = (95 + 170 * hash(i, 11)) * kDegree, distance = 22 + 80 * hash(i, 12) * hash(i, 13);
        plant(distance * std::sin(angle), distance * std::cos(angle), 6 + 4 * hash(i, 14));
    }
    plant(46, 30, 8);
    plant(22, 36, 6.5);
    for (double x = -112; x <= 120; x += 26)
        here.lamps.push_back({x + 4, 21.4, 5.6});
    sort_into_sectors(here);
}

// ---- Rays

struct ray {
    vec from, to;
};

struct hit {
    double distance = 1e9;
    vec normal = {0, 0, 1};
    colour surface = {};
    colour glow = {}; // shines by itself
};

// Walls have windows in a grid; some are lit at night.
void paint_wall(const place &here, const house &one, double along, double up, double half, double floor_height,
                hit &seen) {
    seen.surface = one.walls * (0.93 + 0.12 * noise(along * 3, up * 3, one.number));
    if (up < 0.5)
        seen.surface = seen.surface * 0.7;
    const int columns = std::max(2, static_cast<int>(half * 2 / 2.3));
    const double wide = 2 * half / columns, u = (along + half) / wide, v = up / floor_height;
    const int column = static_cast<int>(std::floor(u)), level = static_cast<int>(std::floor(v));
    const double a = u - column - 0.5, b = v - level - 0.52;
    if (column < 0 || column >= columns || (level + 1) * floor_height > one.wall + 0.2)
        return;
    const bool door = level == 0 && column == one.number % columns;
    const double half_wide = door ? 0.24 : 0.23, low = door ? -0.52 : -0.26, high = 0.27;
    if (std::fabs(a) < half_wide + 0.06 && b > low - 0.04 && b < high + 0.06)
        seen.surface = door ? rgb(110, 74, 52) : rgb(238, 234, 224); // frame
    if (std::fabs(a) < half_wide && b > low && b < high) {
        if (door) {
            seen.surface = rgb(86 + 40 * (one.number % 3), 60, 48 + 30 * (one.number % 2));
            return;
        }
        const bool bar = std::fabs(a) < 0.022 || std::fabs(b - 0.06) < 0.02;
        if (bar)
            return;
        const double shine = 0.5 + 0.5 * noise(a * 3 + column * 7, b * 4 + level * 5, one.number + 50);
        seen.surface = mix(rgb(38, 52, 66), rgb(120, 150, 172), 0.7 * shine * clamp01(b + 0.6));
        if (here.night && hash(one.number * 31 + column, level, 77) > 0.52)
            seen.glow =
                mix(rgb(255, 190, 96), rgb(255, 226, 160), hash(column, level, one.number)) * (0.55 + 0.45 * (0.5 - b));
    } else if (!door && level < 9 && std::fabs(a) > half_wide + 0.06 && std::fabs(a) < half_wide + 0.19 && b > low &&
               b < high && one.number % 2) {
        seen.surface = rgb(70 + 60 * (one.number % 3), 96, 84); // shutters
    }
}

bool enter_slab(double from, double to, double low, double high, double &enter, double &leave, int axis, int &side) {
    if (std::fabs(to) < 1e-12)
        return from > low && from < high;
    double a = (low - from) / to, b = (high - from) / to;
    if (a > b)
        std::swap(a, b);
    if (a > enter) {
        enter = a;
        side = axis;
    }
    leave = std::min(leave, b);
    return enter < leave;
}

// A ray into a box; the axis of the side where it enters.
double into_box(const ray &r, vec low, vec high, int &side) {
    double enter = 1e-3, leave = 1e9;
    side = -1;
    if (!enter_slab(r.from.x, r.to.x, low.x, high.x, enter, leave, 0, side) ||
        !enter_slab(r.from.y, r.to.y, low.y, high.y, enter, leave, 1, side) ||
        !enter_slab(r.from.z, r.to.z, low.z, high.z, enter, leave, 2, side) || side < 0)
        return 1e9;
    return enter;
}

void meet_house(const place &here, const house &one, const ray &r, hit &nearest) {
    const double eaves = 0.45;
    // Quick look: the circle around it.
    const double reach = one.half_x + one.half_y, cx = one.x - r.from.x, cy = one.y - r.from.y;
    const double ahead = (cx * r.to.x + cy * r.to.y) / std::max(1e-9, r.to.x * r.to.x + r.to.y * r.to.y);
    const double off_x = cx - ahead * r.to.x, off_y = cy - ahead * r.to.y;
    if (off_x * off_x + off_y * off_y > reach * reach)
        return;

    int side = 0;
    const double wall = into_box(r, {one.x - one.half_x, one.y - one.half_y, 0},
                                 {one.x + one.half_x, one.y + one.half_y, one.wall}, side);
    if (wall < nearest.distance && side < 2) {
        const vec at = r.from + r.to * wall;
        nearest = {wall, {}, {}, {}};
        (side == 0 ? nearest.normal.x : nearest.normal.y) = (side == 0 ? r.to.x : r.to.y) > 0 ? -1 : 1;
        nearest.normal.z = 0;
        const double along = side == 0 ? at.y - one.y : at.x - one.x;
        paint_wall(here, one, along, at.z, side == 0 ? one.half_y : one.half_x, 2.9, nearest);
    }
    // The roof: two planes over the eaves, and gables of wall at the ends.
    const double slope = (one.ridge - one.wall) / one.half_y;
    for (const double which : {-1.0, 1.0}) {
        const vec normal = {0, which * slope, 1};
        const double below = one.ridge;
        const double facing = dot(normal, r.to);
        if (std::fabs(facing) < 1e-9)
            continue;
        const double distance = (below - (dot(normal, r.from) - which * slope * one.y)) / facing;
        if (distance < 1e-3 || distance >= nearest.distance)
            continue;
        const vec at = r.from + r.to * distance;
        const double out = (at.y - one.y) * which;
        if (out < 0 || out > one.half_y + eaves || std::fabs(at.x - one.x) > one.half_x + eaves)
            continue;
        nearest = {distance, unit(normal), {}, {}};
        const double tiles = std::fabs(std::sin(out * 9)) * 0.16 + 0.1 * noise(at.x * 4, out * 4, one.number);
        nearest.surface = one.roof * (0.86 + tiles);
    }
    for (const double which : {-1.0, 1.0}) {
        if (std::fabs(r.to.x) < 1e-9)
            continue;
        const double distance = (one.x + which * one.half_x - r.from.x) / r.to.x;
        if (distance < 1e-3 || distance >= nearest.distance)
            continue;
        const vec at = r.from + r.to * distance;
        if (at.z < one.wall || at.z > one.ridge - slope * std::fabs(at.y - one.y))
            continue;
        nearest = {distance, {which, 0, 0}, one.walls * 0.96, {}};
        if (std::hypot(at.y - one.y, at.z - one.wall - 0.8) < 0.55)
            nearest.surface = rgb(60, 74, 86);
    }
}

void paint_clock(const place &here, double across, double up, hit &seen) {
    const double distance = std::hypot(across, up), radius = world::kTower.clock_radius;
    if (distance > radius)
        return;
    seen.surface = distance > radius * 0.92 ? rgb(60, 52, 40) : rgb(244, 240, 226);
    const double angle = std::atan2(across, up) / kDegree, hour = std::round(angle / 30) * 30;
    const double off = std::fabs(angle - hour) * kDegree * distance;
    const bool quarter = std::fabs(std::remainder(hour, 90)) < 1;
    if (distance > radius * (quarter ? 0.68 : 0.76) && distance < radius * 0.88 && off < (quarter ? 0.13 : 0.07))
        seen.surface = rgb(40, 36, 32);
    else if (here.night && distance < radius * 0.92)
        seen.glow = rgb(255, 236, 180) * 0.5;
}

void meet_tower(const place &here, const ray &r, hit &nearest) {
    const world::tower &t = world::kTower;
    int side = 0;
    const double wall = into_box(r, {t.x - t.half_width, t.y - t.half_width, 0},
                                 {t.x + t.half_width, t.y + t.half_width, t.height}, side);
    if (wall < nearest.distance && side < 2) {
        const vec at = r.from + r.to * wall;
        const double along = side == 0 ? at.y - t.y : at.x - t.x;
        const double mirrored = (side == 0) == (r.to.x > 0) ? -along : along;
        nearest = {wall, {}, {}, {}};
        (side == 0 ? nearest.normal.x : nearest.normal.y) = (side == 0 ? r.to.x : r.to.y) > 0 ? -1 : 1;
        nearest.normal.z = 0;
        const double row = std::floor(at.z / 0.6), brick = along / 1.2 + 0.5 * std::fmod(row, 2);
        const bool joint = at.z / 0.6 - row < 0.07 || brick - std::floor(brick) < 0.05;
        nearest.surface = mix(rgb(188, 172, 142), rgb(206, 190, 160),
                              hash(static_cast<int>(std::floor(brick)), static_cast<int>(row))) *
                          (joint ? 0.72 : 1);
        if (std::fabs(along) > t.half_width - 0.5)
            nearest.surface = rgb(214, 202, 176);
        if (at.z > t.height - 0.7 || (at.z > 20.4 && at.z < 20.9))
            nearest.surface = rgb(222, 212, 190);
        for (const double level : {6.0, 12.0, 17.0}) // slits, and the belfry below the clock
            if (std::fabs(along) < 0.45 && at.z > level && at.z < level + 2.2) {
                nearest.surface = rgb(44, 46, 52);
                if (here.night && level < 10)
                    nearest.glow = rgb(255, 196, 110) * 0.6;
            }
        paint_clock(here, mirrored, at.z - t.clock_height, nearest);
    }
    // The spire: a pyramid.
    const double spire = 11, out = t.half_width + 0.5;
    for (int face = 0; face < 4; ++face) {
        const double nx = face == 0 ? 1 : face == 1 ? -1 : 0, ny = face == 2 ? 1 : face == 3 ? -1 : 0;
        const vec normal = {nx * spire, ny * spire, out}, top = {t.x, t.y, t.height + spire};
        const double facing = dot(normal, r.to);
        if (facing > -1e-9)
            continue;
        const double distance = dot(normal, top - r.from) / facing;
        if (distance < 1e-3 || distance >= nearest.distance)
            continue;
        const vec at = r.from + r.to * distance;
        const double left = (top.z - at.z) / spire * out;
        if (at.z < t.height || at.z > top.z || std::fabs(nx != 0 ? at.y - t.y : at.x - t.x) > left)
            continue;
        nearest = {distance, unit(normal), rgb(74, 108, 100) * (0.9 + 0.15 * std::fabs(std::sin(at.z * 7))), {}};
    }
}

void meet_tree(const tree &one, const ray &r, hit &nearest) {
    // Quick look: the ball that the crown's puffs lie in.
    const vec crown = {one.x, one.y, one.height - one.radius};
    const auto meet_ball = [&](vec centre, double radius) {
        const vec c = centre - r.from;
        const double ahead = dot(c, r.to), off = dot(c, c) - ahead * ahead;
        return ahead > 0 && off < radius * radius ? ahead - std::sqrt(radius * radius - off) : 1e9;
    };
    if (meet_ball(crown, one.radius * 1.75) < nearest.distance)
        for (int puff = 0; puff < 12; ++puff) {
            const double turn = puff * 2.399 + one.number, rise = -0.75 + 1.6 * hash(puff, one.number, 21);
            const double spread = one.radius * 0.72 * std::sqrt(std::max(0.1, 1 - 0.55 * rise * rise));
            const vec centre = crown + vec{std::sin(turn) * spread, std::cos(turn) * spread, rise * one.radius * 0.8};
            const double radius = one.radius * (0.42 + 0.2 * hash(puff, one.number, 22));
            const double distance = meet_ball(centre, radius);
            if (distance >= nearest.distance || distance < 1e-3)
                continue;
            const vec at = r.from + r.to * distance;
            vec normal = (at - centre) * (1 / radius);
            const double rough = noise(at.x * 5 + at.z * 3, at.y * 5 - at.z * 4, one.number);
            normal =
                unit(normal + vec{noise(at.x * 8, at.z * 8, 3) - 0.5, noise(at.y * 8, at.z * 8, 4) - 0.5, 0.2} * 0.9);
            const colour leaves =
                mix(rgb(58, 96, 40), one.number % 5 == 0 ? rgb(190, 140, 50) : rgb(112, 148, 58), rough);
            nearest = {distance, normal, leaves, {}};
        }
    // The trunk: a thin box.
    int side = 0;
    const double thick = 0.16 + 0.02 * one.height;
    const double distance =
        into_box(r, {one.x - thick, one.y - thick, 0}, {one.x + thick, one.y + thick, crown.z}, side);
    if (distance < nearest.distance)
        nearest = {distance,
                   {side == 0 ? (r.to.x > 0 ? -1.0 : 1.0) : 0, side == 1 ? (r.to.y > 0 ? -1.0 : 1.0) : 0, 0},
                   rgb(92, 70, 50),
                   {}};
}

void meet_lamp(const place &here, world::point one, const ray &r, hit &nearest) {
    int side = 0;
    const double post = into_box(r, {one.x - 0.09, one.y - 0.09, 0}, {one.x + 0.09, one.y + 0.09, one.z}, side);
    if (post < nearest.distance)
        nearest = {post, {0, -1, 0}, rgb(58, 62, 66), {}};
    const double head = into_box(r, {one.x - 0.3, one.y - 0.3, one.z}, {one.x + 0.3, one.y + 0.3, one.z + 0.45}, side);
    if (head < nearest.distance)
        nearest = {head, {0, -1, 0}, rgb(226, 220, 200), here.night ? colour{1.6, 1.25, 0.7} : colour{}};
}

colour paint_ground(vec at, double distance, colour &glow, vec &normal, bool &water) {
    const double north = at.y, blur = clamp01(distance / 300);
    const double grain = mix(vec{noise(at.x * 6, at.y * 6, 5)}, vec{0.5}, blur).x;
    glow = {};
    const double shore = -62 + 9 * noise(at.x / 24, 0, 6) + 3 * noise(at.x / 6, 1, 7);
    if (north < shore) {
        water = true;
        const double wave = std::clamp(1 - distance / 900, 0.05, 1.0);
        normal = unit({(noise(at.x * 0.9, at.y * 1.7, 8) - 0.5) * 0.12 * wave,
                       (noise(at.x * 0.8, at.y * 1.9, 9) - 0.5) * 0.22 * wave, 1});
        return rgb(44, 84, 104);
    }
    if (north < shore + 2.5)
        return mix(rgb(206, 190, 150), rgb(188, 170, 130), grain);
    const world::street s = world::kStreet;
    if (north > s.south && north < s.north) {
        const bool dash = std::fabs(north - s.middle()) < 0.1 && std::fmod(at.x + 1000, 6) < 3;
        const bool edge =
            std::min(north - s.south, s.north - north) < 0.35 && std::min(north - s.south, s.north - north) > 0.2;
        const bool crossing = std::fabs(at.x - 12) < 2 && std::fmod(north, 1.1) < 0.55;
        return dash || edge || crossing ? rgb(224, 224, 216) : mix(rgb(84, 86, 90), rgb(98, 100, 104), grain);
    }
    const bool by_street = north > s.south - world::kPavement && north < s.north + world::kPavement;
    const bool square = at.x > 8 && at.x < 52 && north >= s.north && north < 56;
    const bool plaza = std::hypot(at.x, at.y) < 9.5;
    if (by_street || square || plaza) {
        const double size = square || plaza ? 1.0 : 0.8;
        const double u = at.x / size, v = at.y / size;
        const bool joint = distance < 120 && (u - std::floor(u) < 0.05 || v - std::floor(v) < 0.05);
        const double shade = hash(static_cast<int>(std::floor(u)), static_cast<int>(std::floor(v)), 30);
        return mix(rgb(176, 166, 152), rgb(198, 190, 176), distance < 120 ? shade : 0.5) * (joint ? 0.75 : 1);
    }
    if (std::fabs(at.x - 5 * std::sin(at.y / 14)) < 1.4 && north < s.south) // a path to the lake
        return mix(rgb(196, 178, 142), rgb(180, 160, 124), grain);
    const double patch = cloudy(at.x / 17, at.y / 17, 3, 10);
    const colour grass = mix(rgb(96, 132, 56), rgb(136, 158, 76), patch * 1.4 - 0.2);
    const bool flower = distance < 60 && hash(static_cast<int>(std::floor(at.x * 3)),
                                              static_cast<int>(std::floor(at.y * 3)), 31) > 0.985;
    return flower ? (hash(static_cast<int>(at.x * 3), 1, 32) > 0.5 ? rgb(238, 214, 90) : rgb(236, 232, 240))
                  : grass * (0.8 + 0.4 * grain);
}

// ---- Sky and hills

colour paint_sky(const place &here, vec to) {
    const double up = std::max(0.0, to.z), towards = dot(to, here.sun);
    colour sky;
    if (here.night) {
        sky = mix(colour{0.020, 0.026, 0.050}, colour{0.003, 0.005, 0.014}, std::pow(up, 0.5));
        const double pan = std::atan2(to.x, to.y), tilt = std::asin(std::clamp(to.z, -1.0, 1.0));
        const double rows = 150, row = std::floor(tilt * rows),
                     columns = std::max(1.0, std::floor(rows * 2 * std::cos(row / rows) * 3.1416));
        const double column = std::floor((pan / 6.2831853 + 0.5) * columns);
        if (hash(static_cast<int>(row), static_cast<int>(column), 40) > 0.962) {
            const double dx = ((pan / 6.2831853 + 0.5) * columns - column) - 0.25 -
                              0.5 * hash(static_cast<int>(column), static_cast<int>(row), 41);
            const double dy =
                (tilt * rows - row) - 0.25 - 0.5 * hash(static_cast<int>(row), static_cast<int>(column), 42);
            const double bright = std::pow(hash(static_cast<int>(row), static_cast<int>(column), 43), 5);
            sky = sky + colour{0.9, 0.92, 1} *
                            ((0.08 + bright) * smooth(0.18, 0.04, std::hypot(dx, dy)) * smooth(0.02, 0.2, up));
        }
        const vec side = unit({here.sun.y, -here.sun.x, 0});
        const double angle = std::acos(std::clamp(towards, -1.0, 1.0)) / kDegree;
        sky = sky + colour{0.10, 0.11, 0.13} * std::exp(-angle / 5);
        if (angle < 1.5) {
            const vec away = to - here.sun;
            const double u = dot(away, side) / kDegree, v = away.z / kDegree;
            sky = mix(sky, colour{0.86, 0.85, 0.78} * (0.72 + 0.4 * noise(u * 2.3 + 9, v * 2.3, 44)),
                      smooth(1.5, 1.4, angle));
        }
        return sky;
    }
    sky = mix(rgb(196, 218, 236), rgb(58, 118, 196), std::pow(up, 0.55));
    sky = mix(sky, rgb(244, 230, 204), 0.55 * std::exp(-up * 9) * (0.5 + 0.5 * towards));
    sky = sky + colour{1.0, 0.86, 0.6} *
                    (0.35 * std::pow(std::max(0.0, towards), 40) + 0.5 * std::pow(std::max(0.0, towards), 400));
    if (up > 0.02) {
        const double scale = 1.5 / (to.z + 0.08), x = to.x * scale, y = to.y * scale;
        const double density = cloudy(x + 3.1, y - 1.2, 6, 50), cover = smooth(0.50, 0.68, density);
        const double lit = cloudy(x + 3.1 + here.sun.x * 0.13, y - 1.2 + here.sun.y * 0.13, 5, 50);
        const colour cloud = mix(colour{1.02, 1.0, 0.97}, colour{0.60, 0.65, 0.74}, smooth(0.42, 0.72, lit));
        sky = mix(sky, cloud, cover * smooth(0.02, 0.16, up) * 0.94);
    }
    if (towards > std::cos(0.55 * kDegree))
        sky = {1.6, 1.5, 1.3};
    return sky;
}

// Ranges of hills, the farthest first; the ray's colour where it meets one.
bool paint_hills(const place &here, double pan, double tilt, colour &seen) {
    struct range {
        double base, rise, width;
        int seed;
        colour near, far;
    };
    const range ranges[] = {
        {1.6, 8.5, 26, 60, rgb(150, 168, 190), rgb(172, 188, 206)},
        {1.0, 4.2, 17, 63, rgb(112, 142, 140), rgb(140, 166, 160)},
        {0.2, 2.6, 11, 66, rgb(84, 120, 74), rgb(112, 146, 96)},
    };
    bool met = false;
    for (const range &one : ranges) {
        const double u = std::sin(pan * kDegree) * 180 / one.width, v = std::cos(pan * kDegree) * 180 / one.width;
        double line = one.base + one.rise * std::pow(cloudy(u / 3 + 20, v / 3 + 20, 5, one.seed) * 1.05, 1.7) * 1.2;
        if (&one == ranges)
            line +=
                6.5 * std::exp(-std::pow(std::remainder(pan - 68, 360) / 24, 2)) * (0.6 + 0.55 * cloudy(u, v, 4, 59));
        // Lower over the lake.
        line *= 0.55 + 0.45 * smooth(35, 80, std::fabs(std::remainder(pan - 180, 360)));
        if (tilt > line)
            continue;
        met = true;
        const double share = clamp01(tilt / std::max(0.3, line));
        seen = mix(one.near, one.far, 1 - share);
        seen = seen * (0.86 + 0.24 * cloudy(pan * 1.9, tilt * 3.1, 4, one.seed + 2));
        if (&one == ranges && tilt > 6.2 + 1.6 * cloudy(pan / 2.2, tilt, 3, 58))
            seen = mix(seen, colour{0.92, 0.94, 0.99}, smooth(0, 1.2, tilt - 6.6 + 1.2 * noise(pan * 2, tilt * 2, 57)));
        if (here.night)
            seen = seen * colour{0.016, 0.020, 0.032};
    }
    return met;
}

// ---- A pixel

bool in_shade(const place &here, vec at) {
    const ray r = {at, here.sun};
    hit nearest;
    const sector *lane = here.lane(at);
    if (!lane)
        return false;
    if (lane->tower)
        meet_tower(here, r, nearest);
    for (const house *one : lane->houses)
        meet_house(here, *one, r, nearest);
    for (const tree *one : lane->trees) {
        if (nearest.distance < 1e9)
            return true;
        meet_tree(*one, r, nearest);
    }
    return nearest.distance < 1e9;
}

colour look(const place &here, vec to, int depth);

colour light_up(const place &here, const ray &r, const hit &seen) {
    const vec at = r.from + r.to * seen.distance + seen.normal * 0.02;
    const double facing = std::max(0.0, dot(seen.normal, here.sun));
    const bool lit = facing > 0 && (seen.distance > 350 || !in_shade(here, at));
    colour sum = here.sky * (0.62 + 0.38 * seen.normal.z);
    if (!here.night)
        sum = sum + colour{0.10, 0.10, 0.07} * (0.5 - 0.5 * seen.normal.z);
    if (lit)
        sum = sum + here.light * facing;
    if (here.night)
        for (const world::point &lamp : here.lamps) {
            const vec away = vec{lamp.x, lamp.y, lamp.z - 0.1} - at;
            const double distance = length(away);
            if (distance < 30)
                sum = sum + colour{1.0, 0.72, 0.36} *
                                (6.5 * std::max(0.0, dot(seen.normal, away) / distance) / (3 + distance * distance));
        }
    return seen.surface * sum + seen.glow;
}

colour look(const place &here, vec to, int depth) {
    const ray r = {{0, 0, world::kCameraHeight}, to};
    hit nearest;
    const double pan = std::atan2(to.x, to.y) / kDegree, tilt = std::asin(std::clamp(to.z, -1.0, 1.0)) / kDegree;
    const sector &near = here.towards(to);
    if (tilt < near.top) {
        for (const house *one : near.houses)
            meet_house(here, *one, r, nearest);
        if (near.tower)
            meet_tower(here, r, nearest);
        for (const tree *one : near.trees)
            meet_tree(*one, r, nearest);
        for (const world::point *one : near.lamps)
            meet_lamp(here, *one, r, nearest);
    }
    const double ground = to.z < -1e-6 ? world::kCameraHeight / -to.z : 1e9;
    colour seen;
    double distance = nearest.distance;
    if (ground < nearest.distance) {
        distance = ground;
        const vec at = r.from + to * ground;
        hit flat;
        flat.distance = ground;
        bool water = false;
        flat.surface = paint_ground(at, ground, flat.glow, flat.normal, water);
        if (water && depth == 0) {
            vec mirrored = to - flat.normal * (2 * dot(to, flat.normal));
            mirrored.z = std::fabs(mirrored.z) + 0.01;
            const double grazing = std::pow(1 - std::fabs(to.z), 4);
            const colour reflected = look(here, unit(mirrored), 1);
            seen = mix(flat.surface * (here.sky * 0.9), reflected, 0.25 + 0.65 * grazing);
        } else
            seen = light_up(here, r, flat);
    } else if (nearest.distance < 1e9)
        seen = light_up(here, r, nearest);
    else if (!paint_hills(here, pan, tilt, seen))
        return paint_sky(here, to);
    else
        return seen;
    // Haze.
    const colour haze = here.night ? colour{0.016, 0.020, 0.036} : rgb(186, 206, 222);
    return mix(seen, haze, 1 - std::exp(-distance / (here.night ? 1500 : 900)));
}

uint8_t shown(double linear) {
    const double bent = linear / (1 + 0.18 * linear) * 1.10;
    return static_cast<uint8_t>(std::lround(255 * std::pow(clamp01(bent), 1 / 2.2)));
}

// Two pixels at once, which share their chroma.
void paint_rows(const place &here, uint32_t width, uint32_t first, uint32_t step, std::vector<uint8_t> &picture) {
    const uint32_t height = width / 2;
    std::vector<uint8_t> row(size_t{3} * width);
    for (uint32_t y = first; y < height; y += step) {
        for (uint32_t x = 0; x < width; ++x) {
            colour sum;
            for (int sample = 0; sample < 4; ++sample) {
                const double px = x + 0.25 + 0.5 * (sample % 2), py = y + 0.25 + 0.5 * (sample / 2);
                const double pan = px / width * 360 * kDegree, tilt = (90 - py / height * 180) * kDegree;
                const colour seen =
                    look(here, {std::sin(pan) * std::cos(tilt), std::cos(pan) * std::cos(tilt), std::sin(tilt)}, 0);
                sum = sum + colour{std::min(seen.x, 1.5), std::min(seen.y, 1.5), std::min(seen.z, 1.5)} * 0.25;
            }
            row[3 * x] = shown(sum.x);
            row[3 * x + 1] = shown(sum.y);
            row[3 * x + 2] = shown(sum.z);
        }
        srgb_to_yccfull(row.data(), row.data(), width);
        uint8_t *to = &picture[size_t{2} * width * y];
        for (const uint8_t *two = row.data(); two != row.data() + 3 * width; two += 6, to += 4) {
            to[0] = static_cast<uint8_t>((two[1] + two[4] + 1) / 2);
            to[1] = two[0];
            to[2] = static_cast<uint8_t>((two[2] + two[5] + 1) / 2);
            to[3] = two[3];
        }
    }
}

constexpr cmdline_option kOptions[] = {{'h', "help", nullptr, 0},
                                       {'n', "night", "with lamps and stars instead of the sun", 0},
                                       {'w', "width", "pixels, a multiple of 4; 4096 if not given", CMDLINE_REQUIRED},
                                       {0, nullptr, nullptr, 0}};

} // namespace

int main(int argc, char **argv) {
    bool night = false, good = true;
    long width = 4096;
    int before = cmdline_optidx;
    for (int option; (option = cmdline_getopt(argc, argv, kOptions)) >= 0; before = cmdline_optidx) {
        // 0 is an operand, which moves to the end, or an option without its value, which is passed over.
        good = good && (option != 0 || cmdline_optidx == before);
        if (option == 'h' || option == '?') {
            cmdline_usage(kOptions + 1, "paint", "[options] FILE");
            return option == 'h' ? EXIT_SUCCESS : EXIT_FAILURE;
        }
        night = night || option == 'n';
        if (option == 'w') {
            char *end = nullptr;
            width = std::strtol(cmdline_optarg, &end, 10);
            good = good && *end == '\0' && width >= 4 && width <= 16384 && width % 4 == 0;
        }
    }
    if (!good || cmdline_optidx != argc - 1) {
        std::fputs(good ? "paint: name one file\n" : "paint: the width is a multiple of 4, up to 16384\n", stderr);
        return EXIT_FAILURE;
    }
    const char *const file_name = argv[cmdline_optidx];
    place here;
    make_place(night, here);
    std::vector<uint8_t> picture(static_cast<size_t>(width * width));
    const unsigned workers = std::max(1U, std::thread::hardware_concurrency());
    std::vector<std::thread> all;
    for (unsigned i = 0; i < workers; ++i)
        all.emplace_back([&, i] { paint_rows(here, static_cast<uint32_t>(width), i, workers, picture); });
    for (std::thread &one : all)
        one.join();
    FILE *file = std::fopen(file_name, "wb");
    const bool written = file && std::fwrite(picture.data(), 1, picture.size(), file) == picture.size();
    if (!file || std::fclose(file) != 0 || !written) {
        std::fprintf(stderr, "paint: cannot write %s\n", file_name);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
