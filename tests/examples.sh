#!/bin/sh
# The examples make the same bytes on every machine: runs the commands of a list and compares the digests of their outputs.
# usage: examples.sh PROGRAMS-DIR LIST [EMULATOR [ARGUMENT...]]
set -eu
programs=$1 list=$2
shift 2
emulator="$*" dir=$(mktemp -d) status=0
trap 'rm -rf "$dir"' EXIT
run() { program=$1 && shift && $emulator "$programs/$program" "$@"; }

# Inputs: a grid over a screen, one over the sphere, and a picture; what a conversion makes of that on both ways.
pixels() { awk 'BEGIN { for (y = 0; y < 480; y += 8) for (x = 0; x < 640; x += 16) print x, y }'; }
directions() { awk 'BEGIN { for (t = -90; t <= 90; t += 3.75) for (p = 0; p < 360; p += 3.7) print p, t }'; }
bytes() { awk 'BEGIN { for (i = 0; i < 33 * 20 * 3; i++) printf "\\%03o", (i * 37 + int(i / 99) * 11) % 256 }'; }
colour() {
    printf "P6\n33 20\n255\n$(bytes)" >"$dir/picture"
    run colour -c "$1" -y "$dir/ycc" -o "$dir/back" "$dir/picture" && cat "$dir/ycc" "$dir/back"
}

while read -r digest command; do
    actual=$(eval "$command" | sha256sum | cut -c 1-16)
    [ "$actual" = "$digest" ] || { echo "$actual, not $digest: $command"; status=1; }
done <"$list"
exit $status
