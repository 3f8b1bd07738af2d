// Random bytes and integers: from the kernel's device, or from the standard generator if that can't be read. In
// WebAssembly they come from the host only.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <vela/uuid.h>

#ifdef __wasm__
extern "C" [[clang::import_module("env"), clang::import_name("random")]] void vela_random(void *buf, size_t len);

namespace {

void seed_once() {}

// A host without random bytes throws an exception: a generator in the module would give each instance the same UUIDs.
void fill(void *buf, size_t len) { vela_random(buf, len); }

uint16_t next_number() {
    uint16_t bits;
    fill(&bits, sizeof bits);
    return bits;
}

} // namespace
#else
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr uint32_t kFallbackSeed = 0x52A7C3D1;

// Whether random() has been seeded. Threads that call first at the same time may each do it, which is harmless.
constinit std::atomic<bool> is_seeded = false;

// Fills the buffer by one read of the device; returns false if it returned fewer bytes.
bool read_device(void *buf, size_t len) {
    const int device = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (device < 0)
        return false;
    ssize_t got;
    do
        got = read(device, buf, len);
    while (got < 0 && errno == EINTR);
    close(device);
    return got >= 0 && static_cast<size_t>(got) == len;
}

void seed_once() {
    if (is_seeded.load(std::memory_order_acquire))
        return;
    uint32_t seed = kFallbackSeed;
    read_device(&seed, sizeof seed);
    srandom(seed);
    is_seeded.store(true, std::memory_order_release);
}

uint32_t next_random() { return static_cast<uint32_t>(random()); }

// Fills up to three bytes from one value, which is consumed even for none.
uint8_t *fill_bytes(uint8_t *to, size_t count) {
    for (uint32_t value = next_random(); count; --count) {
        value >>= 8;
        *to++ = static_cast<uint8_t>(value);
    }
    return to;
}

// Single bytes up to an aligned address, whole words, and the remaining bytes.
void fill_from_generator(uint8_t *to, size_t len) {
    const size_t leading = std::min<size_t>(-reinterpret_cast<uintptr_t>(to) % 4, len);
    to = fill_bytes(to, leading);
    for (len -= leading; len >= 4; len -= 4, to += 4) {
        const uint32_t value = next_random();
        std::memcpy(to, &value, sizeof value);
    }
    fill_bytes(to, len);
}

void fill(void *buf, size_t len) {
    if (!read_device(buf, len))
        fill_from_generator(static_cast<uint8_t *>(buf), len);
}

int64_t next_number() {
    uint16_t bits;
    return read_device(&bits, sizeof bits) ? bits : random();
}

} // namespace
#endif

void randbytes(void *buf, uint32_t len) {
    seed_once();
    fill(buf, len);
}

int32_t randint(int32_t a, int32_t b) {
    seed_once();
    if (a == b)
        return a;
    const auto [low, high] = std::minmax(a, b);
    const int64_t span = int64_t{high} + 1 - low;
    return static_cast<int32_t>(low + next_number() % span);
}
