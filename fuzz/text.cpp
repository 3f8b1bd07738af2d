#include "fuzz.hpp"
#include <cctype>
#include <cstring>
#include <vela/text.h>

namespace {

void check_hex(const std::vector<char> &input) {
    const uint32_t length = fuzz::size_of(input);
    const auto *bytes = reinterpret_cast<const uint8_t *>(input.data());
    std::vector<char> text(2 * input.size());
    assert(bin2hex(bytes, length, text.data()) == text.size());
    for (size_t i = 0; i < input.size(); ++i) {
        assert(static_cast<uint8_t>(text[2 * i]) == int2hex(bytes[i] >> 4));
        assert(static_cast<uint8_t>(text[2 * i + 1]) == int2hex(bytes[i] & 15));
    }
    std::vector<uint8_t> back(input.size()), read(input.size() / 2);
    assert(hex2bin(text.data(), 2 * length, back.data()) == length);
    assert(std::equal(back.begin(), back.end(), bytes));

    // The input as text, whatever it is.
    assert(hex2bin(input.data(), length, read.data()) == read.size());
    for (size_t i = 0; i < read.size(); ++i)
        assert(read[i] == static_cast<uint8_t>(16 * hex2int(bytes[2 * i]) + hex2int(bytes[2 * i + 1])));
}

void check_chunks(const std::vector<char> &input, uint32_t chunk) {
    std::vector<char> output(chunk_split_len(input.data(), fuzz::size_of(input), chunk)), joined;
    const int32_t written =
        chunk_split(input.data(), fuzz::size_of(input), output.data(), fuzz::size_of(output), chunk);
    assert(written == static_cast<int32_t>(output.size()));
    for (size_t i = 0; i < output.size(); ++i) {
        if (i % (chunk + 1) == chunk)
            assert(output[i] == '\n');
        else
            joined.push_back(output[i]);
    }
    assert(joined == input);
}

void check_trimming(const std::vector<char> &input) {
    const std::string text(input.data(), strnlen(input.data(), input.size()));
    std::vector<char> buffer(text.c_str(), text.c_str() + text.size() + 1);
    const auto is_space = [](char ch) { return std::isspace(static_cast<unsigned char>(ch)) != 0; };
    const auto first = std::find_if_not(text.begin(), text.end(), is_space);
    const auto end = std::find_if_not(text.rbegin(), text.rend(), is_space).base();
    assert(strip(buffer.data()) == (first < end ? std::string(first, end) : ""));

    std::copy_n(text.c_str(), text.size() + 1, buffer.data());
    const bool newline = !text.empty() && text.back() == '\n';
    std::string expected = text.substr(0, text.size() - newline);
    const auto last = static_cast<int32_t>(expected.size()) - 1;
    if (!expected.empty() && expected.back() == '\r')
        expected.pop_back();
    assert(chomp(buffer.data()) == last);
    assert(buffer.data() == expected);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    fuzz::source data(bytes, size);
    const auto chunk = data.ConsumeIntegralInRange<uint32_t>(1, 300);
    const std::vector<char> input = fuzz::rest(data);
    check_hex(input);
    check_chunks(input, chunk);
    if (!input.empty())
        check_trimming(input);
    return 0;
}
