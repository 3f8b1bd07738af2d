/**
 * @file
 * The version of the library that this header belongs to; the build takes it from here too.
 *
 * A program compiled with this header runs with every shared library of the same major version and this or a later
 * minor version.
 */
#ifndef VELA_VERSION_H
#define VELA_VERSION_H

#include <stddef.h> /* declares something, which ISO C requires of a translation unit */

#define VELA_VERSION "1.0.0" /**< all three numbers as text */
#define VELA_VERSION_MAJOR 1 /**< incremented if programs must be recompiled */
#define VELA_VERSION_MINOR 0 /**< incremented with additions */
#define VELA_VERSION_PATCH 0 /**< incremented with other changes */

/** The version as one number for comparisons: `#if VELA_VERSION_NUMBER >= 10200` is true from version 1.2.0 on. */
#define VELA_VERSION_NUMBER (VELA_VERSION_MAJOR * 10000 + VELA_VERSION_MINOR * 100 + VELA_VERSION_PATCH)

#endif
