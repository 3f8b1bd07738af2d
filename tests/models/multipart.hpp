// Forms with uploads, taken apart line by line where vela/cpp/cgi.hpp looks for delimiters, and responses read back.
#pragma once

#include "query.hpp"
#include <cstring>
#include <map>
#include <vela/cpp/cgi.hpp>

namespace model {

inline std::string without_blanks(const std::string &text) {
    const size_t first = text.find_first_not_of(" \t");
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

inline std::string in_lower_case(std::string text) {
    for (char &ch : text)
        ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    return text;
}

inline bool is_token(const std::string &text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char ch) {
        return ch > ' ' && ch < 0x7F && !std::strchr("\"(),/:;<=>?@[\\]{}", ch);
    });
}

// The first word of a field under "", and its parameters, each with how often it comes; nothing for a wrong one.
using parameters = std::multimap<std::string, std::string>;

inline std::optional<parameters> parameters_of(const std::string &field) {
    std::vector<std::string> pieces(1);
    bool quoted = false;
    for (size_t i = 0; i < field.size(); ++i) {
        if (quoted && field[i] == '\\' && (field[i + 1] == '"' || field[i + 1] == '\\'))
            pieces.back() += field[i++];
        else if (field[i] == '"')
            quoted = !quoted && pieces.size() > 1;
        if (field[i] == ';' && !quoted)
            pieces.emplace_back();
        else
            pieces.back() += field[i];
    }
    parameters all = {{"", in_lower_case(without_blanks(pieces[0]))}};
    for (size_t i = 1; i < pieces.size(); ++i) {
        const std::string piece = without_blanks(pieces[i]), name = piece.substr(0, piece.find('='));
        if (piece.empty())
            continue;
        if (name.size() == piece.size() || !is_token(name))
            return std::nullopt;
        std::string rest = piece.substr(name.size() + 1), value;
        if (rest[0] != '"') {
            if (rest.find_first_of("\" \t") != rest.npos)
                return std::nullopt;
            value = rest;
        } else {
            size_t at = 1;
            for (; at < rest.size() && rest[at] != '"'; ++at)
                value += rest[at] == '\\' && (rest[at + 1] == '"' || rest[at + 1] == '\\') ? rest[++at] : rest[at];
            if (at + 1 != rest.size())
                return std::nullopt;
        }
        all.emplace(in_lower_case(name), value);
    }
    return all;
}

// A part as a text, from its lines; "" for a wrong one.
inline std::string expected_part(const std::vector<std::string> &lines) {
    const auto empty = std::find(lines.begin(), lines.end(), "");
    parameters headers;
    size_t length = 0;
    for (auto line = lines.begin(); line != empty; ++line) {
        const std::string name = line->substr(0, line->find(':'));
        length += line->size() + 2;
        const bool has_control =
            std::any_of(line->begin(), line->end(), [](unsigned char ch) { return std::iscntrl(ch) && ch != '\t'; });
        if (name.size() == line->size() || !is_token(name) || has_control)
            return "";
        headers.emplace(in_lower_case(name), without_blanks(line->substr(name.size() + 1)));
    }
    const auto [coding, last_coding] = headers.equal_range("content-transfer-encoding");
    const bool is_coded = std::any_of(coding, last_coding, [](const auto &one) {
        const std::string name = in_lower_case(one.second);
        return name != "7bit" && name != "8bit" && name != "binary";
    });
    if (empty == lines.end() || headers.count("content-disposition") != 1 || headers.count("content-type") > 1 ||
        is_coded || length > vela::cgi::most_part_header + 2)
        return "";
    const auto field = parameters_of(headers.find("content-disposition")->second);
    if (!field || field->find("")->second != "form-data" || field->count("name") != 1 || field->count("filename") > 1)
        return "";
    const auto type = headers.find("content-type");
    const auto name = field->find("filename");
    std::string text = "[" + field->find("name")->second + "]" +
                       (name == field->end() ? "-" : "[" + name->second + "]") + "[" +
                       (type == headers.end() ? "text/plain" : type->second) + "][";
    for (auto line = empty + 1; line < lines.end(); ++line)
        text += (line == empty + 1 ? "" : "\r\n") + *line;
    return text + "]";
}

// All parts as a text; "nothing" for a wrong form.
inline std::string expected_parts(const std::string &boundary, std::string body) {
    std::vector<std::string> part, all;
    std::string text;
    for (bool begun = false, is_end = false; !is_end;) {
        const size_t end = body.find("\r\n");
        is_end = end == body.npos;
        const std::string line = body.substr(0, end);
        body.erase(0, is_end ? end : end + 2);
        const std::string rest = line.starts_with("--" + boundary) ? line.substr(2 + boundary.size()) : "x";
        const bool is_last = rest.starts_with("--") && rest.find_first_not_of(" \t", 2) == rest.npos;
        if (!is_last && (is_end || rest.find_first_not_of(" \t") != rest.npos)) {
            part.push_back(line);
            continue;
        }
        if (begun) {
            all.push_back(expected_part(part));
            if (all.back().empty() || all.size() > vela::cgi::most_parts)
                return "nothing";
            text += all.back();
        }
        if (is_last)
            return text;
        begun = true;
        part.clear();
    }
    return "nothing";
}

inline std::string listed(const std::optional<std::vector<vela::cgi::part>> &parts) {
    std::string text;
    for (const vela::cgi::part &one : parts ? *parts : std::vector<vela::cgi::part>())
        text.append("[" + one.name + "]" + (one.filename ? "[" + *one.filename + "]" : "-") + "[" + one.type + "][")
            .append(one.text())
            .append("]");
    return parts ? text : "nothing";
}

inline void check_multipart(const std::string &boundary, const std::string &body) {
    const std::vector<uint8_t> bytes(body.begin(), body.end());
    agree("parts of a form", body,
          listed(vela::cgi::parse_multipart("multipart/form-data; boundary=\"" + boundary + "\"", bytes)),
          expected_parts(boundary, body));
}

// What a response writes.
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

// Any text as a header, a cookie and a place to go to: as many lines as were asked for, or nothing.
inline void check_response(const std::string &text) {
    bool ok = false;
    const std::string all = written([&](FILE *stream) {
        vela::cgi::response response(stream);
        ok = response.header("X-Text", text).cookie("c", text).send(text);
    });
    const bool one_line =
        std::none_of(text.begin(), text.end(), [](unsigned char ch) { return std::iscntrl(ch) && ch != '\t'; });
    agree("whether it was sent", text, ok, one_line);
    const std::string name = "Set-Cookie: c=";
    const size_t at = all.find("\r\n" + name) + 2 + name.size(), length = text.size();
    if (ok) {
        agree("the cookie", text, decoded_form(all.substr(at, all.find(';', at) - at), false), text);
        agree("the response", text, all,
              "Status: 200 OK\r\nX-Text: " + text + "\r\n" + name + all.substr(at, all.find(';', at) - at) +
                  "; Path=/; HttpOnly; SameSite=Lax\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Length: " +
                  std::to_string(length) + "\r\n\r\n" + text);
    } else {
        agree("what was written", text, all, "");
    }
}

} // namespace model
