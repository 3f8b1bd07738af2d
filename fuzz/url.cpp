// The coders, in a buffer that may be too small, the components of a URL and MAC addresses against models;
// any text as a query, and through a builder and back.
#include "../tests/models/cpp_url.hpp"
#include "fuzz.hpp"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto capacity = data.ConsumeIntegralInRange<uint32_t>(0, 2047);
    const std::string text = data.ConsumeRemainingBytesAsString();
    if (!text.empty())
        check_coders(text, capacity, capacity);
    agree("components", text, components(text.c_str()), expected_components(text.c_str()));
    check_mac(text.c_str());
    model::check_query(text);
    if (text.size() < 200) // std::regex recurses
        model::check_url(text);
    return 0;
}
