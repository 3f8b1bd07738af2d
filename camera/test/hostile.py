"""Requests that no page sends: each is refused with 4xx, or its text comes back escaped, and nothing is changed."""

import os
import unittest
from client import FORM, HOST, PORT, STATE, change, expect, fail, fetch, raw, token

secret = token()
own = f"http://{HOST}:{PORT}"


def get(path, extra=""):
    return f"GET {path} HTTP/1.0\r\nHost: {HOST}:{PORT}\r\n{extra}\r\n".encode("utf-8", "surrogateescape")


def post(path, body, kind=FORM, given=secret, origin=own, length=None, extra="", method="POST"):
    body = body if isinstance(body, bytes) else body.encode()
    head = f"{method} {path} HTTP/1.0\r\nHost: {HOST}:{PORT}\r\nContent-Type: {kind}\r\n{extra}"
    head += "" if length == "" else f"Content-Length: {len(body) if length is None else length}\r\n"
    head += f"X-Camera-Token: {given}\r\n" if given else ""
    head += f"Origin: {origin}\r\n" if origin else ""
    return head.encode() + b"\r\n" + body


stop = "action=stop"
mask = "action=add&name=a&corners="
requests = [
    # Traversal, and what does not exist.
    *[
        get(path)
        for path in (
            "/../../etc/passwd",
            "/..%2f..%2fetc/passwd",
            "/api/../../etc/passwd",
            "/api/ptz/../../../etc/passwd",
            "/api/..%2fstate/token",
            "/api/video/%2e%2e/%2e%2e/etc/passwd",
            "/api/",
            "/api/nothing",
            "/api/ptz.cpp",
            "/api/ptzz",
            "/api/ptz/nothing",
            "/api/mask/%00",
            "/server.log",
            "/.git/config",
            "/%00",
            "/api/ptz%00",
            "/api/video/live/more",
            "/api/system/url/x?text=a:b",
            "/api/audio/../ptz/tokenn",
        )
    ],
    *[
        get("/api/recordings/file?id=" + name)
        for name in (
            "../token",
            "..%2Ftoken",
            "....//token",
            "%2Fetc%2Fpasswd",
            "2026-01-01/../../../token",
            "",
            "a" * 70,
            "2026-01-01/000000-snapshot-0000000g.jpg",
            "2026-01-01/000000-snapshot-00000000.jpg%00",
            "%C0%AE%C0%AE",
            "2026-01-01%2F000000-snapshot-00000000.jpg.new",
            "2026-01-01/000000-snapshot-00000000.jpg",
        )
    ],
    # Not numbers, or out of range.
    *[
        get("/api/video?width=" + text)
        for text in (
            "0",
            "-1",
            "63",
            "1921",
            "1e9",
            "0x500",
            "640.5",
            "nan",
            "inf",
            "1280%00",
            "%201280",
            "1280;",
            "99999999999999999999",
            "1" * 33,
            "--64",
            "%D9%A3",
        )
    ],
    get("/api/video?pan=1"),
    get("/api/video?pan=1&tilt=91&fov=60"),
    get("/api/video?pan=0&tilt=0&fov=0"),
    get("/api/video/live?fps=26"),
    get("/api/video/live?frames=0"),
    get("/api/video?quality=101"),
    get("/api/video/raw?time=-1"),
    get("/api/video/raw?time=99999999999"),
    get("/api/audio?rate=7999"),
    get("/api/audio?rate=48001"),
    get("/api/audio?format=mp3"),
    get("/api/audio?lobes=3"),
    get("/api/audio?container=basic&rate=16000"),
    get("/api/audio/live?seconds=0"),
    get("/api/audio/levels?count=65"),
    get("/api/gamut?points=15"),
    get("/api/gamut?points=4097"),
    get("/api/fit/lens"),
    get("/api/fit/lens?samples=1,1"),
    get("/api/fit/lens?samples=1,1;2,2;3,3;"),
    get("/api/fit/lens?samples=1,1;2,2;3,999999"),
    get("/api/fit/exposure?samples=1;2;3;4;5;6"),
    get("/api/fit/exposure?samples=" + "1,1;" * 64 + "1,1"),
    get("/api/recordings?pattern=" + "a" * 129),
    get("/api/recordings?pattern=%FF"),
    get("/api/system/url?text=nothing"),
    get("/api/system/url"),
    get("/api/system/code?text=%01"),
    get("/api/system/code?text=" + "a" * 2049),
    get("/api/system/code?text=%ED%A0%80"),
    # Long, binary, malformed.
    get("/" + "a" * 9000),
    get("/api/ptz?" + "a=b&" * 4000),
    get("/api/ptz", "X: " + "a" * 9000 + "\r\n"),
    b"\0\1\2\3\r\n\r\n",
    b"GET\r\n\r\n",
    b"GET /api/ptz HTTP/1.1\r\n\r\n",
    b"GET /\xff\xfe HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n",
    b"GET http:///api/ptz HTTP/1.1\r\nHost: \xff\r\n\r\n",
    # Changes from other sites, or in another form.
    post("/api/ptz", stop, given=None),
    post("/api/ptz", stop, given="wrong"),
    post("/api/ptz", stop, given=secret + "x"),
    post("/api/ptz", stop, origin="http://evil.example"),
    post("/api/ptz", stop, origin="null"),
    post("/api/ptz", stop, origin=f"https://{HOST}:{PORT}.evil.example"),
    post("/api/ptz", stop, extra="Sec-Fetch-Site: cross-site\r\n"),
    post("/api/ptz", stop, extra="Sec-Fetch-Site: same-site\r\n"),
    post("/api/ptz", stop, kind="text/plain"),
    post("/api/ptz", stop, kind="multipart/form-data; boundary=x"),
    post("/api/ptz", '{"action":"stop"}', kind="application/json"),
    post("/api/ptz", stop, length=""),
    post("/api/ptz", stop, length="-1"),
    post("/api/ptz", stop, length="x"),
    post("/api/ptz", stop, length="1e3"),
    post("/api/ptz", "a" * 200000),
    post("/api/ptz", "action=stop&x=" + "a" * 300000),
    post("/api/ptz", stop, method="PUT"),
    post("/api/ptz", stop, method="DELETE"),
    post("/api/ptz", stop, method="PATCH"),
    post("/api/video/live", stop),
    post("/api/audio", stop),
    post("/api/gamut", stop),
    post("/api/fit/lens", stop),
    post("/api/system/url", "text=a:b"),
    post("/api/recordings/file", stop),
    # Requests of other sites, and those that reach the camera by another name (DNS rebinding).
    *[
        f"GET {path} HTTP/1.1\r\nHost: evil.example:{PORT}\r\nConnection: close\r\n\r\n".encode()
        for path in ("/", "/api/ptz/token", "/api/video")
    ],
    post("/api/ptz", stop, origin=f"http://evil.example:{PORT}").replace(HOST.encode(), b"evil.example", 1),
    get("/api/video", "Sec-Fetch-Site: cross-site\r\n"),
    get("/api/ptz/token", "Sec-Fetch-Site: cross-site\r\n"),
    # Changes without sense.
    *[
        post("/api/ptz", body)
        for body in (
            "",
            "action=",
            "action=explode",
            "action=move",
            "action=move&pan=nan&tilt=0",
            "action=move&pan=0&tilt=91",
            "action=move&pan=721&tilt=0",
            "action=drive&pan=2",
            "action=drive&pan=1&hold=3600",
            "action=nudge&zoom=99",
            "action=save",
            "action=save&name=",
            "action=save&name=" + "a" * 81,
            "action=save&name=%0D%0AX: y",
            "action=save&name=%FF",
            "action=save&name=%00",
            "action=recall&id=../token",
            "action=forget&id=" + "a" * 49,
            "action=limits&left=0&right=0&low=10&high=-10",
            "action=limits&left=-1&right=0&low=0&high=0",
            b"\xff\xfe\0\1",
            "action=patrol&dwell=0",
        )
    ],
    *[
        post("/api/video", body)
        for body in (
            "curve=0,0",
            "curve=0,0;255,256",
            "curve=0,0;0,9;255,255",
            "curve=0,0;1.5,9;255,255",
            "curve=0,0;200,9",
            "curve=" + "0,0;" * 17 + "255,255",
            "light=dusk",
            "grid=2",
            "exposure=3",
            "exposure=",
        )
    ],
    *[
        post("/api/mask", body)
        for body in (
            mask + "1,1;2,2",
            mask + "1,1;1,1;1,1",
            mask + "1,1;2,2;1,1",
            mask + "10,0;20,0;50,0;80,0",
            mask + "5,1;5,20;5,60",
            mask + "0,0;10,91;20,0",
            mask + "0,0;180,0;90,0",
            mask + "x",
            mask,
            mask + "1,1;" * 64 + "2,2",
            "action=add&corners=1,1;2,2;3,1",
            "action=change&id=none",
            "action=remove",
            "action=remove&id=%2E%2E%2Ftoken",
        )
    ],
    *[
        post("/api/recordings", body)
        for body in (
            "action=clip&seconds=21",
            "action=clip&width=9999",
            "action=snapshot&height=1",
            "action=remove&id=../../token",
            "action=expire&days=-1",
            "action=expire",
            "action=remove&id=2026-01-01/000000-snapshot-00000000.jpg",
        )
    ],
    *[
        post("/api/system", body)
        for body in (
            "action=set-time&time=-1",
            "action=set-time&time=1e12",
            "action=set-time",
            "action=rename&name=",
            "action=reboot",
        )
    ],
]


