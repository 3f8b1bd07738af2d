"""Requests that no page sends: each is refused with 4xx, or its text comes back escaped, and nothing is changed."""

import os
import unittest
from client import FORM, HOST, PORT, STATE, change, expect, fail, fetch, raw, token

secret = token()
own = f"http://{HOST}:{PORT}"
LONG = "a" * 9000


def get(path, extra=""):
    return f"GET {path} HTTP/1.0\r\nHost: {HOST}:{PORT}\r\n{extra}\r\n".encode("utf-8", "surrogateescape")


def post(path, body, kind=FORM, given=secret, origin=own, length=None, extra="", method="POST"):
    body = body if isinstance(body, bytes) else body.encode()
    head = f"{method} {path} HTTP/1.0\r\nHost: {HOST}:{PORT}\r\nContent-Type: {kind}\r\n{extra}"
    head += "" if length == "" else f"Content-Length: {len(body) if length is None else length}\r\n"
    head += f"X-Camera-Token: {given}\r\n" if given else ""
    head += f"Origin: {origin}\r\n" if origin else ""
    return head.encode() + b"\r\n" + body


def gets(prefix, words):
    return [get(prefix + word) for word in words.split()]


def posts(path, prefix, bodies):
    return [post(path, prefix + body) for body in bodies.split()]


