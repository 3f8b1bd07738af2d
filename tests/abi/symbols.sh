#!/bin/sh
# A library exports exactly the listed symbols, each under the version NODE_RELEASE of its release, calls its own
# functions whatever a program calls its own, and needs nothing but libc and libm. What it shares with programs is the
# listed DATA.
# usage: symbols.sh LIBRARY LIST NM READELF NODE SONAME [DATA...]
set -eu
library=$1 list=$2 nm=$3 readelf=$4 node=$5 soname=$6
shift 6
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

grep '^[A-Za-z_]' "$list" | sort >"$work/listed"
awk -v node="$node" '/^# [0-9.]+:/ { release = $2; sub(/:/, "", release) }
    /^[A-Za-z_]/ { print $1 "@@" node "_" release }' "$list" | sort >"$work/versions"
$nm -D --defined-only "$library" | awk '$2 != "A" { print $NF }' | sort >"$work/exported"
if ! diff "$work/versions" "$work/exported"; then
    echo "exported symbols (>) differ from $list (<)"
    status=1
fi

# What the dynamic linker may bind elsewhere: data alone, which a program shares with the library.
$readelf -rW "$library" | awk '{ sub(/@.*/, "", $5); print $5 }' | sort -u | comm -12 - "$work/listed" >"$work/open"
for name; do echo "$name"; done >"$work/data"
if ! diff "$work/data" "$work/open"; then
    echo "symbols of its own that a program can replace (>) differ from the data that it shares (<)"
    status=1
fi

$readelf -d "$library" >"$work/dynamic"
foreign=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' "$work/dynamic" | grep -v -x -e 'libc\.so\.6' -e 'libm\.so\.6' || true)
if [ -n "$foreign" ]; then
    echo "needs more than libc and libm:" $foreign
    status=1
fi
grep -qF "SONAME: [$soname]" "$work/dynamic" || grep -qF "soname: [$soname]" "$work/dynamic" || {
    echo "wrong SONAME"
    status=1
}
exit $status
