/**
 * @file
 * Wall-clock times as values: vela/time.h for C++.
 *
 *     const auto start = vela::timestamp::now();
 *     ...
 *     if (const auto end = vela::timestamp::now(); start && end && *end - *start > 2s)
 *         log("slow, or the clock was set");
 *
 * Times have the range of struct timeval. Differences are std::chrono's, exact up to 292,000 years, and wrap around
 * beyond. Nothing throws. Any thread may call any function at any time.
 */
#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <optional>
#include <vela/time.h>

namespace vela {

/** Microseconds since the epoch, 1970-01-01 00:00 UTC: copied, compared and added to like a number. */
class timestamp {
public:
    /** The epoch. */
    constexpr timestamp() noexcept = default;

    /** @param time  seconds and microseconds, normalized or not */
    explicit timestamp(timeval time) noexcept : time_(time) { time_balance(&time_); }

    /** @param since_epoch  since the epoch; wraps around beyond the seconds of a struct timeval */
    explicit timestamp(std::chrono::microseconds since_epoch) noexcept : time_(as_timeval(since_epoch)) {}

    /** @return the current time; empty when the system call fails */
    [[nodiscard]] static std::optional<timestamp> now() noexcept {
        timestamp made;
        return gettime(&made.time_) == 0 ? std::optional(made) : std::nullopt;
    }

    /** @return seconds, and microseconds from 0 to 999999 */
    [[nodiscard]] const timeval &get() const noexcept { return time_; }
    /** @return the time since the epoch */
    [[nodiscard]] std::chrono::microseconds since_epoch() const noexcept { return as_microseconds(time_); }
    /** @return the same for std::chrono::system_clock */
    [[nodiscard]] std::chrono::sys_time<std::chrono::microseconds> to_sys_time() const noexcept {
        return std::chrono::sys_time<std::chrono::microseconds>(since_epoch());
    }

    /** @return the time from b to a, negative when a is earlier */
    [[nodiscard]] friend std::chrono::microseconds operator-(const timestamp &a, const timestamp &b) noexcept {
        return as_microseconds(time_sub(&a.time_, &b.time_));
    }
    /** Adds a duration. */
    timestamp &operator+=(std::chrono::microseconds by) noexcept {
        const timeval difference = as_timeval(by);
        time_ = time_add(&time_, &difference);
        return *this;
    }
    /** Subtracts a duration. */
    timestamp &operator-=(std::chrono::microseconds by) noexcept {
        const timeval difference = as_timeval(by);
        time_ = time_sub(&time_, &difference);
        return *this;
    }
    /** @return the time, a duration later */
    [[nodiscard]] friend timestamp operator+(timestamp time, std::chrono::microseconds by) noexcept {
        return time += by;
    }
    /** @return the time, a duration earlier */
    [[nodiscard]] friend timestamp operator-(timestamp time, std::chrono::microseconds by) noexcept {
        return time -= by;
    }

    /** Compares by time. */
    [[nodiscard]] friend std::strong_ordering operator<=>(const timestamp &a, const timestamp &b) noexcept {
        return time_compare(&a.time_, &b.time_) <=> 0;
    }
    /** Whether they are the same. */
    [[nodiscard]] friend bool operator==(const timestamp &a, const timestamp &b) noexcept {
        return std::is_eq(a <=> b);
    }

private:
    static std::chrono::microseconds as_microseconds(const timeval &time) noexcept {
        const auto seconds = static_cast<std::uint64_t>(std::int64_t{time.tv_sec});
        const auto total = seconds * 1000000 + static_cast<std::uint64_t>(time.tv_usec);
        return std::chrono::microseconds(static_cast<std::int64_t>(total));
    }

    // The microseconds of a struct timeval may have 32 bits.
    static timeval as_timeval(std::chrono::microseconds time) noexcept {
        timeval made{};
        made.tv_sec = static_cast<decltype(made.tv_sec)>(time.count() / 1000000);
        made.tv_usec = static_cast<decltype(made.tv_usec)>(time.count() % 1000000);
        time_balance(&made);
        return made;
    }

    timeval time_ = {};
};

} // namespace vela
