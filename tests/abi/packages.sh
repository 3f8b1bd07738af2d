#!/bin/sh
# Others take the library in: what the preset for it alone builds is installed, moved, and serves the README's first
# programs through pkg-config, through CMake and as a static archive under another C library; and the source serves as a
# subdirectory of a project without a build type.
# usage: packages.sh SOURCE-DIR CMAKE-GENERATOR
set -eu
source=$1 generator=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

# quietly COMMAND...: what it says is shown only if it fails.
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }; }

# same WHAT IT-IS IT-SHOULD-BE
same() { [ "$2" = "$3" ] || { echo "$1: \"$2\", not \"$3\""; exit 1; }; }

# runs COMMAND...: lists its operands.
runs() { same "$*" "$("$@" one -v two | tail -n 1)" '  <two>'; }

mkdir "$work/consumer"
cd "$work/consumer"
cp "$source/tests/abi/consumer.cmake" CMakeLists.txt
sed -n '/^```c$/,/^```$/p' "$source/README.md" | sed '1d;$d' >first.c
sed -n '/^```cpp$/,/^```$/p' "$source/README.md" | sed '1d;$d' >hello.cpp
sed 's/NULL/nullptr/g' first.c >first.cpp

quietly cmake --preset library -G "$generator" -S "$source" -B "$work/library"
quietly cmake --build "$work/library"
quietly cmake --install "$work/library" --prefix "$work/elsewhere"
mv "$work/elsewhere" "$prefix"

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vela.pc)")
export PKG_CONFIG_PATH
libraries=$(pkg-config --variable=libdir vela)
flags=$(pkg-config --cflags --libs vela)
same 'sections for the debugger' "$(readelf -S "$libraries/libvela.so" | grep '\.debug_' || true)" ''

# The version is one.
version=$(pkg-config --modversion vela)
same vela/version.h "$(echo VELA_VERSION_MAJOR VELA_VERSION_MINOR VELA_VERSION_PATCH VELA_VERSION |
    cc -E -P -include vela/vela.h $flags - | tail -n 1)" "$(echo "$version" | tr . ' ') \"$version\""
same Doxyfile "$(sed -n 's/^PROJECT_NUMBER *= //p' "$source/Doxyfile")" "$version"
same CHANGELOG.md "$(sed -n 's/^## \([^ ]*\) .*/\1/p' "$source/CHANGELOG.md" | head -n 1)" "$version"

for language in "cc -std=c11 first.c" "c++ -std=c++17 first.cpp"; do
    quietly $language $flags -o "$work/first"
    runs env LD_LIBRARY_PATH="$libraries" "$work/first"
done
quietly c++ -std=c++20 hello.cpp $flags -o "$work/hello"
same hello.cpp "$(LD_LIBRARY_PATH=$libraries REQUEST_METHOD=GET QUERY_STRING='name=a%22b' "$work/hello" | tail -n 1)" \
    '{"hello": "a\"b"}'

# All of the archive, so that nothing of it is missing there.
quietly musl-gcc -std=c11 -static first.c -I"$prefix/include" \
    -Wl,--whole-archive "$libraries/libvela.a" -Wl,--no-whole-archive -o "$work/musl"
runs "$work/musl"

quietly cmake -G "$generator" -S . -B "$work/installed" -DCMAKE_PREFIX_PATH="$prefix"
quietly cmake -G "$generator" -S . -B "$work/subdirectory" -DVELA_SOURCE="$source"
for kind in installed subdirectory; do
    quietly cmake --build "$work/$kind"
    runs "$work/$kind/shared"
    runs "$work/$kind/static"
done
quietly cmake --install "$work/subdirectory" --prefix "$work/none"
same 'a subdirectory installs' "$(find "$work" -path "$work/none/*")" ''
