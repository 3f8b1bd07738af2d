#!/bin/sh
# An owner of the C++ headers compiles to no more instructions than the C calls that it makes.
# usage: owners.sh SOURCE-DIR CXX OBJDUMP
set -eu
object=$(mktemp)
trap 'rm -f "$object"' EXIT
$2 -std=c++20 -O2 -fno-exceptions -I"$1/include" -c "$1/tests/abi/owners.cpp" -o "$object"

# Instructions of a function, without what fills it up to the next one.
$3 -d --no-show-raw-insn "$object" | awk '
    /^[0-9a-f]+ <.*>:$/ { name = substr($2, 2, length($2) - 3) }
    /^ *[0-9a-f]+:/ && !/nop|xchg +%ax,%ax|\.word/ { ++count[name] }
    END {
        for (name in count)
            if (sub(/^cpp_/, "", name) && ++pairs) {
                printf "%s: %d instructions, of the C calls %d\n", name, count["cpp_" name], count["c_" name]
                if (count["cpp_" name] > count["c_" name]) status = 1
            }
        exit status || pairs != 2
    }'
