// Frames and sound of a real camera: two files in the directory CAMERA_SOURCE, in memory, which the reader of the
// source (source/) writes and the camera's programs map.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vela/overlay.h>

namespace feed {

enum class projection : uint32_t { equirectangular, fisheye, pinhole };

inline constexpr size_t kPage = 4096, kFrames = 4;
constexpr size_t whole_pages(size_t bytes) { return (bytes + kPage - 1) / kPage * kPage; }

// The file "video", with its frames at whole pages after it. They are in packed 4:2:2: Cb Y0 Cr Y1, in full range.
struct video_file {
    int32_t width, height;
    projection by;
    vela_lens lens; // of the latter two projections
    vela_orientation where;
    std::atomic<uint64_t> count; // of complete frames; frame n is in place n % kFrames
    std::atomic<int64_t> time;   // of the newest, in microseconds of the clock of motion

    size_t frame_size() const { return size_t{2} * static_cast<size_t>(width) * static_cast<size_t>(height); }
    size_t place_of(uint64_t frame) const {
        return kPage + static_cast<size_t>(frame % kFrames) * whole_pages(frame_size());
    }
    size_t file_size() const { return place_of(0) + kFrames * whole_pages(frame_size()); }
};

// The file "sound", with its samples on the page after it.
struct sound_file {
    static constexpr size_t kSamples = 1 << 21; // 43 seconds; a power of two
    static constexpr uint32_t kRate = 48000;

    std::atomic<uint64_t> count; // sample n is in place n % kSamples
    std::atomic<int64_t> time;   // of the newest

    static constexpr size_t file_size() { return kPage + 2 * kSamples; }
};

} // namespace feed
