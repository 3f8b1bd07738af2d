#!/bin/sh
# Runs a fuzz target, from its seeds and from what earlier runs found (kept beside the target, in corpus/NAME). An input
# that fails is written to findings/.
# usage: run.sh TARGET SECONDS
set -eu
here=$(cd "$(dirname "$0")" && pwd)
name=${1##*/} build=$(dirname "$1")
mkdir -p "$build/corpus/$name" "$build/findings"
export ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1
# -close_fd_mask: nothing of what the library prints.
exec "$here/../tests/ran.sh" 0 '^stat::number_of_executed_units: *[1-9]' "$1" -max_total_time="$2" -print_final_stats=1 \
    -close_fd_mask=3 -timeout=60 -max_len=4096 -artifact_prefix="$build/findings/$name-" "$build/corpus/$name" \
    "$here/seeds/$name"
