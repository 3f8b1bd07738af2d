/**
 * @file
 * The library for C++20 programs: owners, spans and names in the namespace vela, as headers alone over the C functions.
 *
 * Each family has a header of its own under vela/cpp/, which brings the C names of its module and no other: a program
 * that needs the hull and has a function dot() or strip() of its own includes <vela/cpp/hull.hpp> alone. This header
 * includes all families.
 *
 * A failure is an empty std::optional or vela::result, or a bool that must not be ignored. A function that throws
 * nothing is noexcept; the others throw only std::bad_alloc, from the std::string or std::vector that they build, and
 * what a callback of the caller's throws. Nothing needs exceptions or run-time type information to be enabled.
 */
#pragma once

#include <vela/cpp/base64.hpp>
#include <vela/cpp/cgi.hpp>
#include <vela/cpp/colour.hpp>
#include <vela/cpp/curve.hpp>
#include <vela/cpp/hull.hpp>
#include <vela/cpp/matrix.hpp>
#include <vela/cpp/multipart.hpp>
#include <vela/cpp/options.hpp>
#include <vela/cpp/owner.hpp>
#include <vela/cpp/rate_converter.hpp>
#include <vela/cpp/resampler.hpp>
#include <vela/cpp/result.hpp>
#include <vela/cpp/timestamp.hpp>
#include <vela/cpp/url.hpp>
#include <vela/cpp/uuid.hpp>
#include <vela/cpp/walk.hpp>
#include <vela/overlay.hpp>
