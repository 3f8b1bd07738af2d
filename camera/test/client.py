"""An HTTP client for the tests of a running camera: CAMERA is its address. Requests by curl, raw bytes by a socket."""

import json
import os
import socket
import subprocess
import urllib.parse

BASE = os.environ["CAMERA"]  # http://127.0.0.1:8080
HOST, PORT = urllib.parse.urlsplit(BASE).hostname, urllib.parse.urlsplit(BASE).port
PROGRAMS, STATE, SCENE = (os.environ[f"CAMERA_{name}"] for name in ("PROGRAMS", "STATE", "SCENE"))
EMULATOR = os.environ["CAMERA_EMULATOR"].split()
FORM = "application/x-www-form-urlencoded"


def fail(text):
    raise AssertionError(text)


def expect(truth, text):
    if not truth:
        fail(text)


def curl(*arguments, data=None):
    """Status, content type and body."""
    command = ["curl", "-s", "-m", "60", "-w", "\n%{http_code} %{content_type}", *arguments]
    done = subprocess.run(command, input=data, stdout=subprocess.PIPE)
    body, _, last = done.stdout.rpartition(b"\n")
    status, _, kind = last.decode().partition(" ")
    return int(status), kind, body


def address(path, fields):
    return f"{BASE}/api/{path}" + ("?" + urllib.parse.urlencode(fields) if fields else "")


def fetch(path, kind="application/json", **fields):
    status, actual, body = curl(address(path, fields))
    if status != 200 or actual != kind:
        fail(f"GET {path} {fields}: {status} {actual} {body[:200]}")
    return json.loads(body) if kind == "application/json" else body


def token():
    return fetch("ptz/token")["token"]


def change(path, expected=200, **fields):
    arguments = ["-H", f"X-Camera-Token: {token()}", "-H", f"Origin: {BASE}"]
    for name, value in fields.items():
        arguments += ["--data-urlencode", f"{name}={value}"]
    status, _, body = curl(*arguments, f"{BASE}/api/{path}")
    if status != expected:
        fail(f"POST {path} {fields}: {status}, expected {expected}: {body[:200]}")
    return json.loads(body) if status == 200 else body.decode()


def raw(request):
    """Status and whole answer to some bytes; status 0 when the server hung up without one."""
    answer = b""
    with socket.create_connection((HOST, PORT), timeout=20) as connection:
        try:
            connection.sendall(request)
            connection.shutdown(socket.SHUT_WR)
            while part := connection.recv(65536):
                answer += part
        except ConnectionError:
            pass
    words = answer.split(b"\r\n", 1)[0].split()
    return int(words[1]) if len(words) > 1 and words[1].isdigit() else 0, answer


def environment(state, path="", query="", body=b"", method=None, **more):
    """That of a CGI program for one request."""
    return {
        "PATH": os.environ["PATH"],
        "CAMERA_STATE": state,
        "CAMERA_SCENE": SCENE,
        "REQUEST_METHOD": method or ("POST" if body else "GET"),
        "PATH_INFO": path,
        "QUERY_STRING": query,
        "CONTENT_TYPE": FORM,
        "CONTENT_LENGTH": str(len(body)),
        "HTTP_X_CAMERA_TOKEN": "known",
        **more,
    }


def make_state(name):
    """A state directory for programs that are run without the server, with a known token."""
    path = f"{STATE}/{name}"
    os.makedirs(path)
    with open(f"{path}/token", "w") as file:
        file.write("known")
    return path
