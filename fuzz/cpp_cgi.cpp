// A form with uploads against a reader of lines, and a response that any text goes into. The first line is the
// boundary.
#include "../tests/models/multipart.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    const std::string all(reinterpret_cast<const char *>(bytes), size);
    const size_t first = std::min(all.find('\n'), size);
    std::string boundary = all.substr(0, first);
    std::erase_if(boundary, [](char ch) { return !std::strchr("'()+_,-./:=?abAB019", ch) || ch == '\0'; });
    model::check_multipart(boundary.empty() ? "b" : boundary.substr(0, 70), all.substr(std::min(first + 1, size)));
    model::check_response(all);
    return 0;
}
