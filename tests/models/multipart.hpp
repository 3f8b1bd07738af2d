// Forms with uploads, parsed by lines and regular expressions where vela/cpp/multipart.hpp searches for delimiters, and
// the text of a response.
#pragma once

#include "cpp_url.hpp"
#include <map>
#include <vela/cpp/cgi.hpp>

namespace model {

using fields = std::multimap<std::string, std::string>;

// The successive matches of a pattern: names in lower case (its second group) and values (the third, or within
// quotation marks the fourth); nothing when they do not cover the text.
inline std::optional<fields> fields_of(const std::string &text, const regex_t &pattern) {
    fields found;
    regmatch_t at[5];
    for (const char *from = text.c_str(); from != text.data() + text.size(); from += at[0].rm_eo) {
        const auto group = [&](size_t i) { return std::string(from + at[i].rm_so, from + at[i].rm_eo); };
        if (regexec(&pattern, from, 5, at, 0) != 0)
            return std::nullopt;
        if (at[2].rm_so < 0)
            continue;
        std::string name = group(2), value = group(at[4].rm_so < 0 ? 3 : 4);
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char ch) { return std::tolower(ch); });
        for (size_t i = 0; at[4].rm_so >= 0 && (i = value.find('\\', i)) != value.npos; ++i)
            if (value[i + 1] == '"' || value[i + 1] == '\\')
                value.erase(i, 1);
        found.emplace(name, value);
    }
    return found;
}

// The value of a name in brackets, or another text for a missing one; "" when it is repeated.
inline std::string only(const fields &all, const char *name, const char *otherwise) {
    const auto found = all.find(name);
    return all.count(name) > 1 ? "" : found == all.end() ? otherwise : "[" + found->second + "]";
}

// A part as a text, from its lines; "" for an invalid one.
inline std::string expected_part(const std::string &lines) {
    static const std::string token = "(([!#$%&'*+.^_`|~[:alnum:]-]+)";
    static const regex_t line = compiled("^" + token + ":[ \t]*(|[^\1-\10\12-\37\177]*[^\1-\40\177])[ \t]*\r\n)");
    static const regex_t parameter = compiled("^;[ \t]*" + token + "=(\"(([^\"\\]|\\\\.)*)\"|[^\"; \t]*)[ \t]*)?");
    static const regex_t of_form = compiled("^form-data[ \t]*(;|$)"), plain = compiled("^(7bit|8bit|binary)$");
    const size_t end = lines.find("\r\n\r\n");
    const auto headers = fields_of(lines.substr(0, end + 2), line);
    if (end > vela::cgi::max_part_header || !headers || headers->count("content-disposition") != 1)
        return "";
    for (auto [it, last] = headers->equal_range("content-transfer-encoding"); it != last; ++it)
        if (regexec(&plain, it->second.c_str(), 0, nullptr, 0) != 0)
            return "";
    const std::string field = headers->find("content-disposition")->second;
    const auto parameters = fields_of(field.substr(std::min(field.find(';'), field.size())), parameter);
    if (regexec(&of_form, field.c_str(), 0, nullptr, 0) != 0 || !parameters)
        return "";
    const std::string name = only(*parameters, "name", ""), file = only(*parameters, "filename", "-"),
                      type = only(*headers, "content-type", "[text/plain]"), content = lines.substr(end + 4);
    const bool complete = !name.empty() && !file.empty() && !type.empty();
    return complete ? name + file + type + "[" + content.substr(0, std::max<size_t>(content.size(), 2) - 2) + "]" : "";
}

// All parts as a text; "nothing" for an invalid form.
inline std::string expected_parts(const std::string &boundary, const std::string &body) {
    std::string text, lines;
    int parts = -1; // the text before the first delimiter is none
    for (size_t at = 0, end; at <= body.size(); at = end + 2) {
        end = std::min(body.find("\r\n", at), body.size());
        const std::string line = body.substr(at, end - at), dashes = "--" + boundary;
        const std::string rest = line.substr(0, line.find_last_not_of(" \t") + 1);
        const bool is_last = rest == dashes + "--";
        if (!is_last && (rest != dashes || end == body.size())) {
            lines += line + "\r\n";
            continue;
        }
        const std::string part = parts < 0 ? "" : expected_part(lines);
        if (++parts > 0 && (part.empty() || parts > static_cast<int>(vela::cgi::max_parts)))
            return "nothing";
        text += part;
        if (is_last)
            return text;
        lines.clear();
    }
    return "nothing";
}

inline std::string listed(const std::optional<std::vector<vela::cgi::part>> &parts) {
    std::string text = parts ? "" : "nothing";
    for (const vela::cgi::part &one : parts.value_or(std::vector<vela::cgi::part>()))
        text.append("[" + one.name + "]" + (one.filename ? "[" + *one.filename + "]" : "-") + "[" + one.type + "][")
            .append(one.text())
            .append("]");
    return text;
}

inline void check_multipart(const std::string &boundary, const std::string &body) {
    const std::vector<uint8_t> bytes(body.begin(), body.end());
    const auto parts = vela::cgi::parse_multipart("multipart/form-data; boundary=\"" + boundary + "\"", bytes);
    agree("parts of a form", body, listed(parts), expected_parts(boundary, body));
}

// The text that a response writes.
template <class Write>
std::string written(Write write) {
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    write(stream);
    std::fclose(stream);
    const std::string all(text, size);
    std::free(text);
    return all;
}

// Any text as a header, a cookie and a body: adds no line, or is refused.
inline void check_response(const std::string &text) {
    const std::string all = written([&](FILE *stream) {
        vela::cgi::response response(stream);
        (void)response.header("X-Text", text).cookie("c", text).send(text);
    });
    const bool one_line =
        std::none_of(text.begin(), text.end(), [](unsigned char ch) { return std::iscntrl(ch) && ch != '\t'; });
    agree("the response", text, all,
          !one_line ? ""
                    : "Status: 200 OK\r\nX-Text: " + text + "\r\nSet-Cookie: c=" + encoded(text, "-._~", "%20") +
                          "; Path=/; HttpOnly; SameSite=Lax\r\nContent-Type: text/plain; charset=utf-8\r\n"
                          "Content-Length: " +
                          std::to_string(text.size()) + "\r\n\r\n" + text);
}

} // namespace model
