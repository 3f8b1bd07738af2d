#!/bin/sh
# The examples compile without a warning for others too: as C11, and as C++20 without exceptions and run-time type
# information; with both by every compiler but the first, whose build of them has them. The README's first program
# is the first of them.
# usage: examples.sh SOURCE-DIR CC CXX [CC CXX]...
set -eu
cd "$1"
shift
sed -n '/^```c$/,/^```$/p' README.md | sed '1d;$d' | cmp - examples/first.c
warnings="-Wall -Wextra -Werror -fsyntax-only -Iinclude"

with=false
while [ $# -gt 0 ]; do
    for file in examples/*.c; do
        "$1" -std=c11 $warnings -Wpedantic -Wconversion "$file"
    done
    for file in examples/*.cpp; do
        "$2" -std=c++20 $warnings -fno-exceptions -fno-rtti "$file"
        ! $with || "$2" -std=c++20 $warnings "$file"
    done
    with=true
    shift 2
done
