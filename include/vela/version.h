/**
 * @file
 * The library's version: what this header belongs to, and the one place from which the build takes it.
 *
 * A program that runs with a shared library of the same major version, of this version or later, finds every function
 * that it was compiled against.
 */
#ifndef VELA_VERSION_H
#define VELA_VERSION_H

#define VELA_VERSION "1.0.0" /**< all three numbers as text */
#define VELA_VERSION_MAJOR 1 /**< rises where a program has to be compiled anew */
#define VELA_VERSION_MINOR 0 /**< rises with every addition */
#define VELA_VERSION_PATCH 0 /**< rises with every other change */

/** The version as one number for comparisons: `#if VELA_VERSION_NUMBER >= 10200` is true from version 1.2.0 on. */
#define VELA_VERSION_NUMBER (VELA_VERSION_MAJOR * 10000 + VELA_VERSION_MINOR * 100 + VELA_VERSION_PATCH)

#endif
