// Clips: pictures with their sound in one file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace clip {

struct content {
    int32_t width, height;
    double seconds;                    // that the pictures last, at equal distances
    std::vector<std::string> pictures; // JPEG
    uint32_t rate;                     // samples a second
    std::vector<int16_t> sound;
};

// AVI: the JPEGs and the samples as they are.
std::string to_avi(const content &all);
// The same in MP4 (H.264, AAC) by ffmpeg; empty if there is none, or it fails.
std::optional<std::string> to_mp4(std::string_view avi);

} // namespace clip
