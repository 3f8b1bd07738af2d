# What the scripts share. Sourced with $root set to the project's folder.

logs=$root/build/logs
mkdir -p "$logs"

# step NAME TEXT COMMAND...: says TEXT, runs the command with its output kept in a log, and shows the log if it fails.
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

# Ninja where it is present; its own generator otherwise.
generator() {
    if command -v ninja >/dev/null; then echo Ninja; else echo "Unix Makefiles"; fi
}

# install_driver WHO: what drives the browser, in the versions that the lock file names; again when they change.
driver=$root/build/browser
copy_driver() {
    rm -rf "$driver" && mkdir -p "$driver" && cp camera/test/package.json camera/test/package-lock.json "$driver" &&
        npm ci --prefix "$driver" --ignore-scripts --no-audit --no-fund && touch "$driver/installed"
}
install_driver() {
    { [ -e "$driver/installed" ] && cmp -s camera/test/package-lock.json "$driver/package-lock.json"; } ||
        step "$1-driver" "$1: installing the browser's driver" copy_driver
}
