/**
 * @file
 * Files found by a regular expression: walk_dir() of vela/filesystem.h for C++.
 *
 *     const auto pictures = vela::walk::make("/media/card", "\\.jpe?g$", vela::walk::flags::recurse);
 *     if (!pictures || !pictures->is_complete())
 *         return fail();
 *     for (const std::string_view path : *pictures)
 *         show(path);
 *
 * make() throws std::bad_alloc; nothing else throws. Any thread may walk at any time, and any number of threads may
 * read one result.
 */
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vela/cpp/result.hpp>
#include <vela/filesystem.h>

namespace vela {

/** The paths that a walk through a directory found, in the order of walk_dir(). */
class walk {
public:
    /** What a walk visits; combined by "|". */
    enum class flags : std::int32_t {
        none = 0,               /**< files of all types but directories and symbolic links, of one directory */
        recurse = WALK_RECURSE, /**< subdirectories too */
        links = WALK_LINKS,     /**< symbolic links are candidates; they are never followed */
        hidden = WALK_HIDDEN,   /**< names that begin with ".", except "." and ".." */
        directories = WALK_DIRS /**< directories themselves are candidates */
    };

    /** @return both */
    [[nodiscard]] friend constexpr flags operator|(flags a, flags b) noexcept {
        return static_cast<flags>(static_cast<std::int32_t>(a) | static_cast<std::int32_t>(b));
    }

    /** Iterates over the paths. */
    class iterator {
    public:
        using value_type = std::string_view;    /**< a path */
        using difference_type = std::ptrdiff_t; /**< between two positions */

        iterator() noexcept = default;
        /** @param at  a position in the array of paths */
        explicit iterator(char *const *at) noexcept : at_(at) {}
        /** @return the path */
        std::string_view operator*() const noexcept { return *at_; }
        /** Moves to the next path. */
        iterator &operator++() noexcept {
            ++at_;
            return *this;
        }
        /** Moves to the next path; returns the former position. */
        iterator operator++(int) noexcept { return iterator(at_++); }
        /** Whether both are at the same position. */
        friend bool operator==(iterator, iterator) noexcept = default;

    private:
        char *const *at_ = nullptr;
    };

    /**
     * Walks a directory as walk_dir() does, which reports what it can't open on the standard error stream.
     *
     * @param dir      the directory; at most 4094 characters
     * @param pattern  POSIX extended regular expression, for the path as a whole
     * @param options  what is visited
     * @return what was found; empty when the pattern is invalid, `dir` too long, or one of them contains a NUL
     */
    [[nodiscard]] static result<walk> make(std::string_view dir, std::string_view pattern,
                                           flags options = flags::none) {
        if (dir.find('\0') != dir.npos || pattern.find('\0') != pattern.npos)
            return std::nullopt;
        const std::string root(dir), expression(pattern);
        char **list = nullptr;
        const std::int32_t code = walk_dir(root.c_str(), expression.c_str(), static_cast<std::int32_t>(options), &list);
        const bool is_complete = code == 0 && errno == 0; // errno: of all depths, which the result doesn't show
        if (code == 1 || code == 2)
            return std::nullopt;
        return walk(list, is_complete);
    }

    /**
     * @return false when something could not be opened, read, examined or stored, at any depth; the result of
     *         walk_dir() in contrast says nothing of a subdirectory that could not be opened
     */
    [[nodiscard]] bool is_complete() const noexcept { return complete_; }
    /** @return the number of paths */
    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    /** @return whether there are none */
    [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
    /** @return the path at an index below size(); it lives as long as this object */
    [[nodiscard]] std::string_view operator[](std::size_t index) const noexcept { return list_.get()[index]; }
    /** @return the first path */
    [[nodiscard]] iterator begin() const noexcept { return iterator(list_.get()); }
    /** @return one past the last path */
    [[nodiscard]] iterator end() const noexcept { return iterator(list_ ? list_.get() + size_ : nullptr); }

    /** @return the array, terminated by a null pointer, or null for no paths; it remains this object's */
    [[nodiscard]] char *const *get() const noexcept { return list_.get(); }
    /** @return the array, now the caller's, who releases each path and the array by free() */
    [[nodiscard]] char **release() noexcept {
        size_ = 0;
        return list_.release();
    }

private:
    struct released_by_free {
        void operator()(char **paths) const noexcept {
            for (char **path = paths; *path; ++path)
                std::free(*path);
            std::free(paths);
        }
    };

    walk(char **paths, bool is_complete) noexcept : list_(paths), complete_(is_complete) {
        while (paths && paths[size_])
            ++size_;
    }

    std::unique_ptr<char *, released_by_free> list_;
    std::size_t size_ = 0;
    bool complete_;
};

} // namespace vela
