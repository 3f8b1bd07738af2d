// <vela/cpp/uuid.hpp>, and the random bytes of <vela/uuid.h>.
#include "bindings.hpp"
#include <vela/cpp/uuid.hpp>

using namespace bindings;
using vela::uuid;

VELA_EXPORT(uuid_random) block *random_uuid() {
    const std::optional<uuid> one = uuid::random();
    return one ? give(std::span<const uint8_t>(one->bytes())) : nullptr;
}

VELA_EXPORT(uuid_parse) block *parse_uuid(const char *text, size_t length) {
    const std::optional<uuid> one = uuid::parse({text, length});
    return one ? give(std::span<const uint8_t>(one->bytes())) : nullptr;
}

VELA_EXPORT(uuid_to_string) block *to_string(const uint8_t *bytes, size_t, uuid::form form) {
    return give(uuid(std::span<const uint8_t, 16>(bytes, 16)).to_string(form));
}

VELA_EXPORT(uuid_rand_bytes) block *rand_bytes(size_t size) {
    result<uint8_t> to(size);
    randbytes(to.data(), static_cast<uint32_t>(size));
    return to.release();
}

VELA_EXPORT(uuid_rand_int) int32_t rand_int(int32_t a, int32_t b) { return randint(a, b); }
