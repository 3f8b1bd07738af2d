#!/bin/sh
# Each public header compiles alone, and each example, without a warning for others too: as C11 and as C++17, C++ as
# C++20, with and without exceptions and run-time type information. The README's first program is the first example.
# usage: sources.sh SOURCE-DIR CC CXX [CC CXX]...
set -eu
cd "$1"
shift
sed -n '/^```c$/,/^```$/p' README.md | sed '1d;$d' | cmp - examples/first.c
flags="-Wall -Wextra -Wpedantic -Wconversion -Werror -fsyntax-only -Iinclude"

for header in include/vela/*.h; do
    "$1" -std=c11 $flags -include "$header" -x c /dev/null
    "$2" -std=c++17 $flags -include "$header" -x c++ /dev/null
done
for header in include/vela/*.hpp include/vela/cpp/*.hpp; do
    for more in "" "-fno-exceptions -fno-rtti"; do
        "$2" -std=c++20 $flags $more -include "$header" -x c++ /dev/null
    done
done
# The build of the examples by the first compiler has exceptions.
with=false
while [ $# -gt 0 ]; do
    for file in examples/*.c; do "$1" -std=c11 $flags "$file"; done
    for file in examples/*.cpp; do
        "$2" -std=c++20 $flags -fno-exceptions -fno-rtti "$file"
        ! $with || "$2" -std=c++20 $flags "$file"
    done
    with=true
    shift 2
done