def files():
    return sorted(os.path.join(place, name) for place, _, names in os.walk(STATE) for name in names)


def state():
    return fetch("ptz")["presets"], fetch("mask"), fetch("video/settings"), fetch("recordings")


class Hostile(unittest.TestCase):
    def test_refused(self):
        fetch("system")  # makes the files of the first request
        before = state(), files()
        for request in requests:
            status, answer = raw(request)
            if not 400 <= status < 500:
                fail(f"{request[:120]!r}: {status} {answer[:200]!r}")
        expect((state(), files()) == before, "something was changed")

    def test_escaped(self):
        script = "</script><script>alert(1)</script><img src=x onerror=alert(1)>\"'&"
        expect(change("system", action="rename", name=script)["name"] == script, "a name comes back whole")
        for request in (
            get("/api/system"),
            get("/api/system/code?text=%3Cscript%3E"),
            get("/api/system/url?text=a:%3Cscript%3E"),
            get("/api/%3Cscript%3E"),
            get("/api/ptz/%3Cscript%3E"),
            get("/api/recordings/file?id=%3Cscript%3E"),
            get("/api/audio?format=%3Cscript%3E"),
            post("/api/ptz", "action=%3Cscript%3E"),
        ):
            head, _, body = raw(request)[1].partition(b"\r\n\r\n")
            expect(b"<script" not in body and b"nosniff" in head, f"not escaped: {request[:60]!r}: {body[:200]!r}")
        change("system", action="rename", name="Camera")


if __name__ == "__main__":
    unittest.main()
