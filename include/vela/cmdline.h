/**
 * @file
 * Command-line options, one call per option.
 *
 * The caller describes its options in a table and calls cmdline_getopt() until it returns -1. Operands (arguments that
 * are not options) are moved after the options as they are met and keep their order: after the last call they are
 * `argv[cmdline_optidx]` to `argv[argc - 1]`. A value is always a separate argument (`-r 8000`, `--rate 8000`):
 * `--rate=8000` is an unknown option, and `-r8000` lacks its value. Short options may be clustered (`-vq`); there is no
 * end-of-options marker, so `--` is the short option "-".
 *
 * `--help` is an option like any other, unknown unless it is in the table. Since the usage screen ends with a line for
 * it, list it first and pass the rest of the table to cmdline_usage():
 *
 *     static const cmdline_option options[] = {
 *         {'h', "help", NULL, 0}, {'r', "rate", "hertz", CMDLINE_REQUIRED}, {0, NULL, NULL, 0}};
 *     int option;
 *     while ((option = cmdline_getopt(argc, argv, options)) >= 0)
 *         if (option == 'h' || option == '?') {
 *             cmdline_usage(options + 1, argv[0], NULL);
 *             return option == '?';
 *         }
 *
 * The parser's state is process-wide: one parse at a time, from one thread; cmdline_usage() and cmdline_print() do not
 * touch it. Nothing is allocated; the table, the vector and its strings stay the caller's. All output goes to the
 * standard output.
 */
#ifndef VELA_CMDLINE_H
#define VELA_CMDLINE_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup cmdline
 *  @{ */

/** Bits of cmdline_option::flags. If both are set, CMDLINE_OPTIONAL applies; other bits are ignored. */
enum {
    CMDLINE_REQUIRED = 1, /**< the option takes a value, which must be present */
    CMDLINE_OPTIONAL = 2  /**< the option takes a value, which may be absent */
};

/** One option. A table of options ends with a record whose short_name is 0. */
typedef struct cmdline_option {
    char short_name;       /**< the character of the short form; 0 ends the table */
    const char *long_name; /**< the long form without its dashes, or null */
    const char *help;      /**< what cmdline_usage() prints beside the option, or null */
    uint32_t flags;        /**< 0, CMDLINE_REQUIRED or CMDLINE_OPTIONAL */
} cmdline_option;

/** Index in the vector of the next argument to examine; 1 at the start. After the parse, that of the first operand. */
extern int32_t cmdline_optidx;

/** Value of the option returned last, or null. Points into the argument vector. */
extern char *cmdline_optarg;

/** Returns the parser to its initial state, for a second argument vector in the same process. */
void cmdline_reset(void);

/**
 * Takes the next option, or moves the next operand after the options.
 *
 * @param argc     number of arguments; `argv[argc]` and later elements are not read
 * @param argv     the arguments; their order changes, the strings do not
 * @param options  the option table
 * @return the option's character (1 to 255, read as unsigned), with cmdline_optarg set to its value or null;
 *         0 when an operand was moved, or when a required value is missing (with a message; a program that needs the
 *         value checks that it is set); '?' for an unknown option (a message names it, except for `-?` itself); -1 when
 *         nothing is left
 *
 * A required value is taken whatever it looks like; an optional one only if it does not begin with "-". A short option
 * that takes a value ends its cluster: `-sv NAME` is `-s NAME`.
 */
VELA_NODISCARD int16_t cmdline_getopt(int32_t argc, char **argv, const cmdline_option *options) VELA_NONNULL(2, 3);

/**
 * Prints a usage screen: "usage: PROGRAM SYNOPSIS", a line for each option, and one for the help option `-?,--help`.
 * Values are shown as `--rate=VAL` and `--gain[=VAL]`, or `-q <val>` for an option without a long form; they are
 * nevertheless given as separate arguments.
 *
 * @param options       the option table, or null for none
 * @param program_name  text after "usage: "
 * @param synopsis      text after the program name, or null for "[options]"
 */
void cmdline_usage(const cmdline_option *options, const char *program_name, const char *synopsis) VELA_NONNULL(2);

/**
 * Prints "cmdline: " and a line "  <ARGUMENT>" for each of `argv[first]` to `argv[argc - 1]`.
 *
 * @param argc   number of arguments
 * @param argv   the arguments
 * @param first  index of the first to print; from argc on, only the heading is printed
 */
void cmdline_print(int32_t argc, char **argv, int32_t first) VELA_NONNULL(2);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
