// What the camera keeps, in files of one folder, CAMERA_STATE of the environment. What was written survives a crash at
// any moment: a file is written beside, synchronised, renamed over the old one, and the folder is synchronised.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace store {

// Something could not be kept or read; nothing was changed.
struct trouble {
    std::string what;
};

// The folder, made where it's missing.
const std::string &folder();

// One writer at a time, for as long as it lives; locks of one process nest.
class lock {
public:
    lock();
    ~lock();
    lock(const lock &) = delete;
    lock &operator=(const lock &) = delete;
};

// A file's content; nothing where there is none. Names are the programs' own, never a request's.
std::optional<std::string> read(const std::string &name);
void write(const std::string &name, std::string_view content);
// A folder within, made where it's missing.
void make_folder(const std::string &name);
// Says whether there was such a file.
bool remove(const std::string &name);

// Records: one a line, fields between tabs, each percent-encoded.
using record = std::vector<std::string>;
std::vector<record> read_records(const std::string &name);
void write_records(const std::string &name, const std::vector<record> &records);

} // namespace store
