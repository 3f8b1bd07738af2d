// JSON texts as trees of values.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace json {

// What is wrong with a text, and the line.
struct error : std::runtime_error {
    error(const std::string &what, int at_line) : std::runtime_error(what), line(at_line) {}
    int line;
};

struct value {
    enum class type { null, boolean, number, text, array, object };

    type kind = type::null;
    int line = 0;
    bool boolean = false;
    double number = 0;
    std::string text;
    std::vector<value> items;       // of an array, or an object's members
    std::vector<std::string> names; // of the members

    // The member of that name, or null.
    const value *find(std::string_view name) const;
    // Those that are asked for, or an error that says what it should be.
    const std::vector<value> &as_array(const char *what) const;
    double as_number(const char *what) const;
    // All numbers of nested arrays in their order.
    void collect(std::vector<double> &numbers, const char *what) const;
};

// A text of one value; numbers must be finite. Throws an error.
value parse(std::string_view text);

} // namespace json
