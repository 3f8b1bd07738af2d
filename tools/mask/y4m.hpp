// YUV4MPEG2, as ffmpeg and mjpegtools write it: a line that says what pictures are, and before each picture another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vela/picture.h>

namespace y4m {

struct header {
    std::string line;     // as it came, with its end
    vela_picture picture; // without its planes
    double rate;          // pictures a second; 0 where it's not said
};

// The header of a line without its end. Throws std::runtime_error for what can't be masked.
header parse_header(std::string_view line);

// Pictures from a file descriptor and to another.
class stream {
public:
    // Reads the header; std::runtime_error where there is none.
    stream(int in, int out);

    const header &about() const { return header_; }
    // Writes the header. This and write() return false when nobody reads any longer.
    bool start();
    // Reads the next picture into memory that the result describes; false at the end. Throws for a broken one.
    bool read(vela_picture &picture);
    // Writes the picture with its line at once, as far as the system takes it.
    bool write();

private:
    std::string_view read_line(const char *what);
    size_t fill(size_t wanted);

    int in_, out_;
    header header_;
    std::unique_ptr<uint8_t[]> buffer_;
    size_t filled_ = 0, used_ = 0; // bytes that are read; those of the picture in front, with its line
    size_t picture_bytes_ = 0;
};

} // namespace y4m
