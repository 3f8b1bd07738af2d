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
quietly() { "$@" >"$work/log" 2>&1 || {
    cat "$work/log"
    exit 1
}; }

# same WHAT IT-IS IT-SHOULD-BE
same() { [ "$2" = "$3" ] || {
    echo "$1: \"$2\", not \"$3\""
    exit 1
}; }

# runs COMMAND...: lists its operands.
runs() { same "$*" "$("$@" one -v two | tail -n 1)" '  <two>'; }

mkdir "$work/consumer"
cd "$work/consumer"
# A project that uses the library: installed, or from its source where VELA_SOURCE names it. It has no build type.
cat >CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C CXX)
set(CMAKE_C_STANDARD 11)
set(CMAKE_CXX_STANDARD 17)
if(VELA_SOURCE)
  add_subdirectory(${VELA_SOURCE} vela)
else()
  find_package(vela 1.0 REQUIRED)
endif()

add_executable(shared first.cpp)
target_link_libraries(shared vela::vela vela::overlay)
add_executable(static first.c)
target_link_libraries(static vela::vela_static vela::overlay_static)
END
# program LANGUAGE PAGE, line BEGINNING PAGE: the first of its kind, as the page shows it.
program() { sed -n "/^ *\`\`\`$1\$/,/^ *\`\`\`\$/p" "$source/$2" | sed '1d;$d'; }
line() { sed -n "s/^ *\($1 .*\)/\1/p" "$source/$2" | head -n 1; }
program c README.md >first.c
program cpp README.md >hello.cpp
sed 's/NULL/nullptr/g' first.c >first.cpp

quietly cmake --preset library -G "$generator" -S "$source" -B "$work/library"
quietly cmake --build "$work/library"
quietly cmake --install "$work/library" --prefix "$work/elsewhere" --strip
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

LD_LIBRARY_PATH=$libraries
export LD_LIBRARY_PATH
for command in "$(line 'cc first.c' README.md)" "cc -std=c11 first.c $flags -o first" "c++ -std=c++17 first.cpp $flags -o first"; do
    quietly sh -c "$command"
    runs ./first
done
quietly sh -c "$(line c++ README.md)"
same hello.cpp "$(eval "$(line REQUEST_METHOD=GET README.md)" | tail -n 1)" '{"hello": "Front gate"}'

# The second library.
quietly cc -std=c11 "$source/examples/hide.c" $(pkg-config --cflags --libs vela vela-overlay) -o hide
head -c 345600 /dev/zero | ./hide | cmp -s -n 100000 - /dev/zero && {
    echo "hide hides nothing"
    exit 1
}

# A dot() of the program's own beside the library's.
cp "$libraries/libvela.a" .
sh -c "$(line objcopy docs/conventions.md)"
{
    program c docs/conventions.md
    echo 'int32_t dot(void) { return 1; }'
    echo 'int main(void) { const int32_t a[3] = {2, 3, 4}; return vela_dot(a, a) + dot() == 30 ? 0 : 1; }'
} >dot.c
quietly cc -I"$prefix/include" dot.c libvela-renamed.a -o dot
./dot

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

# Two modules: their headers alone, which compile; a module that was not built is not found.
quietly cmake --preset library -G "$generator" -S "$source" -B "$work/two" -DVELA_MODULES="resample;url"
quietly cmake --build "$work/two"
quietly cmake --install "$work/two" --prefix "$work/chosen"
same headers "$(cd "$work/chosen/include/vela" && echo *.h)" 'attributes.h resample.h url.h vela.h version.h'
quietly c++ -std=c++20 -I"$work/chosen/include" -include vela/vela.hpp -include vela/vela.h -fsyntax-only -x c++ /dev/null
for components in resample 'url matrix'; do
    mkdir -p "$work/finds"
    printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(finds LANGUAGES C)' \
        "find_package(vela REQUIRED COMPONENTS $components)" >"$work/finds/CMakeLists.txt"
    found=$(cmake -S "$work/finds" -B "$work/finds/$components" -DCMAKE_PREFIX_PATH="$work/chosen" 2>&1) && found=found
    case $components:$found in resample:found | *matrix*'does not have the module matrix'*) ;; *)
        echo "$components: $found"
        exit 1
        ;;
    esac
done
