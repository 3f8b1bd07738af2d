# What the parts of the demo share; each sources it as "$DEMO_LIB".
set -eu

say() { echo "$*"; }

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
