#include "y4m.hpp"
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <new>
#include <stdexcept>
#include <unistd.h>

namespace y4m {

namespace {

constexpr size_t kMaxLine = 1024;

[[noreturn]] void fail(const std::string &what) { throw std::runtime_error("standard input: " + what); }

int number_of(std::string_view digits) {
    int number = 0;
    const auto [end, status] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return status == std::errc() && end == digits.data() + digits.size() ? number : -1;
}

int format_of(std::string_view name) {
    if (name == "420" || name == "420jpeg" || name == "420mpeg2" || name == "420paldv")
        return VELA_I420;
    return name == "422" ? VELA_I422 : name == "444" ? VELA_I444 : name == "mono" ? VELA_GREY : -1;
}

bool write_all(int out, const uint8_t *data, size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(out, data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0 && errno == EPIPE)
            return false;
        if (written <= 0)
            throw std::runtime_error(std::string("standard output: ") + std::strerror(errno));
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

} // namespace

header parse_header(std::string_view line) {
    constexpr std::string_view kMagic = "YUV4MPEG2";
    if (!line.starts_with(kMagic) || (line.size() > kMagic.size() && line[kMagic.size()] != ' '))
        fail("not YUV4MPEG2: use ffmpeg -f yuv4mpegpipe");
    header made = {std::string(line) + '\n', {}, 0};
    std::string_view format = "420jpeg", range, rest = line.substr(kMagic.size());
    while (!rest.empty()) {
        const size_t end = std::min(rest.find(' '), rest.size());
        const std::string_view field = rest.substr(0, end), value = field.substr(std::min<size_t>(1, field.size()));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (field.starts_with("W"))
            made.picture.width = number_of(value);
        else if (field.starts_with("H"))
            made.picture.height = number_of(value);
        else if (field.starts_with("C"))
            format = value;
        else if (field.starts_with("F")) {
            const size_t colon = std::min(value.find(':'), value.size());
            const int of = number_of(value.substr(0, colon)),
                      per = number_of(value.substr(std::min(colon + 1, value.size())));
            made.rate = of > 0 && per > 0 ? static_cast<double>(of) / per : 0;
        } else if (field.starts_with("I") && field != "Ip" && field != "I?")
            fail("interlaced pictures can't be masked: deinterlace them first");
        else if (field.starts_with("XCOLORRANGE="))
            range = field.substr(12);
    }
    const auto is_size = [](int pixels) { return 0 < pixels && pixels < 65536; };
    if (!is_size(made.picture.width) || !is_size(made.picture.height))
        fail("the width and the height must be 1 to 65535");
    made.picture.format = format_of(format);
    if (made.picture.format < 0)
        fail("pictures of \"C" + std::string(format) + "\": only C420, C422, C444 and Cmono of 8 bits can be masked");
    // What is not said is as in video: the weights of BT.709 from 720 rows on.
    const bool is_high = made.picture.height >= 720;
    made.picture.colours = range == "FULL" ? (is_high ? VELA_BT709_FULL : VELA_BT601_FULL)
                                           : (is_high ? VELA_BT709_STUDIO : VELA_BT601_STUDIO);
    return made;
}

stream::stream(int in, int out) : in_(in), out_(out), buffer_(new uint8_t[kMaxLine]) {
    const std::string_view line = read_line("a header");
    header_ = parse_header(line);
    used_ = line.size() + 1;
    picture_bytes_ = vela_picture_lay_out(&header_.picture, nullptr, 0);
    // Not initialised, so that memory is taken for what comes, not for what the header claims.
    std::unique_ptr<uint8_t[]> larger(picture_bytes_ ? new (std::nothrow) uint8_t[kMaxLine + picture_bytes_] : nullptr);
    if (!larger)
        fail("no memory for pictures of that size");
    std::copy_n(buffer_.get(), filled_, larger.get());
    buffer_ = std::move(larger);
}

bool stream::start() {
    return write_all(out_, reinterpret_cast<const uint8_t *>(header_.line.data()), header_.line.size());
}

// Reads until so many bytes are there, or the end is; returns how many are.
size_t stream::fill(size_t wanted) {
    while (filled_ < wanted) {
        const ssize_t got = ::read(in_, buffer_.get() + filled_, wanted - filled_);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            fail(std::strerror(errno));
        if (got == 0)
            break;
        filled_ += static_cast<size_t>(got);
    }
    return filled_;
}

// The line in front, without its end. Few bytes are read at a time, as what follows is read to its place at once.
std::string_view stream::read_line(const char *what) {
    for (size_t searched = 0;;) {
        const auto *const text = reinterpret_cast<const char *>(buffer_.get());
        const std::string_view have(text, std::min(filled_, kMaxLine));
        if (const size_t end = have.find('\n', searched); end != have.npos)
            return have.substr(0, end);
        searched = have.size();
        if (searched == kMaxLine)
            fail(std::string(what) + " of more than 1024 bytes");
        if (fill(std::min(filled_ + 6, kMaxLine)) == searched) {
            if (searched > 0)
                fail(std::string("ends within ") + what);
            return {};
        }
    }
}

bool stream::read(vela_picture &picture) {
    // What was read beyond the last picture.
    std::copy(buffer_.get() + used_, buffer_.get() + filled_, buffer_.get());
    filled_ -= used_;
    used_ = 0;
    const std::string_view line = read_line("the line of a picture");
    if (filled_ == 0)
        return false;
    if (line != "FRAME" && !line.starts_with("FRAME "))
        fail("expected FRAME");
    const size_t begin = line.size() + 1;
    if (fill(begin + picture_bytes_) < begin + picture_bytes_)
        fail("ends within a picture");
    used_ = begin + picture_bytes_;
    picture = header_.picture;
    vela_picture_lay_out(&picture, buffer_.get() + begin, picture_bytes_);
    return true;
}

bool stream::write() { return write_all(out_, buffer_.get(), used_); }

} // namespace y4m
