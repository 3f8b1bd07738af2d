#!/bin/sh
# Runs a test against a camera of its own, with an empty state: CAMERA is its address, SERVER the web server's process.
# What the camera consists of is in CAMERA_..., as vela-camera expects it.
# usage: run.sh TEST COMMAND...
set -eu
export CAMERA_STATE="$CAMERA_TESTS/$1"
shift
rm -rf "$CAMERA_STATE"
exec "$(dirname "$0")/../server/vela-camera" -- "$@"
