#!/bin/sh
# Each public header compiles alone without a warning: C headers as C11 and as C++17, C++ headers as C++20, also without
# exceptions and run-time type information.
# usage: headers.sh INCLUDE-DIR CC CXX
set -eu
include=$1 cc=$2 cxx=$3
warnings="-Wall -Wextra -Wpedantic -Wconversion -Werror -fsyntax-only"

cd "$include"
for header in vela/*.h; do
    program=$(printf '#include <%s>\nextern int more;' "$header")
    echo "$program" | $cc -std=c11 $warnings -I. -x c -
    echo "$program" | $cxx -std=c++17 $warnings -I. -x c++ -
done
for header in vela/*.hpp vela/cpp/*.hpp; do
    for more in "" "-fno-exceptions -fno-rtti"; do
        echo "#include <$header>" | $cxx -std=c++20 $warnings $more -I. -x c++ -
    done
done
