/**
 * @file
 * Compiler attributes of the public functions. They only add warnings: no call changes.
 */
#ifndef VELA_ATTRIBUTES_H
#define VELA_ATTRIBUTES_H

#include <stddef.h> /* declares something, which ISO C requires of a translation unit */

/**
 * Marks a function whose result must be used: it owns something, or it is the only sign of whether there is any output.
 * A C++ program that means to ignore it casts to void.
 */
#if defined(__cplusplus) && __cplusplus >= 201703L
#define VELA_NODISCARD [[nodiscard]]
#elif defined(__GNUC__)
#define VELA_NODISCARD __attribute__((warn_unused_result))
#else
#define VELA_NODISCARD
#endif

/** Marks a function whose result is released by another; the compiler then reports leaks and mismatched releases. */
#if defined(__GNUC__) && __GNUC__ >= 11 && !defined(__clang__)
#define VELA_RELEASED_BY(function) __attribute__((malloc(function, 1)))
#else
#define VELA_RELEASED_BY(function)
#endif

/** Marks the pointer arguments, counted from 1, that must not be null. */
#if defined(__GNUC__)
#define VELA_NONNULL(...) __attribute__((nonnull(__VA_ARGS__)))
#else
#define VELA_NONNULL(...)
#endif

/** Mark an argument that is a buffer to read, and the argument that is its number of elements; the compiler then
 * reports buffers that are too small. */
#if defined(__GNUC__) && __GNUC__ >= 11 && !defined(__clang__)
#define VELA_READS(buffer, count) __attribute__((access(read_only, buffer, count)))
#define VELA_WRITES(buffer, count) __attribute__((access(write_only, buffer, count)))
#else
#define VELA_READS(buffer, count)
/** VELA_READS() for a buffer to write. */
#define VELA_WRITES(buffer, count)
#endif

#endif
