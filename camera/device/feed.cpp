// The files of the reader, mapped.
#include "feed.hpp"
#include "state.hpp"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fcntl.h>
#include <numbers>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace feed {

namespace {

std::string path_of(const char *name) {
    const char *const directory = std::getenv("CAMERA_SOURCE");
    return directory && *directory ? std::string(directory) + "/" + name : std::string();
}

// The file is there from the beginning, empty while nothing has come.
bool is_there(const char *name) {
    const std::string path = path_of(name);
    return !path.empty() && access(path.c_str(), F_OK) == 0;
}

double angle_between(vela::overlay::direction a, vela::overlay::direction b) {
    constexpr double kDegree = std::numbers::pi / 180;
    const double cosine = std::sin(a.tilt * kDegree) * std::sin(b.tilt * kDegree) +
                          std::cos(a.tilt * kDegree) * std::cos(b.tilt * kDegree) * std::cos((a.pan - b.pan) * kDegree);
    return std::acos(std::clamp(cosine, -1.0, 1.0)) / kDegree;
}

} // namespace

const uint8_t *mapping::bytes(size_t at_least, bool *is_new) {
    const std::string path = path_of(name_);
    struct stat about = {};
    if (path.empty() || stat(path.c_str(), &about) != 0) {
        unmap();
        return nullptr;
    }
    if (!bytes_ || about.st_ino != file_) {
        unmap();
        const int opened = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (opened < 0 || fstat(opened, &about) != 0)
            return nullptr;
        size_ = static_cast<size_t>(about.st_size);
        if (size_ == 0) {
            close(opened);
            return nullptr;
        }
        void *const mapped = mmap(nullptr, size_, PROT_READ, MAP_SHARED, opened, 0);
        close(opened);
        if (mapped == MAP_FAILED)
            return nullptr;
        bytes_ = static_cast<uint8_t *>(mapped);
        file_ = about.st_ino;
        if (is_new)
            *is_new = true;
    }
    return size_ >= at_least ? bytes_ : nullptr;
}

void mapping::unmap() {
    if (bytes_)
        munmap(bytes_, size_);
    bytes_ = nullptr;
}

bool video::is_configured() { return is_there("video"); }

const video_file *video::file() {
    bool is_new = false;
    file_ = reinterpret_cast<const video_file *>(mapping_.bytes(kPage, &is_new));
    if (file_ && !mapping_.bytes(file_->file_size()))
        file_ = nullptr;
    if (file_ && is_new) {
        const vela_lens &lens = file_->lens;
        const auto &d = lens.distortion;
        const vela::overlay::orientation where = {file_->where.pan, file_->where.tilt, file_->where.roll};
        lens_ = std::nullopt;
        if (file_->by == projection::fisheye)
            lens_ = vela::overlay::view::make(
                file_->width, file_->height, where,
                vela::overlay::fisheye{lens.fx, lens.fy, lens.cx, lens.cy, d[0], d[1], d[2], d[3]});
        else if (file_->by == projection::pinhole)
            lens_ = vela::overlay::view::make(
                file_->width, file_->height, where,
                vela::overlay::pinhole{lens.fx, lens.fy, lens.cx, lens.cy, d[0], d[1], d[2], d[3], d[4]});
    }
    return file_;
}

std::optional<video::frame> video::newest() {
    const video_file *const now = file();
    const uint64_t count = now ? now->count.load(std::memory_order_acquire) : 0;
    if (count == 0)
        return std::nullopt;
    const auto *const bytes = reinterpret_cast<const uint8_t *>(now);
    return frame{{bytes + now->place_of(count - 1), now->width, now->height, lens_ ? &*lens_ : nullptr}, count - 1};
}

bool video::is_intact(const frame &one) const {
    return file_ && file_->count.load(std::memory_order_acquire) < one.number + kFrames;
}

std::optional<double> video::age() {
    const video_file *const now = file();
    if (!now || now->count == 0)
        return std::nullopt;
    return motion::seconds_between({}, state::uptime()) - static_cast<double>(now->time) / 1e6;
}

projection video::by() {
    const video_file *const now = file();
    return now ? now->by : projection::equirectangular;
}

std::array<double, 2> video::half_angles() const {
    const vela_lens &lens = file_->lens;
    const auto centre = lens_->unproject({lens.cx, lens.cy});
    // Outward to where nothing is seen any more.
    const auto reach = [&](double x, double y) {
        constexpr int kSteps = 64;
        double most = 0;
        for (int i = 1; i <= kSteps; ++i)
            if (const auto at =
                    lens_->unproject({lens.cx + (x - lens.cx) * i / kSteps, lens.cy + (y - lens.cy) * i / kSteps});
                at && centre)
                most = std::max(most, angle_between(*centre, *at));
        return most;
    };
    return {std::max(reach(0, lens.cy), reach(file_->width - 1, lens.cy)),
            std::max(reach(lens.cx, 0), reach(lens.cx, file_->height - 1))};
}

motion::limits video::limits() {
    if (!file() || !lens_)
        return {};
    const auto [across, down] = half_angles();
    const double tilt = file_->where.tilt;
    motion::limits found = {0, 0, std::max(-90.0, tilt - down), std::min(90.0, tilt + down),
                            std::clamp(2 * across, motion::kNarrowest, motion::kWidest)};
    if (std::fabs(tilt) + down < 90 && across < 180) {
        const auto turned = [](double pan) { return pan - 360 * std::floor(pan / 360); };
        found.left = turned(file_->where.pan - across);
        found.right = turned(file_->where.pan + across);
    }
    return found;
}

motion::position video::home() {
    constexpr double kUsual = 62;
    if (!file() || !lens_)
        return motion::at_rest(180, 0, kUsual); // the middle of the panorama
    return motion::at_rest(file_->where.pan, file_->where.tilt,
                           std::clamp(2 * half_angles()[0], motion::kNarrowest, kUsual));
}

bool sound::is_configured() { return is_there("sound"); }

uint64_t sound::count() {
    const auto *const file = reinterpret_cast<const sound_file *>(mapping_.bytes(sound_file::file_size()));
    return file ? file->count.load(std::memory_order_acquire) : 0;
}

void sound::copy(uint64_t from, std::span<int16_t> to) {
    const uint64_t end = count();
    const auto *const samples =
        reinterpret_cast<const int16_t *>(mapping_.bytes(sound_file::file_size()) + (end ? kPage : 0));
    for (size_t i = 0; i < to.size(); ++i) {
        const uint64_t n = from + i;
        const bool is_there = n < end && end - n < sound_file::kSamples;
        to[i] = is_there ? samples[n % sound_file::kSamples] : int16_t{0};
    }
}

} // namespace feed
