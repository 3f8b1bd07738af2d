// A program's arguments, as main() has them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct arguments {
    std::vector<std::string> texts;
    std::vector<char *> vector;

    arguments(std::initializer_list<const char *> list) : texts(list.begin(), list.end()) {
        for (std::string &text : texts)
            vector.push_back(text.data());
    }
    int32_t count() const { return static_cast<int32_t>(vector.size()); }
    std::string joined() const {
        std::string line;
        for (const char *text : vector)
            line += std::string(line.empty() ? "" : " ") + text;
        return line;
    }
};
