#!/bin/sh
# The example that hides a door does the same in C, Python and Rust.
# usage: languages.sh EXAMPLES-DIR PROGRAM LIBRARY
set -eu
source=$1 program=$2 libraries=$(dirname "$3")
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
mkdir "$dir/lib"
ln -s "$3" "$dir/lib/libvela-overlay.so"
rustc --edition 2021 -L "$dir/lib" -o "$dir/hide" "$source/hide.rs"

export LD_LIBRARY_PATH="$libraries"
head -c 345600 /dev/zero | tr '\0' 'P' >"$dir/picture"
"$program" -p 3 -t -2 <"$dir/picture" >"$dir/c"
python3 "$source/hide.py" 3 -2 <"$dir/picture" >"$dir/python"
"$dir/hide" 3 -2 <"$dir/picture" >"$dir/rust"
cmp "$dir/c" "$dir/python"
cmp "$dir/c" "$dir/rust"
# The door's luma and chroma, and the picture beside it.
byte() { od -An -tu1 -j "$1" -N 1 "$dir/c" | tr -d ' '; }
[ "$(byte $((180 * 640 + 290)))" = 16 ] && [ "$(byte $((360 * 640 + 90 * 640 + 290)))" = 128 ] && [ "$(byte 100)" = 80 ]
