// <vela/cpp/base64.hpp>
#include "bindings.hpp"
#include <vela/cpp/base64.hpp>

using namespace bindings;

VELA_EXPORT(base64_encode) block *base64_encode_bytes(const uint8_t *bytes, size_t size) {
    return give(vela::base64::encode(std::span(bytes, size)));
}

VELA_EXPORT(base64_decode) block *base64_decode_text(const char *text, size_t length) {
    return give(vela::base64::decode({text, length}));
}