stop = "action=stop"
requests = [
    # Traversal, and what does not exist.
    *gets(
        "/",
        """../../etc/passwd ..%2f..%2fetc/passwd api/../../etc/passwd api/ptz/../../../etc/passwd api/..%2fstate/token
        api/video/%2e%2e/%2e%2e/etc/passwd api/ api/nothing api/ptz.cpp api/ptzz api/ptz/nothing api/mask/%00 server.log
        .git/config %00 api/ptz%00 api/video/live/more api/system/url/x?text=a:b api/audio/../ptz/tokenn""",
    ),
    *gets(
        "/api/recordings/file",
        f"""?id= ?id=../token ?id=..%2Ftoken ?id=....//token ?id=%2Fetc%2Fpasswd ?id=2026-01-01/../../../token
        ?id={"a" * 70} ?id=2026-01-01/000000-snapshot-0000000g.jpg ?id=2026-01-01/000000-snapshot-00000000.jpg%00
        ?id=%C0%AE%C0%AE ?id=2026-01-01%2F000000-snapshot-00000000.jpg.new
        ?id=2026-01-01/000000-snapshot-00000000.jpg""",
    ),
    # Not numbers, or out of range.
    *gets(
        "/api/video?width=",
        f"""0 -1 63 1921 1e9 0x500 640.5 nan inf 1280%00 %201280 1280; 99999999999999999999 {"1" * 33} --64 %D9%A3""",
    ),
    *gets(
        "/api/",
        f"""video?pan=1 video?pan=1&tilt=91&fov=60 video?pan=0&tilt=0&fov=0 video/live?fps=26 video/live?frames=0
        video/live?adapt=2
        video?quality=101 video/raw?time=-1 video/raw?time=99999999999 audio?rate=7999 audio?rate=48001
        audio?format=mp3 audio?lobes=3 audio?container=basic&rate=16000 audio/live?seconds=0 audio/levels?count=65
        gamut/off?points=15 gamut/off?points=4097 fit/lens fit/lens?samples=1,1 fit/lens?samples=1,1;2,2;3,3;
        fit/lens?samples=1,1;2,2;3,999999 fit/exposure?samples=1;2;3;4;5;6 fit/exposure?samples={"1,1;" * 64}1,1
        recordings?pattern={"a" * 129} recordings?pattern=%FF system/url system/url?text=nothing system/code?text=%01
        system/code?text={"a" * 2049} system/code?text=%ED%A0%80""",
    ),
    # Long, binary, malformed.
    *[get("/" + LONG), get("/api/ptz?" + "a=b&" * 4000), get("/api/ptz", f"X: {LONG}\r\n"), b"\0\1\2\3\r\n\r\n"],
    *[b"GET\r\n\r\n", b"GET /api/ptz HTTP/1.1\r\n\r\n", b"GET /\xff\xfe HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n"],
    b"GET http:///api/ptz HTTP/1.1\r\nHost: \xff\r\n\r\n",
    # Requests of other sites, and those that reach the camera by another name (DNS rebinding).
    *[
        f"GET {path} HTTP/1.1\r\nHost: evil.example:{PORT}\r\nConnection: close\r\n\r\n".encode()
        for path in ("/", "/api/ptz/token", "/api/video")
    ],
    post("/api/ptz", stop, origin=f"http://evil.example:{PORT}").replace(HOST.encode(), b"evil.example", 1),
    *[get(f"/api/{path}", "Sec-Fetch-Site: cross-site\r\n") for path in ("video", "ptz/token")],
    *[post("/api/ptz", stop, given=given) for given in (None, "wrong", secret + "x")],
    *[
        post("/api/ptz", stop, origin=origin)
        for origin in ("http://evil.example", "null", f"https://{HOST}:{PORT}.evil.example")
    ],
    *[post("/api/ptz", stop, extra=f"Sec-Fetch-Site: {site}\r\n") for site in ("cross-site", "same-site")],
    # Changes in another form, or where nothing can be changed.
    *[post("/api/ptz", stop, kind=kind) for kind in ("text/plain", "multipart/form-data; boundary=x")],
    post("/api/ptz", '{"action":"stop"}', kind="application/json"),
    *[post("/api/ptz", stop, length=length) for length in ("", "-1", "x", "1e3")],
    *[post("/api/ptz", "a" * 200000), post("/api/ptz", "action=stop&x=" + "a" * 300000)],
    *[post("/api/ptz", stop, method=method) for method in ("PUT", "DELETE", "PATCH")],
    *[
        post(f"/api/{path}", stop)
        for path in ("video/live", "audio", "gamut/off", "fit/lens", "system/url", "recordings/file")
    ],
    # Changes without sense.
    *[post("/api/ptz", body) for body in ("", b"\xff\xfe\0\1", "action=save&name=%0D%0AX: y")],
    *posts(
        "/api/ptz",
        "action=",
        f"""explode move move&pan=nan&tilt=0 move&pan=0&tilt=91 move&pan=721&tilt=0 drive&pan=2 drive&pan=1&hold=3600
        nudge&zoom=99 save save&name= save&name={"a" * 81} save&name=%FF save&name=%00 recall&id=../token
        forget&id={"a" * 49} limits&left=0&right=0&low=10&high=-10 limits&left=-1&right=0&low=0&high=0
        patrol&dwell=0""",
    ),
    *posts(
        "/api/video",
        "",
        f"""curve=0,0 curve=0,0;255,256 curve=0,0;0,9;255,255 curve=0,0;1.5,9;255,255 curve=0,0;200,9
        curve={"0,0;" * 17}255,255 light=dusk grid=2 exposure=3 exposure=""",
    ),
    *posts(
        "/api/video/seen",
        "",
        "stream=0 stream=16&picture=1 stream=0&picture=-1 stream=9&picture=1&ago=61 stream=9&picture=1",
    ),
    *posts(
        "/api/mask",
        "action=add&name=a&corners=",
        f"""1,1;2,2 1,1;1,1;1,1 1,1;2,2;1,1 10,0;20,0;50,0;80,0 5,1;5,20;5,60 0,0;10,91;20,0 0,0;180,0;90,0 x
        {"1,1;" * 64}2,2""",
    ),
    *posts(
        "/api/mask",
        "action=",
        "add&name=a&corners= add&corners=1,1;2,2;3,1 change&id=none remove remove&id=%2E%2E%2Ftoken",
    ),
    *posts(
        "/api/recordings",
        "action=",
        """clip&seconds=21 clip&width=9999 snapshot&height=1 remove&id=../../token expire&days=-1 expire
        remove&id=2026-01-01/000000-snapshot-00000000.jpg""",
    ),
    *posts("/api/system", "action=", "set-time&time=-1 set-time&time=1e12 set-time rename&name= reboot"),
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
        print(f"hostile: {len(requests)} requests are refused")

    def test_escaped(self):
        script = "</script><script>alert(1)</script><img src=x onerror=alert(1)>\"'&"
        expect(change("system", action="rename", name=script)["name"] == script, "a name comes back whole")
        paths = """system system/code?text=%3Cscript%3E system/url?text=a:%3Cscript%3E %3Cscript%3E ptz/%3Cscript%3E
            recordings/file?id=%3Cscript%3E audio?format=%3Cscript%3E"""
        for request in (*gets("/api/", paths), post("/api/ptz", "action=%3Cscript%3E")):
            head, _, body = raw(request)[1].partition(b"\r\n\r\n")
            expect(b"<script" not in body and b"nosniff" in head, f"not escaped: {request[:60]!r}: {body[:200]!r}")
        change("system", action="rename", name="Camera")


if __name__ == "__main__":
    unittest.main()
