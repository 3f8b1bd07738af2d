#!/bin/sh
# Runs each example: its output, --help, an unknown option, and options without a value.
# usage: examples.sh PROGRAMS-DIR [EMULATOR [ARGUMENT...]]
set -eu
programs=$1 status=0 count=0
shift
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

wrong() {
    echo "$*"
    status=1
}

# refused MESSAGE PROGRAM ARGUMENT...: it fails after the message of the library.
refused() {
    message=$1
    shift
    if said=$($run "$@" 2>&1 </dev/null); then wrong "$* succeeds"; fi
    echo "$said" | grep -q "^$message" || wrong "$* prints: $said"
}

# line TEXT: the standard input has this line.
line() {
    cat >"$dir/said"
    grep -qx -e "$1" "$dir/said" || {
        echo "no line \"$1\" in:"
        cat "$dir/said"
        false
    }
}

# works: the program prints the expected line; a program without one here fails.
works() {
    case ${program##*/} in
    base64) printf foo | $run | line Zm9v ;;
    cgi) REQUEST_METHOD=GET QUERY_STRING='pan=1%32&tilt=-3' $run | line 'pan 12' ;;
    colour)
        $run "$dir/ppm" |
            line 'full, 2 x 2, red 54.15 dB, green lossless, blue 51.14 dB, all 54.15 dB'
        ;;
    curve) $run 0,0 4,8 | line '3 6' ;;
    find) $run "$dir" '/pp' | line "$dir/ppm" ;;
    first) $run a -v b | line '  <b>' ;;
    fit) printf '1,2\n2,4\n3,6\n' | $run -d 1 | grep -o 'R^2.*' | line 'R^2 1.000000' ;;
    hull)
        $run "$dir/ppm" 808080 |
            line '4 pixels; 4 vertices, 6 edges, 4 faces; volume 2763562.5, 16.67 % of the cube'
        ;;
    # The first pixel of a white picture, one in its middle, and the first colours.
    hide) head -c 345600 /dev/zero | tr '\0' '\353' | $run | od -An -v -tx1 -w115520 | cut -c 1-3 | tr -d '\n' | line ' eb 10 eb' ;;
    # A level stays the same through the rate of the device and back.
    live) { $run <"$dir/level" | $run -b | tail -c 3 | od -An -tx1; } 2>/dev/null | line ' 80 80 80' ;;
    masks) echo '-5 5 5 5 5 -5 -5 -5' | $run -o "$dir/masks" | line '11539 pixels hidden' ;;
    resample) $run "$dir/missing" "$dir/none" 2>&1 | line '.*: No such file or directory' ;;
    status)
        printf 'operator=M%%c3%%bc+;' | REQUEST_METHOD=POST $run | tr -d '\r' |
            line 'Set-Cookie: operator=M%C3%BC+%3B; HttpOnly; SameSite=Strict'
        ;;
    # Left and right stay apart.
    stereo) $run 48000 8000 <"$dir/frames" | tail -c 4 | od -An -tx1 | line ' 4f 40 b1 bf' ;;
    url) $run 'http://a.b:80/c?d' | line 'host=a.b' ;;
    uuid) $run -b 00112233445566778899aabbccddeeff | line '{00112233-4455-6677-8899-aabbccddeeff}' ;;
    view) $run -p 10 -t 5 10,5 | line '.* 320    240  seen' ;;
    *) false ;;
    esac
}
printf 'P6 2 2 255\n\000\000\000\377\000\000\000\377\000\000\000\377' >"$dir/ppm"
printf '\200%.0s' $(seq 800) >"$dir/level"
printf '\000\100\000\300%.0s' $(seq 3000) >"$dir/frames"

for program in "$programs"/*; do
    if [ ! -x "$program" ] || [ -d "$program" ]; then continue; fi
    run="$* $program" count=$((count + 1))
    help=$($run --help) || wrong "$program --help fails"
    case $help in usage:*) ;; *) wrong "$program --help prints: $help" ;; esac
    works || wrong "$program does not print the expected line"
    case ${program##*/} in cgi | status) continue ;; esac
    refused "unknown option: no-such-option" a --no-such-option b
    for option in $(echo "$help" | sed -n 's/^  -\(.\),.*=VAL.*/\1/p'); do
        refused "missing required argument for option: $option" 0,0 5,5 "-$option"
    done
done
[ "$count" -gt 0 ] || wrong "no programs in $programs"
echo "$count programs"
exit $status
