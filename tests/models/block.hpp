// Memory for one input or result of a call.
#pragma once

#include "agree.hpp"
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace model {

// Bytes at some alignment. They end where their memory ends, so that the sanitizers see a read behind them; room for a
// result has one byte more, which must stay as it is.
class block {
public:
    explicit block(std::string_view bytes, size_t more = 0)
        : front(bytes.empty() ? 1 : (bytes.size() + uint8_t(bytes[0])) % 5), behind(more) {
        memory.resize(front);
        memory.insert(memory.end(), bytes.begin(), bytes.end());
        memory.resize(memory.size() + more, '#');
    }
    char *text() { return memory.data() + front; }
    uint8_t *bytes() { return reinterpret_cast<uint8_t *>(text()); }
    uint32_t size() const { return static_cast<uint32_t>(memory.size() - front - behind); }

    // That it begins with what is expected, and nothing is written behind it.
    void expect_content(std::string_view what, std::string_view input, std::string_view expected) {
        agree(what, input, std::string_view(text(), expected.size()), expected);
        agree("the byte behind the room for " + std::string(what), input, behind ? memory.back() : '#', '#');
    }

private:
    size_t front, behind;
    std::vector<char> memory;
};

// Room for so many bytes.
inline block room_for(size_t size) { return block(std::string(size, '#'), 1); }

} // namespace model
