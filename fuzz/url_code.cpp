// url_encode() and url_decode() against other words for them, in rooms that may be too small; and what was encoded
// comes back. The first two bytes choose the room.
#include "web.hpp"
#include <cstring>
#include <vela/url.h>

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 3)
        return 0;
    const uint32_t room = data[0] + 256U * (data[1] & 7), length = static_cast<uint32_t>(size) - 2;
    const std::string_view input(reinterpret_cast<const char *>(data) + 2, length);
    const auto source = exact_copy(input);
    const std::unique_ptr<char[]> output(new char[room]);

    const std::string bytes = decoded(input);
    int32_t result = url_decode(source.get(), length, output.get(), room);
    assert(result == (room == 0 ? 0 : bytes.size() < room ? static_cast<int32_t>(bytes.size() + 1) : -1));
    assert(result <= 0 || std::memcmp(output.get(), bytes.c_str(), bytes.size() + 1) == 0);

    std::string code = encoded(input);
    const size_t needed = encoded(input.substr(0, length - 1)).size() + 5;
    result = url_encode(source.get(), length, output.get(), room);
    assert(result == (room == 0 ? 0 : room < needed ? -1 : static_cast<int32_t>(code.size())));
    assert(result <= 0 || code == output.get());

    const auto code_length = static_cast<uint32_t>(code.size());
    result = url_decode(code.data(), code_length, code.data(), code_length + 1);
    assert(result == static_cast<int32_t>(length + 1) && code.compare(0, length, input) == 0);
    return 0;
}
