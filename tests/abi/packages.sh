#!/bin/sh
# The installed library serves a C11 and a C++17 program, found through pkg-config and through CMake.
# usage: packages.sh SOURCE-DIR BUILD-DIR
set -eu
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

export PKG_CONFIG_PATH="$(dirname "$(find "$prefix" -name vela.pc)")"
libraries=$(pkg-config --define-variable=prefix="$prefix" --variable=libdir vela)
flags=$(pkg-config --define-variable=prefix="$prefix" --cflags --libs vela)
cc -std=c11 "$source/tests/abi/consumer/main.c" $flags -o "$work/c11"
c++ -std=c++17 "$source/tests/abi/consumer/main.cpp" $flags -o "$work/c++17"
for program in c11 c++17; do
    LD_LIBRARY_PATH=$libraries "$work/$program" one two | grep -q '<two>'
done

cmake -S "$source/tests/abi/consumer" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/build" >/dev/null
for program in shared static; do
    "$work/build/consumer_c_$program" one two | grep -q '<two>'
    "$work/build/consumer_cpp_$program" one two | grep -q '<two>'
done
