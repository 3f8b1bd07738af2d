#!/bin/sh
# Each program under 16 clients, none of whose requests may fail; then the server's processes and memory. lighttpd 1.4.69
# itself leaks 48 bytes with a program that runs beside others, so the limit is 100 bytes a request.
# usage: load.sh SECONDS   (CAMERA is the camera's address, SERVER the web server's process)
set -eu
memory() { awk '/^VmRSS/ { print $2 }' "/proc/$SERVER/status"; }
children() { ps -o pid= --ppid "$SERVER" | wc -l; }

ab -q -l -c 16 -n 32 "$CAMERA/api/video" >/dev/null 2>&1 # what the server allocates once, it has now
before=$(memory) all=0
for path in ptz mask 'video?width=640&height=360' 'audio?rate=8000&format=ulaw' 'gamut/off?points=256' \
    'fit/lens?samples=1,1;500,300;900,700' recordings system; do
    result=$(ab -q -l -c 16 -t "$1" "$CAMERA/api/$path" 2>&1) || {
        echo "$result" >&2
        exit 1
    }
    all=$((all + $(echo "$result" | awk '/^Complete requests/ { print $3 }')))
    echo "$result" | awk -v path="$path" '
        /^Complete requests/ { complete = $3 }
        /^Failed requests/ { failed = $3 }
        /^Non-2xx/ { failed += $3 }
        /^Requests per second/ { rate = $4 }
        /^ +99%/ { late = $2 }
        END {
            printf "load: %-40s %6d requests, %d failed, %.0f a second, 99 %% within %d ms\n", path, complete, failed, rate, late
            exit failed > 0 || complete == 0
        }'
done
sleep 2
left=$(children) after=$(memory)
echo "load: server's memory $before to $after KiB after $all requests, $left programs left"
[ "$left" -eq 0 ] && [ $((after - before)) -lt $((1024 + all / 10)) ] && echo "load: passed"
