"""A camera's client for the checks: requests by curl, and raw bytes by a socket."""
import json
import os
import socket
import subprocess
import sys
import urllib.parse

BASE = os.environ["CAMERA"]  # http://127.0.0.1:8080
HOST, PORT = urllib.parse.urlsplit(BASE).hostname, urllib.parse.urlsplit(BASE).port


def fail(text):
    sys.exit(f"camera: {text}")


def curl(*arguments, data=None):
    """Status, type and body."""
    done = subprocess.run(["curl", "-s", "-m", "60", "-w", "\n%{http_code} %{content_type}", *arguments],
                          input=data, stdout=subprocess.PIPE)
    body, _, last = done.stdout.rpartition(b"\n")
    status, _, kind = last.decode().partition(" ")
    return int(status), kind, body


def address(path, fields):
    return f"{BASE}/api/{path}" + ("?" + urllib.parse.urlencode(fields) if fields else "")


def fetch(path, kind="application/json", **fields):
    status, given, body = curl(address(path, fields))
    if status != 200 or given != kind:
        fail(f"GET {path} {fields}: {status} {given} {body[:200]}")
    return json.loads(body) if kind == "application/json" else body


def token():
    return fetch("ptz/token")["token"]


def change(path, expected=200, **fields):
    arguments = ["-H", f"X-Camera-Token: {token()}", "-H", f"Origin: {BASE}"]
    for name, value in fields.items():
        arguments += ["--data-urlencode", f"{name}={value}"]
    status, _, body = curl(*arguments, f"{BASE}/api/{path}")
    if status != expected:
        fail(f"POST {path} {fields}: {status} instead of {expected}: {body[:200]}")
    return json.loads(body) if status == 200 else body.decode()


def expect(truth, text):
    if not truth:
        fail(f"not so: {text}")


def raw(request):
    """Status and whole answer to some bytes; status 0 where the server hung up without one."""
    answer = b""
    with socket.create_connection((HOST, PORT), timeout=20) as line:
        try:
            line.sendall(request)
            line.shutdown(socket.SHUT_WR)
            while piece := line.recv(65536):
                answer += piece
        except ConnectionError:
            pass
    head = answer.split(b"\r\n", 1)[0].split()
    return int(head[1]) if len(head) > 1 and head[1].isdigit() else 0, answer
