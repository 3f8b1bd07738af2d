#!/bin/sh
# Drives a camera that runs, as scripts/camera --check asks: CAMERA is its address, SERVER the web server's process, and
# the others of CAMERA_... are where its parts lie.
# usage: all.sh whole|short|browser FOLDER   (the folder of both builds, native/ and device/)
set -eu
cd "$(dirname "$0")/../.."
if [ "$1" = browser ]; then
    BROWSER="${BROWSER:-$(command -v chromium)}" node camera/test/browser.mjs
else
    python3 camera/test/calls.py
fi
if [ "$1" = whole ]; then
    if [ "$CAMERA_EMULATOR" ]; then seconds=8 writes=60; else seconds=1 writes=200; fi
    python3 camera/test/hostile.py "$CAMERA_STATE"
    camera/test/load.sh $seconds
    [ -z "$CAMERA_EMULATOR" ] || python3 camera/test/same.py "$2/native/camera/programs" "$CAMERA_PROGRAMS" "$CAMERA_SCENE" "$2/check/same" "$CAMERA_EMULATOR"
    python3 camera/test/crash.py "$CAMERA_PROGRAMS/mask" "$2/check/crash" $writes $CAMERA_EMULATOR
    mkdir "$2/check/masks"
    "$2/native/camera/open_pixels" "$2/check/masks" 3
fi
echo "camera: all of it works"
