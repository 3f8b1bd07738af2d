#!/bin/sh
# A program for a 32-bit machine links with the library only if both have times of the same width.
# usage: time64.sh SOURCE-DIR CMAKE-GENERATOR TOOLCHAIN-FILE LIBRARY CC NM READELF [EMULATOR...]
set -eu
source=$1 generator=$2 toolchain=$3 library=$4 cc=$5 nm=$6 readelf=$7
shift 7
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# quietly COMMAND...: what it says is shown only if it fails.
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }; }

fail() {
    echo "$*"
    exit 1
}

# Calls everything with times; the last seconds and the microseconds are more than 32 bits where the fields have them.
cat >"$work/times.c" <<'END'
#include <stdio.h>
#include <time.h>
#include <vela/time.h>

int main(void) {
    struct timeval now = {-1, -1}, sum = {0x7fffffff, 999999}, t = {0, 0};
    const struct timeval one = {1, 1};
    const time_t before = time(NULL);
    if (gettime(&now) != 0 || now.tv_sec < before || now.tv_sec > before + 5)
        printf("now: %lld, not %lld\n", (long long)now.tv_sec, (long long)before);
    sum = time_add(&sum, &one);
    printf("%lld.%06lld", (long long)sum.tv_sec, (long long)sum.tv_usec);
    sum = time_sub(&sum, &one);
    time_add_usec(&sum, -2);
    time_sub_usec(&sum, -1);
    printf(" %lld.%06lld", (long long)sum.tv_sec, (long long)sum.tv_usec);
    if (sizeof t.tv_usec == 8) {
        t.tv_usec = (suseconds_t)1 << 30;
        t.tv_usec *= 1 << 10;
        time_balance(&t);
        printf(" %lld.%06lld", (long long)t.tv_sec, (long long)t.tv_usec);
    }
    printf(" %d\n", time_compare(&one, &sum) < 0);
    return 0;
}
END

# program NAME FLAG...: links it.
program() {
    name=$1
    shift
    "$cc" -std=gnu11 -Wall -Wextra -Werror "$work/times.c" "$@" -o "$work/$name"
}

# refused FUNCTION FLAG...: the linker misses the function.
refused() {
    function=$1
    shift
    if program refused "$@" 2>"$work/log"; then fail "$*: links"; fi
    grep -q "undefined reference to .$function'" "$work/log" || fail "$*: $(cat "$work/log")"
}

# says TEXT NAME: what the program prints.
says() {
    text=$1 name=$2
    shift 2
    said=$("$@" "$work/$name")
    [ "$said" = "$text" ] || fail "$name says \"$said\", not \"$text\""
}

wide="-D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64"
ordinary=$(dirname "$library")
for kind in so a; do
    program "narrow-$kind" -I"$source/include" "$ordinary/libvela.$kind" -lm -Wl,-rpath,"$ordinary"
    says "-2147483647.000000 2147483647.999998 1" "narrow-$kind" "$@"
    refused gettime_time64 $wide -I"$source/include" "$ordinary/libvela.$kind" -lm
done

quietly cmake --preset library -G "$generator" --toolchain "$toolchain" -DVELA_TIME64=ON -S "$source" -B "$work/build"
quietly cmake --build "$work/build"
quietly cmake --install "$work/build" --prefix "$work/prefix"
"$(dirname "$0")/symbols.sh" "$work/build/libvela.so" "$work/build/symbols.list" "$nm" "$readelf"
PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name vela.pc)")
export PKG_CONFIG_PATH
libraries=$(pkg-config --variable=libdir vela)
for kind in so a; do
    program "wide-$kind" $(pkg-config --cflags vela) "$libraries/libvela.$kind" -lm -Wl,-rpath,"$libraries"
    says "2147483649.000000 2147483647.999998 1099511.627776 1" "wide-$kind" "$@"
    refused gettime -I"$source/include" "$libraries/libvela.$kind" -lm
done
