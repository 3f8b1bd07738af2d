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

fail() {
    echo "$*"
    exit 1
}

# runs COMMAND...: lists its operands, explains itself, and refuses what it doesn't know.
runs() {
    "$@" one -v two | grep -q '<two>' || fail "$* does not list its operands"
    "$@" --help >"$work/help" || fail "$* --help fails"
    [ "$(sed 's/ *\(-.,--[a-z]*\) .*/\1/' "$work/help" | tail -n +2 | xargs)" = "-v,--verbose -?,--help" ] ||
        fail "$* --help says: $(cat "$work/help")"
    if "$@" --no-such-option >/dev/null; then fail "$* takes any option"; fi
}

mkdir "$work/consumer"
cp "$source/tests/abi/consumer.cmake" "$work/consumer/CMakeLists.txt"
sed -n '/^```c$/,/^```$/p' "$source/README.md" | sed '1d;$d' >"$work/consumer/first.c"
sed -n '/^```cpp$/,/^```$/p' "$source/README.md" | sed '1d;$d' >"$work/hello.cpp"
sed 's/NULL/nullptr/g' "$work/consumer/first.c" >"$work/consumer/first.cpp"

cd "$source"
quietly cmake --preset library -G "$generator" -B "$work/library"
quietly cmake --build "$work/library"
quietly cmake --install "$work/library" --prefix "$work/elsewhere"
mv "$work/elsewhere" "$prefix"

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vela.pc)")
export PKG_CONFIG_PATH
libraries=$(pkg-config --variable=libdir vela)
flags=$(pkg-config --cflags --libs vela)
if readelf -S "$libraries/libvela.so" | grep '\.debug_'; then fail "the installed library has debug symbols"; fi

# The version is one.
version=$(pkg-config --modversion vela)
numbers=$(echo VELA_VERSION_MAJOR VELA_VERSION_MINOR VELA_VERSION_PATCH VELA_VERSION |
    cc -E -P -include vela/vela.h $flags - | tail -n 1)
[ "$numbers" = "$(echo "$version" | tr . ' ') \"$version\"" ] || fail "vela/version.h says $numbers, vela.pc $version"
grep -q "^PROJECT_NUMBER *= $version\$" Doxyfile || fail "Doxyfile has another version than $version"
grep -m 1 '^## ' CHANGELOG.md | grep -q "^## $version " || fail "CHANGELOG.md begins with another version than $version"

quietly cc -std=c11 "$work/consumer/first.c" $flags -o "$work/c11"
quietly c++ -std=c++17 "$work/consumer/first.cpp" $flags -o "$work/c++17"
runs env LD_LIBRARY_PATH="$libraries" "$work/c11"
runs env LD_LIBRARY_PATH="$libraries" "$work/c++17"

quietly c++ -std=c++20 "$work/hello.cpp" $flags -o "$work/hello"
said=$(LD_LIBRARY_PATH=$libraries REQUEST_METHOD=GET QUERY_STRING='name=a%22b' "$work/hello" | tail -n 1)
[ "$said" = '{"hello": "a\"b"}' ] || fail "the README's program in C++ says: $said"

# All of the archive, so that nothing of it is missing there.
quietly musl-gcc -std=c11 -static "$work/consumer/first.c" -I"$prefix/include" \
    -Wl,--whole-archive "$libraries/libvela.a" -Wl,--no-whole-archive -o "$work/musl"
runs "$work/musl"

quietly cmake -G "$generator" -S "$work/consumer" -B "$work/installed" -DCMAKE_PREFIX_PATH="$prefix"
quietly cmake -G "$generator" -S "$work/consumer" -B "$work/subdirectory" -DVELA_SOURCE="$source"
for kind in installed subdirectory; do
    quietly cmake --build "$work/$kind"
    runs "$work/$kind/shared"
    runs "$work/$kind/static"
done
quietly cmake --install "$work/subdirectory" --prefix "$work/none"
[ ! -e "$work/none" ] || fail "a subdirectory installs itself"
