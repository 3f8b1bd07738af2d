#!/bin/sh
# Each example explains itself, and goes no further where an option is unknown or lacks its value.
# usage: examples.sh PROGRAMS-DIR [EMULATOR [ARGUMENT...]]
set -eu
programs=$1 status=0
shift

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

for program in "$programs"/*; do
    if [ ! -x "$program" ] || [ -d "$program" ]; then continue; fi
    run="$* $program"
    help=$($run --help) || wrong "$program --help fails"
    case $help in usage:*) ;; *) wrong "$program --help says: $help" ;; esac
    [ "${program##*/}" != cgi ] || continue
    refused "unknown option: no-such-option" a --no-such-option b
    for option in $(echo "$help" | sed -n 's/^  -\(.\),.*=VAL.*/\1/p'); do
        refused "missing required argument for option: $option" 0,0 5,5 "-$option"
    done
done
exit $status
