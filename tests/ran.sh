#!/bin/sh
# Runs a command that must exit with STATUS and print a line that matches PATTERN: what ran no check fails.
# usage: ran.sh STATUS PATTERN COMMAND...
expected=$1 pattern=$2
shift 2
output=$("$@" 2>&1)
status=$?
printf '%s\n' "$output"
if [ $status -ne "$expected" ]; then
    echo "ran.sh: exit status $status, expected $expected" >&2
    [ $status -eq 0 ] || exit $status
    exit 1
fi
printf '%s\n' "$output" | grep -q -e "$pattern" || {
    echo "ran.sh: nothing ran: no line of the output matches \"$pattern\"" >&2
    exit 1
}
