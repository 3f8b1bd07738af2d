/**
 * @file
 * Files found by a regular expression: walk_dir() of vela/filesystem.h for C++.
 *
 *     const auto pictures = vela::walk::make("/media/card", "\\.jpe?g$", vela::walk_flags::recurse);
 *     if (!pictures || !pictures->is_complete())
 *         return fail();
 *     for (const std::string_view path : *pictures)
 *         show(path);
 *
 * Any thread may walk at any time; what was found may be read by any number of them.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vela/filesystem.h>

namespace vela {

/** What a walk visits; joined by "|". */
enum class walk_flags : int32_t {
    none = 0,               /**< files of all types but directories and symbolic links, of one directory */
    recurse = WALK_RECURSE, /**< subdirectories too */
    links = WALK_LINKS,     /**< symbolic links are candidates; they are never followed */
    hidden = WALK_HIDDEN,   /**< names that begin with ".", except "." and ".." */
    directories = WALK_DIRS /**< directories themselves are candidates */
};

/** @return both */
[[nodiscard]] constexpr walk_flags operator|(walk_flags a, walk_flags b) {
    return static_cast<walk_flags>(static_cast<int32_t>(a) | static_cast<int32_t>(b));
}

/** The paths that a walk found, in the order of walk_dir(). */
class walk {
public:
    /** Goes from path to path. */
    class iterator {
    public:
        using value_type = std::string_view;    /**< a path */
        using difference_type = std::ptrdiff_t; /**< between two places */

        iterator() = default;
        /** @param at  a place in a list */
        explicit iterator(char *const *at) : place(at) {}
        /** @return the path */
        std::string_view operator*() const { return *place; }
        /** The next one. */
        iterator &operator++() {
            ++place;
            return *this;
        }
        /** The next one; returns this one. */
        iterator operator++(int) { return iterator(place++); }
        /** Whether they are at the same place. */
        friend bool operator==(iterator, iterator) = default;

    private:
        char *const *place = nullptr;
    };

    /**
     * Walks a directory as walk_dir() does, which reports trouble on the way on the standard error stream.
     *
     * @param dir      where to begin; at most 4094 characters
     * @param pattern  POSIX extended regular expression, for the path as a whole
     * @param flags    what is visited
     * @return what was found; nothing where the pattern is none or `dir` is too long, or a NUL is in one of them
     */
    [[nodiscard]] static std::optional<walk> make(std::string_view dir, std::string_view pattern,
                                                  walk_flags flags = walk_flags::none) {
        if (dir.find('\0') != dir.npos || pattern.find('\0') != pattern.npos)
            return std::nullopt;
        char **list = nullptr;
        const int32_t result =
            walk_dir(std::string(dir).c_str(), std::string(pattern).c_str(), static_cast<int32_t>(flags), &list);
        if (result == 1 || result == 2)
            return std::nullopt;
        return walk(list, result == 0);
    }

    /** @return false where something could not be opened, read or examined (as result 3 of walk_dir() says) */
    [[nodiscard]] bool is_complete() const { return complete; }
    /** @return the number of paths */
    [[nodiscard]] size_t size() const { return count; }
    /** @return whether there is none */
    [[nodiscard]] bool empty() const { return count == 0; }
    /** @return the path of that number, which is less than size(); it lives as long as this object */
    [[nodiscard]] std::string_view operator[](size_t number) const { return list.get()[number]; }
    /** @return the first path */
    [[nodiscard]] iterator begin() const { return iterator(list.get()); }
    /** @return behind the last one */
    [[nodiscard]] iterator end() const { return iterator(list ? list.get() + count : nullptr); }

    /** @return the list, ended by a null pointer, or null for no paths; it stays this object's */
    [[nodiscard]] char *const *get() const { return list.get(); }
    /** @return the list, from now on the caller's, who releases each path and the list with free() */
    [[nodiscard]] char **release() {
        count = 0;
        return list.release();
    }

private:
    struct releases_paths {
        void operator()(char **paths) const noexcept {
            for (char **path = paths; *path; ++path)
                std::free(*path);
            std::free(paths);
        }
    };

    walk(char **paths, bool all) : list(paths), complete(all) {
        while (paths && paths[count])
            ++count;
    }

    std::unique_ptr<char *, releases_paths> list;
    size_t count = 0;
    bool complete;
};

} // namespace vela
