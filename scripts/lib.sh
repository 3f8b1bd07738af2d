# What the scripts share. Sourced with $root set to the project's directory.

logs=$root/build/logs
mkdir -p "$logs"
export CMAKE_GENERATOR=Ninja

# step NAME TEXT COMMAND...: prints TEXT and runs the command with its output in a log, which is shown if it fails.
step() {
    step_log=$logs/$1.log
    echo "$2"
    shift 2
    if ! "$@" >"$step_log" 2>&1 </dev/null; then
        tail -n 100 "$step_log" >&2
        echo "failed: $* (whole log: $step_log)" >&2
        exit 1
    fi
}
