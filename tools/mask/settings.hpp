// What vela-mask is told by files: masks, the lens, and where the camera looked when. Each function takes a file's text
// and its name for messages, and throws std::runtime_error with the line where it's wrong.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>
#include <vela/overlay.h>

namespace settings {

struct freed {
    void operator()(vela_mask *mask) const { vela_mask_free(mask); }
    void operator()(vela_view *view) const { vela_view_free(view); }
};
using mask = std::unique_ptr<vela_mask, freed>;
using view = std::unique_ptr<vela_view, freed>;

// The masks that are on, of the text that the camera's GET /api/mask answers, or of its array "masks" alone.
std::vector<mask> read_masks(std::string_view text, const std::string &name);

// A lens by OpenCV's names: fx, fy, cx, cy, k1, ...; or camera_matrix and dist_coeffs. For a picture of that size.
vela_lens read_lens(std::string_view text, const std::string &name, int width, int height);

// Where the camera looks, and how its lens is zoomed: a field of view in degrees, or a factor of the focal length; 0
// where the table has no such column.
struct position {
    vela_orientation where;
    double fov, zoom;

    bool operator==(const position &other) const {
        return where.pan == other.where.pan && where.tilt == other.where.tilt && where.roll == other.where.roll &&
               fov == other.fov && zoom == other.zoom;
    }
};

// A table of positions by time, linear in between, and constant before its first row and after its last.
class track {
public:
    explicit track(const position &always) : rows_{{0, always}} {}
    // Lines of t,pan,tilt and perhaps roll, fov, zoom, in the order that the first line gives; times in seconds grow.
    track(std::string_view text, const std::string &name);

    bool is_constant() const { return rows_.size() == 1; }
    bool has_fov() const { return rows_[0].at.fov > 0; }
    position at(double time) const;
    // Calls each(from, to) for the straight parts of the way from a time to another.
    template <class Each>
    void pass(double begin, double end, Each &&each) const {
        position from = at(begin);
        const position last = at(end);
        bool is_passed = false;
        for (const row &r : rows_)
            if (begin < r.time && r.time < end) {
                each(from, r.at);
                from = r.at;
                is_passed = true;
            }
        if (!is_passed || !(from == last))
            each(from, last);
    }

private:
    struct row {
        double time;
        position at;
    };

    std::vector<row> rows_;
};

} // namespace settings
