#!/bin/sh
# Each public header compiles alone, as C11 and as C++17, without a warning.
# usage: headers.sh INCLUDE-DIR CC CXX
set -eu
include=$1 cc=$2 cxx=$3
warnings="-Wall -Wextra -Wpedantic -Wconversion -Werror -fsyntax-only"

for header in "$include"/vela/*.h; do
    name=vela/$(basename "$header")
    echo "#include <$name>" | $cc -std=c11 $warnings -I"$include" -x c -
    echo "#include <$name>" | $cxx -std=c++17 $warnings -I"$include" -x c++ -
done
