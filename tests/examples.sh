#!/bin/sh
# Each example does its work, explains itself, and goes no further where an option is unknown or lacks its value.
# usage: examples.sh PROGRAMS-DIR [EMULATOR [ARGUMENT...]]
set -eu
programs=$1 status=0
shift
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

wrong() {
    echo "$*"
    status=1
}

# refused MESSAGE PROGRAM ARGUMENT...: fails, behind the library's message.
refused() {
    message=$1
    shift
    if said=$($run "$@" 2>&1 </dev/null); then wrong "$* goes on"; fi
    echo "$said" | grep -q "^$message" || wrong "$* says: $said"
}

# works: the program at work prints a line that it should; one without a line here fails.
works() {
    case ${program##*/} in
    base64) printf foo | $run ;;
    cgi) REQUEST_METHOD=GET QUERY_STRING='pan=1%32&tilt=-3' $run ;;
    colour) $run "$dir/ppm" ;;
    curve) $run 0,0 4,8 ;;
    find) $run "$dir" '/pp' | sed 's/.*\///' ;;
    first) $run a -v b ;;
    fit) printf '1,2\n2,4\n3,6\n' | $run -d 1 | grep -o 'R^2.*' ;;
    hull) $run "$dir/ppm" 808080 ;;
    # Through the device's rate and back, a level stays what it is.
    live) { $run <"$dir/level" | $run -b | tail -c 3 | od -An -tx1; } 2>/dev/null ;;
    masks) echo '-5 5 5 5 5 -5 -5 -5' | $run -o "$dir/masks" ;;
    resample) $run "$dir/missing" "$dir/none" 2>&1 | sed 's/.*: //' ;;
    status) printf 'operator=M%%c3%%bc+;' | REQUEST_METHOD=POST $run | tr -d '\r' ;;
    # Left and right, however they are cut.
    stereo) $run 48000 8000 <"$dir/frames" | tail -c 4 | od -An -tx1 ;;
    url) $run 'http://a.b:80/c?d' ;;
    uuid) $run -b 00112233445566778899aabbccddeeff ;;
    view) $run -p 10 -t 5 10,5 ;;
    esac | grep -x "$1" >"$dir/shown" || wrong "$program does not print: $1"
}
printf 'P6 2 2 255\n\000\000\000\377\000\000\000\377\000\000\000\377' >"$dir/ppm"
printf '\200%.0s' $(seq 800) >"$dir/level"
printf '\000\100\000\300%.0s' $(seq 3000) >"$dir/frames"
expected() {
    sed -n "s/^$1: //p" <<'LINES'
base64: Zm9v
cgi: pan 12
colour: full, 2 x 2, red 54.15 dB, green without loss, blue 51.14 dB, all 54.15 dB
curve: 3 6
find: ppm
first:   <b>
fit: R^2 1.000000
hull: 4 pixels; 4 vertices, 6 edges, 4 faces; volume 2763562.5, 16.67 % of the cube
live:  80 80 80
masks: 11539 pixels hidden
resample: No such file or directory
status: Set-Cookie: operator=M%C3%BC+%3B; HttpOnly; SameSite=Strict
stereo:  ad 40 53 bf
url: host=a.b
uuid: {00112233-4455-6677-8899-aabbccddeeff}
view: .* 320    240  seen
LINES
}

for program in "$programs"/*; do
    if [ ! -x "$program" ] || [ -d "$program" ]; then continue; fi
    run="$* $program"
    help=$($run --help) || wrong "$program --help fails"
    case $help in usage:*) ;; *) wrong "$program --help says: $help" ;; esac
    works "$(expected "${program##*/}")"
    case ${program##*/} in cgi | status) continue ;; esac
    refused "unknown option: no-such-option" a --no-such-option b
    for option in $(echo "$help" | sed -n 's/^  -\(.\),.*=VAL.*/\1/p'); do
        refused "missing required argument for option: $option" 0,0 5,5 "-$option"
    done
done
exit $status
