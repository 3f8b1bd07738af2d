#!/bin/sh
# Requests to the example CGI program under a real web server, from a real client: status lines and bodies.
# usage: cgi_server.sh PROGRAM
set -eu
PATH=$PATH:/usr/sbin
dir=$(mktemp -d) server=
trap '[ -z "$server" ] || kill $server; rm -rf "$dir"' EXIT
mkdir "$dir/root"
ln -s "$1" "$dir/root/camera.cgi"

# The first free port of some.
for try in 0 1 2 3 4 5 6 7 8 9; do
    port=$((20000 + ($$ * 10 + try) % 40000)) url=http://127.0.0.1:$port/camera.cgi
    printf 'server.%s\n' "document-root = \"$dir/root\"" 'bind = "127.0.0.1"' "port = $port" \
        'modules = ("mod_cgi")' >"$dir/conf"
    echo 'cgi.assign = (".cgi" => "")' >>"$dir/conf"
    lighttpd -D -f "$dir/conf" 2>>"$dir/log" &
    server=$!
    until curl -s -o /dev/null "$url" || ! kill -0 $server 2>/dev/null; do sleep 0.1; done
    kill -0 $server 2>/dev/null && break
    server=
done
[ "$server" ] || {
    cat "$dir/log" >&2
    exit 1
}

# expect STATUS-LINE BODY CURL-ARGUMENT...: the body with the escapes of printf.
failures=0
expect() {
    printf "HTTP/1.1 $1\n$2" >"$dir/expected"
    shift 2
    curl -s -S -m 20 -D "$dir/headers" -o "$dir/body" "$@" || failures=1
    head -n 1 "$dir/headers" | tr -d '\r' | cat - "$dir/body" >"$dir/got"
    cmp "$dir/got" "$dir/expected" || {
        echo "$*: got:"
        cat "$dir/got"
        failures=1
    } >&2
}

nobody='session none\ncamera any\n'
expect '200 OK' 'pan 1\ntilt 2\nsession a b;c\ncamera north-7\n' \
    -b 'theme=dark;  SESSION=a%20b%3bc; session=2' -H 'x-camera-id: north-7' "$url?pan=1&tilt=2"
expect '400 Bad Request' 'Bad Request\r\ntilt is not an angle: 5%%n%%s' "$url?pan=1&tilt=5%25n%25s"
expect '405 Method Not Allowed' 'Method Not Allowed' -X DELETE "$url"
curl -s -I "$url?pan=12&tilt=3" | tr -d '\r' | grep -qx 'Content-Length: 38' || {
    echo "HEAD" >&2
    failures=1
}
expect '200 OK' "preset Front gate!\nbody 22\n$nobody" -d 'x&name=Front+gate%21&=' "$url"
expect '200 OK' "preset %%4\nbody 9\n$nobody" -H 'Transfer-Encoding: chunked' -d 'name=%%%4' "$url?name=query"
expect '400 Bad Request' 'Bad Request\r\nmissing: name' -d '' "$url"
# The longest body with its last parameter, and one that is longer by a byte.
{
    head -c 131065 /dev/zero | tr '\0' '&'
    printf 'name=ab'
} >"$dir/longest"
expect '200 OK' "preset ab\nbody 131072\n$nobody" --data-binary "@$dir/longest" "$url"
expect '413 Payload Too Large' 'Request Entity Too Large\r\nonly 131072 bytes' \
    --data-binary "@$dir/longest" --data-binary c "$url"
exit $failures
