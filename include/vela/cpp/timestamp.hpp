/**
 * @file
 * Wall-clock times as values: vela/time.h for C++.
 *
 *     const auto began = vela::timestamp::now();
 *     ...
 *     if (const auto ended = vela::timestamp::now(); began && ended && *ended - *began > 2s)
 *         log("slow, or the clock was set");
 *
 * Times are those of struct timeval, and exact as far as its seconds reach; differences are std::chrono's, exact within
 * 292,000 years, and wrap around beyond. Any thread may call any function at any time.
 */
#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <optional>
#include <vela/time.h>

namespace vela {

/**
 * A time since 1970 (UTC) in microseconds: copied, compared and moved like a number.
 */
class timestamp {
public:
    /** The begin of 1970. */
    constexpr timestamp() = default;

    /** @param time  seconds and microseconds, balanced or not */
    explicit timestamp(timeval time) : balanced(time) { time_balance(&balanced); }

    /** @param since_1970  since the begin of 1970; what the seconds of a struct timeval can't hold wraps around */
    explicit timestamp(std::chrono::microseconds since_1970) : balanced(as_timeval(since_1970)) {}

    /** @return the current time, if the system tells it */
    [[nodiscard]] static std::optional<timestamp> now() {
        timestamp made;
        return gettime(&made.balanced) == 0 ? std::optional(made) : std::nullopt;
    }

    /** @return seconds, and microseconds from 0 to 999999 */
    [[nodiscard]] const timeval &get() const { return balanced; }
    /** @return the microseconds since the begin of 1970 */
    [[nodiscard]] std::chrono::microseconds since_1970() const { return as_microseconds(balanced); }
    /** @return the same for std::chrono::system_clock */
    [[nodiscard]] std::chrono::sys_time<std::chrono::microseconds> to_sys_time() const {
        return std::chrono::sys_time<std::chrono::microseconds>(since_1970());
    }

    /** @return the time between two, negative where the first is earlier */
    [[nodiscard]] friend std::chrono::microseconds operator-(const timestamp &a, const timestamp &b) {
        return as_microseconds(time_sub(&a.balanced, &b.balanced));
    }
    /** Moves the time forward. */
    timestamp &operator+=(std::chrono::microseconds by) {
        const timeval difference = as_timeval(by);
        balanced = time_add(&balanced, &difference);
        return *this;
    }
    /** Moves the time back. */
    timestamp &operator-=(std::chrono::microseconds by) {
        const timeval difference = as_timeval(by);
        balanced = time_sub(&balanced, &difference);
        return *this;
    }
    /** @return the time moved forward */
    [[nodiscard]] friend timestamp operator+(timestamp time, std::chrono::microseconds by) { return time += by; }
    /** @return the time moved back */
    [[nodiscard]] friend timestamp operator-(timestamp time, std::chrono::microseconds by) { return time -= by; }

    /** Which one is later. */
    [[nodiscard]] friend std::strong_ordering operator<=>(const timestamp &a, const timestamp &b) {
        return time_compare(&a.balanced, &b.balanced) <=> 0;
    }
    /** Whether they are the same. */
    [[nodiscard]] friend bool operator==(const timestamp &a, const timestamp &b) { return (a <=> b) == 0; }

private:
    static std::chrono::microseconds as_microseconds(const timeval &time) {
        const auto seconds = static_cast<uint64_t>(int64_t{time.tv_sec});
        return std::chrono::microseconds(static_cast<int64_t>(seconds * 1000000 + static_cast<uint64_t>(time.tv_usec)));
    }

    // The microseconds of a struct timeval may have 32 bits.
    static timeval as_timeval(std::chrono::microseconds time) {
        timeval made{};
        made.tv_sec = static_cast<decltype(made.tv_sec)>(time.count() / 1000000);
        made.tv_usec = static_cast<decltype(made.tv_usec)>(time.count() % 1000000);
        time_balance(&made);
        return made;
    }

    timeval balanced = {};
};

} // namespace vela
