#!/bin/sh
# The library serves the README's first program as C11 and as C++17: installed and found through pkg-config or CMake, and
# as a subdirectory of another project.
# usage: packages.sh SOURCE-DIR BUILD-DIR CMAKE-GENERATOR
set -eu
source=$1 build=$2 generator=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

mkdir "$work/consumer"
cp "$source/tests/abi/consumer.cmake" "$work/consumer/CMakeLists.txt"
sed -n '/^```c$/,/^```$/p' "$source/README.md" | sed '1d;$d' >"$work/consumer/first.c"
sed 's/NULL/nullptr/g' "$work/consumer/first.c" >"$work/consumer/first.cpp"

runs() { "$@" one -v two | grep -q '<two>' || { echo "$* does not list its operands"; exit 1; }; }

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vela.pc)")
export PKG_CONFIG_PATH
found="pkg-config --define-variable=prefix=$prefix"
libraries=$($found --variable=libdir vela)
flags=$($found --cflags --libs vela)
cc -std=c11 "$work/consumer/first.c" $flags -o "$work/c11"
c++ -std=c++17 "$work/consumer/first.cpp" $flags -o "$work/c++17"
for program in c11 c++17; do
    runs env LD_LIBRARY_PATH="$libraries" "$work/$program"
done

cmake -G "$generator" -S "$work/consumer" -B "$work/installed" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake -G "$generator" -S "$work/consumer" -B "$work/subdirectory" -DVELA_SOURCE="$source" >/dev/null
for kind in installed subdirectory; do
    cmake --build "$work/$kind" >/dev/null
    runs "$work/$kind/shared"
    runs "$work/$kind/static"
done
