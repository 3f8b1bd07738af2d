/**
 * @file
 * The optional by which functions return objects that own what their members hand out.
 */
#pragma once

#include <optional>
#include <utility>

/** Of a member function: its result refers to the object, so Clang warns when that is a temporary. */
#ifdef __clang__
#define VELA_LIFETIME_BOUND [[clang::lifetimebound]]
#else
#define VELA_LIFETIME_BOUND
#endif

namespace vela {

/**
 * A std::optional whose value cannot be referred to while it is a temporary: what its members return, spans and views
 * into it, would dangle.
 *
 *     vela::url::parse(text)->host();                         // does not compile: give the result a name first
 *     for (auto path : *vela::walk::make("/media", "jpg$"))   // the value is moved out and outlives the loop
 *
 * It converts to std::optional<T>, and is one in every other respect.
 */
template <class T>
class result : public std::optional<T> {
    using base = std::optional<T>;

public:
    using base::base;
    /** An empty result. */
    result() noexcept = default;
    /** @param other  the optional that it becomes */
    result(base &&other) noexcept(noexcept(base(std::move(other)))) : base(std::move(other)) {}

    /** @return the value; there has to be one */
    [[nodiscard]] T &operator*() &noexcept { return base::operator*(); }
    /** @return the value; there has to be one */
    [[nodiscard]] const T &operator*() const &noexcept { return base::operator*(); }
    /** @return the value, moved out of a temporary; there has to be one */
    [[nodiscard]] T operator*() &&noexcept { return std::move(base::operator*()); }

    /** @return a pointer to the value; there has to be one */
    [[nodiscard]] T *operator->() &noexcept { return base::operator->(); }
    /** @return a pointer to the value; there has to be one */
    [[nodiscard]] const T *operator->() const &noexcept { return base::operator->(); }
    T *operator->() && = delete;
    const T *operator->() const && = delete;

    /** @return the value; fails as std::optional does if there is none */
    [[nodiscard]] T &value() & { return base::value(); }
    /** @return the value; fails as std::optional does if there is none */
    [[nodiscard]] const T &value() const & { return base::value(); }
    /** @return the value, moved out of a temporary; fails as std::optional does if there is none */
    [[nodiscard]] T value() && { return std::move(base::value()); }
};

} // namespace vela
