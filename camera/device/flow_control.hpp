// Live pictures that follow their link: the client acknowledges them, which tells how fast the link is, and from that
// how large the next picture may be and when it may be sent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

class flow_control {
public:
    struct form {
        int32_t width, height, quality;
    };

    // Pictures are never larger or better than this.
    explicit flow_control(const form &most) : most_(most) {}

    // The form of the next picture.
    form next() const;
    // Whether it may be sent: what is on its way arrives soon enough. Times are in seconds.
    bool is_open(double now) const;
    // Whether the client does not acknowledge any more.
    bool is_lost(double now) const;
    void sent(uint32_t number, size_t bytes, double now);
    // This picture, and all before it, have arrived, this long before the client said so.
    void acknowledged(uint32_t number, double ago, double now);

private:
    struct picture {
        uint32_t number;
        size_t bytes;
        double time;
    };
    struct arrival {
        size_t bytes;
        double time;
    };

    double measured_rate() const;
    void fit(size_t bytes);

    form most_;
    size_t size_ = 3;        // index of the share of the largest size
    double coarseness_ = 80; // of the quantization, in percent of the standard's tables
    double rate_ = 60e3;     // bytes a second
    double shortest_ = 1;    // time from a picture's start to its acknowledgment, in seconds
    double slowed_ = 0;      // when the rate was last lowered
    double due_ = 0;         // of the next picture, so that they don't come in bursts
    bool is_starting_ = true;
    size_t on_the_way_ = 0; // bytes
    std::deque<picture> pictures_;
    std::deque<arrival> arrivals_;
};
