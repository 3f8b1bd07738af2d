#!/bin/sh
# C++ programs that would keep a view into a temporary: they must not compile, each beside one that does.
# usage: dangling.sh SOURCE-DIR CXX...
set -eu
cd "$1"
shift

# compiles CXX STATEMENTS
compiles() {
    echo "#include <vela/vela.hpp>
        void use(std::string_view path);
        void calls(std::string_view text) { using namespace vela; $2; }" |
        "$1" -std=c++20 -Wall -Wextra -Werror -Wno-unused -Wno-unused-parameter -Iinclude -fsyntax-only -x c++ - 2>&1
}

for compiler; do
    is_clang=false
    ! "$compiler" --version | grep -q clang || is_clang=true
    while IFS='|' read -r good bad; do
        said=$(compiles "$compiler" "$good") || { echo "$compiler: $good does not compile: $said" && exit 1; }
        # A reference to a temporary by a chain of setters is noticed by Clang alone.
        case $is_clang:$bad in false:*builder*) continue ;; esac
        said=$(compiles "$compiler" "$bad") && echo "$compiler: $bad compiles" && exit 1
        echo "$said" | grep -qE 'deleted|cannot bind|dangling|will be destroyed' ||
            { echo "$compiler: $bad: $said" && exit 1; }
    done <<'END'
auto request = cgi::request::read(); auto a = request->query("a")|auto a = cgi::request::read()->query("a")
query parsed(text); auto a = parsed.get("a")|auto a = query(text).get("a")
for (auto path : *walk::make(text, text)) use(path)|auto &found = *walk::make(text, text); use(found[0])
auto made = hull::of_pixels({}); auto faces = made->faces()|auto faces = hull::of_pixels({})->faces()
auto request = cgi::request::read(); auto files = request->uploads()|auto files = cgi::request::read()->uploads()
auto link = url::builder("a", "b").segment(text).build()|auto &link = url::builder("a", "b").segment(text); (void)link.build()
END
done
