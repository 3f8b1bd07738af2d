// Persistent files in the directory CAMERA_STATE of the environment. What was written survives a crash at any moment: a
// new file is written and synchronised, renamed over the old one, and the directory is synchronised.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace store {

// A file could not be read or written; nothing was changed.
struct failure {
    std::string what;
};

// The directory; made if it is missing.
const std::string &directory();

// Excludes other writers as long as it lives; the locks of one process nest.
class lock {
public:
    lock();
    ~lock();
    lock(const lock &) = delete;
    lock &operator=(const lock &) = delete;
};

// Identifies the content of a file: another one after each write; empty if there is no file.
struct version {
    uint64_t file, size, seconds, nanoseconds;
    bool operator==(const version &) const = default;
};
std::optional<version> version_of(const std::string &name);
// The content of a file; empty if there is none. Names never come from a request.
std::optional<std::string> read(const std::string &name);
void write(const std::string &name, std::string_view content);
// The bytes that are free on its disk, for this user.
uint64_t free_bytes();
// Makes a subdirectory if it is missing.
void make_directory(const std::string &name);
// Gives a directory another version, since something in it has changed.
void touch(const std::string &name);
// Returns whether there was such a file.
bool remove(const std::string &name);

// Records: one per line, with fields separated by tabs, each percent-encoded.
using record = std::vector<std::string>;
std::vector<record> read_records(const std::string &name);
void write_records(const std::string &name, const std::vector<record> &records);

} // namespace store
