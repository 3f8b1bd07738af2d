#!/bin/sh
# A program for a 32-bit machine links with the library only if both have times of the same width.
# usage: time64.sh SOURCE-DIR CMAKE-GENERATOR TOOLCHAIN-FILE LIBRARY CC NM READELF [EMULATOR...]
set -eu
source=$1 generator=$2 toolchain=$3 narrow=$(dirname "$4") cc=$5 nm=$6 readelf=$7
shift 7
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Calls everything with times, and goes beyond 32 bits with seconds, and with microseconds where they have more.
cat >"$work/times.c" <<'END'
#include <stdio.h>
#include <vela/time.h>

int main(void) {
    struct timeval now = {-1, -1}, sum = {0x7fffffff, 999999};
    const struct timeval one = {1, 1};
    if (gettime(&now) != 0 || now.tv_sec < 0)
        return 1;
    time_add_usec(&sum, 1);
    sum.tv_usec = sizeof sum.tv_usec == 8 ? 1LL << 40 : 0;
    time_balance(&sum);
    printf("%lld", (long long)sum.tv_sec);
    sum = time_add(&sum, &one);
    time_sub_usec(&sum, 2);
    sum = time_sub(&sum, &one);
    printf(" %lld.%06lld %d\n", (long long)sum.tv_sec, (long long)sum.tv_usec, time_compare(&one, &sum));
    return 0;
}
END

# program FLAG...: links it.
program() { "$cc" -std=gnu11 -Wall -Wextra -Werror "$work/times.c" "$@" -lm -o "$work/times"; }

# fits TEXT FLAG...: it links, and prints the text. misfits FUNCTION FLAG...: the linker misses the function.
fits() {
    text=$1
    shift
    program "$@"
    said=$($emulator "$work/times")
    [ "$said" = "$text" ] || {
        echo "$*: says \"$said\", not \"$text\""
        exit 1
    }
}
misfits() {
    function=$1
    shift
    if program "$@" 2>"$work/log"; then
        echo "$*: links"
        exit 1
    fi
    grep -q "undefined reference to .$function'" "$work/log" || {
        cat "$work/log"
        exit 1
    }
}

emulator=$* include=-I$source/include flags="-D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64"
{
    cmake --preset library -G "$generator" --toolchain "$toolchain" -DVELA_TIME64=ON -S "$source" -B "$work/build"
    cmake --build "$work/build"
    cmake --install "$work/build" --prefix "$work/prefix"
} >"$work/log" 2>&1 || {
    cat "$work/log"
    exit 1
}
"$(dirname "$0")/symbols.sh" "$work/build/libvela.so" "$work/build/symbols.list" "$nm" "$readelf" VELA libvela.so.1 \
    cmdline_optarg cmdline_optidx
PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name vela.pc)")
export PKG_CONFIG_PATH
wide=$(pkg-config --variable=libdir vela)
for kind in so a; do
    fits "-2147483648 2147483647.999998 -2147483646" $include "$narrow/libvela.$kind" -Wl,-rpath,"$narrow"
    misfits gettime_time64 $include $flags "$narrow/libvela.$kind"
    fits "2148583159 2148583159.627774 -2147483648" $(pkg-config --cflags vela) "$wide/libvela.$kind" -Wl,-rpath,"$wide"
    misfits gettime $include "$wide/libvela.$kind"
done
