// What a real camera sees and hears, as its programs find it. See feed_layout.hpp.
#pragma once

#include "feed_layout.hpp"
#include "motion.hpp"
#include "picture.hpp"
#include <optional>
#include <span>
#include <string>
#include <sys/types.h>
#include <vela/overlay.hpp>

namespace feed {

// A file of the directory, mapped; anew when another one has taken its place.
class mapping {
public:
    explicit mapping(const char *name) : name_(name) {}
    ~mapping() { unmap(); }
    mapping(const mapping &) = delete;
    mapping &operator=(const mapping &) = delete;

    // Null if there is none, or it is shorter than that. Sets `is_new` when it is another one than before.
    const uint8_t *bytes(size_t at_least, bool *is_new = nullptr);

private:
    void unmap();

    const char *name_;
    ino_t file_ = 0;
    size_t size_ = 0;
    uint8_t *bytes_ = nullptr;
};

class video {
public:
    // Whether there is a real camera at all; otherwise the scene is shown.
    static bool is_configured();

    struct frame {
        picture::surface shown;
        uint64_t number;
    };
    // Empty while there was none yet. It stays as it is for as long as the source takes for two more.
    std::optional<frame> newest();
    bool is_intact(const frame &one) const;
    // Seconds since the newest; none without one.
    std::optional<double> age();
    projection by();
    // How far it makes sense to turn, and where to look first.
    motion::limits limits();
    motion::position home();

private:
    const video_file *file();
    // Half the angles that the picture spans.
    std::array<double, 2> half_angles() const;

    mapping mapping_{"video"};
    const video_file *file_ = nullptr;
    std::optional<vela::overlay::view> lens_;
};

// The sound of the source, if it has one. Samples are counted from when it began.
class sound {
public:
    static bool is_configured();
    // The count of samples so far, and their time.
    uint64_t count();
    // These samples; silence where there are none any more, or not yet.
    void copy(uint64_t from, std::span<int16_t> to);

private:
    mapping mapping_{"sound"};
};

} // namespace feed
