// What goes out as it comes: a beat to send by, and pictures one behind the other.
#pragma once

#include "web.hpp"
#include <algorithm>
#include <string>
#include <thread>
#include <vela/cpp/timestamp.hpp>

// Even strokes of time.
class beat {
public:
    // What becomes of strokes that one comes too late for.
    enum class late { made_up, left_out };

    explicit beat(std::chrono::microseconds period, late behind, std::chrono::microseconds ahead = {})
        : period_(period), behind_(behind), due_(vela::timestamp::now().value_or(vela::timestamp()) - ahead) {}

    // Waits for the next stroke; not at all when that's over. A clock that is set back doesn't make it wait longer.
    void wait() {
        due_ += period_;
        const vela::timestamp now = vela::timestamp::now().value_or(due_);
        due_ = std::min(due_, now + period_);
        if (behind_ == late::left_out && due_ < now)
            due_ += (now - due_) / period_ * period_;
        if (due_ > now)
            std::this_thread::sleep_for(due_ - now);
    }

private:
    std::chrono::microseconds period_;
    late behind_;
    vela::timestamp due_;
};

// A multipart answer in which each picture takes the place of the one before. Each function: false when the client has
// gone.
class picture_stream {
public:
    explicit picture_stream(web::exchange &one) : one_(one) {}

    bool begin() { return one_.begin("multipart/x-mixed-replace; boundary=vela-picture"); }
    // `fields`: further lines of the picture's head, each with its end.
    bool send(std::string_view jpeg, std::string_view fields = {}) {
        const std::string size = std::to_string(jpeg.size());
        return one_.write({"--vela-picture\r\nContent-Type: image/jpeg\r\n", fields, "Content-Length: ", size,
                           "\r\n\r\n", jpeg, "\r\n"});
    }
    bool end() { return one_.write({"--vela-picture--\r\n"}); }

private:
    web::exchange &one_;
};

inline std::string_view text_of(const std::vector<uint8_t> &bytes) {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}
