/**
 * @file
 * Tests of paths, creation of directories with their parents, and directory walks that collect the paths matching a
 * regular expression.
 *
 * Paths are byte strings as the system takes them, never null. A list that walk_dir() returns belongs to the caller,
 * who releases each of its strings and then the list with free(), as those of a name_list.
 *
 * There is no state between calls: any thread may call any function at any time, as long as no two use the same
 * name_list. The working directory, where relative paths start, and the file-creation mask are shared by all threads.
 * `errno` is unspecified afterwards.
 */
#ifndef VELA_FILESYSTEM_H
#define VELA_FILESYSTEM_H

#include <stdint.h>
#include <vela/attributes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/** @addtogroup filesystem
 *  @{ */

/** What walk_dir() visits. Files of every type but directories and symbolic links are always candidates. */
enum {
    WALK_RECURSE = 1, /**< descend into subdirectories */
    WALK_LINKS = 2,   /**< symbolic links are candidates; they are never followed */
    WALK_HIDDEN = 4,  /**< names that begin with "." are visited, except "." and ".." */
    WALK_DIRS = 8     /**< directories themselves are candidates */
};

/** A growing list of names. An empty list is all zero. */
typedef struct name_list {
    uint32_t capacity; /**< slots in the array; 0 before the first name */
    int32_t count;     /**< names stored */
    char **names;      /**< the names, each allocated on its own; every slot from count on is null */
} name_list;

/**
 * Says whether a path can be examined with stat(); symbolic links are followed.
 *
 * @param path  the path
 * @return 1 or 0
 */
int32_t exists(const char *path) VELA_NONNULL(1);

/**
 * Says whether a path leads to a directory; symbolic links are followed.
 *
 * @param path  the path
 * @return 1 or 0
 */
int32_t is_dir(const char *path) VELA_NONNULL(1);

/**
 * Says whether a path leads to a regular file; symbolic links are followed.
 *
 * @param path  the path
 * @return 1 or 0
 */
int32_t is_file(const char *path) VELA_NONNULL(1);

/**
 * Makes a directory and its missing parents, each with mode 0700 reduced by the process's file-creation mask.
 *
 * A directory that another process creates at the same time is accepted. Those made before a failure stay.
 *
 * @param path  the directory's path; repeated and trailing slashes are harmless
 * @return 0 when the directory exists; -1 when its path or that of a parent is not a directory, when memory runs out,
 *         or when mkdir() fails
 */
VELA_NODISCARD int32_t mkdirp(const char *path) VELA_NONNULL(1);

/**
 * Appends a copy of a name to a list, growing the array so that at least one null slot remains after the names.
 *
 * @param list  the list
 * @param name  the name
 * @return 0, or 1 when memory runs out; the stored names are then unchanged
 */
VELA_NODISCARD int32_t add_to_names(name_list *list, const char *name) VELA_NONNULL(1, 2);

/**
 * Walks a directory and collects the paths that match a regular expression, in the order in which the system lists the
 * entries; what a subdirectory holds comes before the subdirectory itself.
 *
 * Each path is `dir`, a slash and the path from there, and the expression is searched in the whole of it: it may match
 * anywhere unless it is anchored. Each entry is examined as by lstat(). Errors are reported on the standard error
 * stream as by warn(): "can't open PATH" for a directory, "Can't stat PATH" for an entry that could not be examined,
 * for example because it has been deleted, or whose path has more than 4095 characters. The walk then continues with
 * the next entry.
 *
 * Each level of subdirectories keeps a file descriptor open while those below are walked. A directory for which no
 * descriptor is left can't be opened.
 *
 * If memory runs out, the walk continues without the paths that it could not store, and the result shows it only if no
 * subdirectory was opened afterwards. If every path matters, walk one directory at a time, without WALK_RECURSE.
 *
 * @param dir      the directory to start in; at most 4094 characters. Followed even if it is a symbolic link
 * @param pattern  POSIX extended regular expression (regcomp(3)), in the program's current locale
 * @param flags    bits of WALK_RECURSE, WALK_LINKS, WALK_HIDDEN, WALK_DIRS
 * @param result   receives the list, ended by a null pointer, or null when nothing matched; untouched by result 1
 * @return 0 on success; 1 when the pattern does not compile; 2 when `dir` is too long; 3 when `dir` could not be opened
 *         or read, an entry of it could not be examined, memory ran out, or the walk of a subdirectory failed and no
 *         subdirectory was opened successfully afterwards. What was collected is returned with 0 and with 3
 */
VELA_NODISCARD int32_t walk_dir(const char *dir, const char *pattern, int32_t flags, char ***result)
    VELA_NONNULL(1, 2, 4);

/** @} */
#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
