// What goes out as it comes: a pacer to send by, and pictures one behind the other.
#pragma once

#include "web.hpp"
#include <algorithm>
#include <string>
#include <thread>
#include <vela/cpp/timestamp.hpp>

// Even periods of time.
class pacer {
public:
    // What happens to periods that were missed.
    enum class late { catch_up, skip };

    explicit pacer(std::chrono::microseconds period, late when_late, std::chrono::microseconds ahead = {})
        : period_(period), when_late_(when_late), due_(vela::timestamp::now().value_or(vela::timestamp()) - ahead) {}

    // Waits for the end of the period; not at all when it is over. A clock that is set back does not prolong it.
    void wait() {
        due_ += period_;
        const vela::timestamp now = vela::timestamp::now().value_or(due_);
        due_ = std::min(due_, now + period_);
        if (when_late_ == late::skip && due_ < now)
            due_ += (now - due_) / period_ * period_;
        if (due_ > now)
            std::this_thread::sleep_for(due_ - now);
    }

private:
    std::chrono::microseconds period_;
    late when_late_;
    vela::timestamp due_;
};

// A multipart answer in which each picture replaces the one before. Functions return false when the client has gone.
class picture_stream {
public:
    explicit picture_stream(web::exchange &http) : http_(http) {}

    bool begin() { return http_.begin("multipart/x-mixed-replace; boundary=vela-picture"); }
    // `fields`: more header lines of the picture, each with its line end.
    bool send(std::string_view jpeg, std::string_view fields = {}) {
        const std::string size = std::to_string(jpeg.size());
        return http_.write({"--vela-picture\r\nContent-Type: image/jpeg\r\n", fields, "Content-Length: ", size,
                            "\r\n\r\n", jpeg, "\r\n"});
    }
    bool end() { return http_.write({"--vela-picture--\r\n"}); }

private:
    web::exchange &http_;
};

inline std::string_view text_of(const std::vector<uint8_t> &bytes) {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}
