// A parser by recursive descent, as deep as kMaxDepth.
#include "json.hpp"
#include <algorithm>
#include <charconv>
#include <cmath>

namespace json {

namespace {

constexpr int kMaxDepth = 32;

class parser {
public:
    explicit parser(std::string_view text) : rest_(text) {}

    value whole() {
        value made = next(0);
        skip_space();
        if (!rest_.empty())
            fail("something after the end");
        return made;
    }

private:
    [[noreturn]] void fail(const std::string &what) const { throw error(what, line_); }

    void skip_space() {
        for (; !rest_.empty() && std::string_view(" \t\r\n").find(rest_[0]) != rest_.npos; rest_.remove_prefix(1))
            line_ += rest_[0] == '\n';
    }
    bool take(std::string_view token) {
        skip_space();
        if (!rest_.starts_with(token))
            return false;
        rest_.remove_prefix(token.size());
        return true;
    }
    void expect(std::string_view token) {
        if (!take(token))
            fail("expected " + std::string(token));
    }

    value next(int depth) {
        if (depth > kMaxDepth)
            fail("too deeply nested");
        skip_space();
        value made;
        made.line = line_;
        if (take("{"))
            object(made, depth);
        else if (take("["))
            array(made, depth);
        else if (take("\"")) {
            made.kind = value::type::text;
            made.text = text();
        } else if (take("true") || take("false")) {
            made.kind = value::type::boolean;
            made.boolean = rest_.data()[-2] == 'u';
        } else if (!take("null"))
            number(made);
        return made;
    }

    void object(value &made, int depth) {
        made.kind = value::type::object;
        if (take("}"))
            return;
        do {
            expect("\"");
            made.names.push_back(text());
            expect(":");
            made.items.push_back(next(depth + 1));
        } while (take(","));
        expect("}");
    }

    void array(value &made, int depth) {
        made.kind = value::type::array;
        if (take("]"))
            return;
        do
            made.items.push_back(next(depth + 1));
        while (take(","));
        expect("]");
    }

    // From after the first quote; escapes stay as they are, since no name that is looked for has one.
    std::string text() {
        for (size_t i = 0; i < rest_.size() && static_cast<unsigned char>(rest_[i]) >= ' '; ++i) {
            if (rest_[i] == '\\')
                ++i;
            else if (rest_[i] == '"') {
                std::string made(rest_.substr(0, i));
                rest_.remove_prefix(i + 1);
                return made;
            }
        }
        fail("a string without its end");
    }

    void number(value &made) {
        made.kind = value::type::number;
        const auto [end, status] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), made.number);
        if (status != std::errc() || !std::isfinite(made.number))
            fail("expected a value");
        rest_.remove_prefix(static_cast<size_t>(end - rest_.data()));
    }

    std::string_view rest_;
    int line_ = 1;
};

} // namespace

const value *value::find(std::string_view name) const {
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? nullptr : &items[static_cast<size_t>(found - names.begin())];
}

const std::vector<value> &value::as_array(const char *what) const {
    if (kind != type::array)
        throw error(std::string(what) + ": expected an array", line);
    return items;
}

double value::as_number(const char *what) const {
    if (kind != type::number)
        throw error(std::string(what) + ": expected a number", line);
    return number;
}

void value::collect(std::vector<double> &numbers, const char *what) const {
    if (kind == type::array)
        for (const value &item : items)
            item.collect(numbers, what);
    else
        numbers.push_back(as_number(what));
}

value parse(std::string_view text) { return parser(text).whole(); }

} // namespace json
