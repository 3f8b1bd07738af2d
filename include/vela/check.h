/**
 * @file
 * Command line of a unit-test program, for the Check framework or one with the same run modes.
 *
 * A test program parses its options into a configuration, registers each of its suites through
 * __vela_check_add_suite_if_enabled(), runs the runner with the configured modes, and releases the configuration. The
 * library links no test framework: the framework's functions are passed in.
 *
 * One thread parses, since cmdline_getopt() keeps its state for the process: a second command line needs
 * cmdline_reset() first. The other functions touch nothing but their arguments.
 *
 * Options: `-F,--nofork`, `-v,--verbose`, `-q,--quiet`, `-s,--suite NAME`, `-x,--xml FILE`; `-?` prints the usage.
 */
#ifndef VELA_CHECK_H
#define VELA_CHECK_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup check
 *  @{ */

/** The framework's own types, only declared here, so that its functions are passed without casts. */
struct Suite;
struct SRunner;

/** What the command line asks for. The caller provides the record and owns it; the strings belong to the record. */
typedef struct vela_check_config {
    int32_t verbosity; /**< Check's print mode: 0 silent (`-q`), 2 normal (default), 3 verbose (`-v`) */
    int32_t no_fork;   /**< 1 to run the tests in the runner's own process (`-F`), else 0 */
    char *xml_log;     /**< file to log to as XML (`-x`), or null */
    char *suite_name;  /**< the only suite to register (`-s`), or null for all */
} vela_check_config;

/**
 * Parses a test program's command line with cmdline_getopt(), from that parser's current position.
 *
 * @param argc    number of arguments
 * @param argv    the arguments; operands are moved after the options and ignored
 * @param config  receives the configuration; every field is written
 * @return 1 to run the tests; 0 when it printed the usage because of an unknown option or `-?`, and the program should
 *         exit. The configuration must be released in both cases. A string that could not be copied or whose value is
 *         missing is null, which selects all suites and no log.
 */
VELA_NODISCARD int32_t __vela_check_parse_cmdline(int32_t argc, char **argv, vela_check_config *config)
    VELA_NONNULL(2, 3);

/**
 * Builds a suite and registers it, unless the configuration selects another one.
 *
 * @param runner_slot    the program's runner, null before the first suite; receives the new runner
 * @param suite_name     name of the suite, compared with the configured one byte by byte
 * @param make_suite     builds the suite; called only if it is to run
 * @param config         the parsed configuration
 * @param create_runner  makes a runner of the first suite (Check's srunner_create)
 * @param add_suite      adds a later suite to the runner (Check's srunner_add_suite)
 */
void __vela_check_add_suite_if_enabled(struct SRunner **runner_slot, const char *suite_name,
                                       struct Suite *(*make_suite)(void), const vela_check_config *config,
                                       struct SRunner *(*create_runner)(struct Suite *suite),
                                       void (*add_suite)(struct SRunner *runner, struct Suite *suite))
    VELA_NONNULL(1, 2, 3, 4, 5, 6);

/**
 * Releases the configuration's strings and sets them to null; the numbers stay. Harmless when called again.
 *
 * @param config  a configuration that __vela_check_parse_cmdline() has filled
 */
void __vela_check_destroy_cfg(vela_check_config *config) VELA_NONNULL(1);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
