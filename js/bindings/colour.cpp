// <vela/cpp/colour.hpp>
#include "bindings.hpp"
#include <vela/cpp/colour.hpp>

using namespace bindings;
namespace colour = vela::colour;

VELA_EXPORT(colour_from_rgb) block *from_rgb(colour::variant one, const uint8_t *pixels, size_t size) {
    result<uint8_t> to(size);
    return colour::from_rgb(one, {pixels, size}, to) ? to.release() : nullptr;
}

VELA_EXPORT(colour_to_rgb) block *to_rgb(colour::variant one, const uint8_t *pixels, size_t size) {
    result<uint8_t> to(size);
    return colour::to_rgb(one, {pixels, size}, to) ? to.release() : nullptr;
}

VELA_EXPORT(colour_encoding_matrix) block *encoding_matrix(colour::variant one) {
    return give(std::span<const int32_t>(colour::encoding_matrix(one)));
}

VELA_EXPORT(colour_decoding_matrix) block *decoding_matrix(colour::variant one) {
    return give(std::span<const int32_t>(colour::decoding_matrix(one)));
}

VELA_EXPORT(colour_unpack)
block *unpack(const uint8_t *from, size_t size, uint32_t width, uint32_t height, uint32_t stride) {
    if (size < colour::packed_size(width, height, stride))
        return nullptr;
    result<uint8_t> to(colour::rgb_size(width, height));
    return colour::unpack({from, size}, width, height, stride, to) ? to.release() : nullptr;
}
