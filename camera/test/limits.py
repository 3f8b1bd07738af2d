"""What one client may take: memory and time of programs, connections, and the disk."""

import os
import resource
import socket
import subprocess
import time
import unittest
import urllib.parse
from client import HOST, PORT, PROGRAMS, address, change, curl, environment, expect, fetch, make_state

SERVER = os.environ["SERVER"]


def connect(source="127.0.0.1"):
    return socket.create_connection((HOST, PORT), timeout=20, source_address=(source, 0))


def still_sends(client):
    try:
        return client.send(b"x") == 1
    except OSError:
        return False


def programs():
    done = subprocess.run(["ps", "-o", "pid=", "--ppid", SERVER], stdout=subprocess.PIPE)
    return done.stdout.decode().split()


def wait_until(predicate, seconds):
    end = time.monotonic() + seconds
    while not predicate() and time.monotonic() < end:
        time.sleep(0.5)
    return predicate()


class Limits(unittest.TestCase):
    def test_search(self):
        """Nested repetitions, of which a regular expression would take 386 MB."""
        change("recordings", action="snapshot", width=64, height=36)
        pattern = "(" * 19 + "x" + "+)" * 19
        state = make_state("search")
        os.makedirs(f"{state}/recordings/2026-01-01")
        with open(f"{state}/recordings/2026-01-01/000000-snapshot-00000000.jpg", "w"):
            pass
        query = urllib.parse.urlencode({"pattern": pattern})
        subprocess.run([f"{PROGRAMS}/recordings"], env=environment(state, query=query), stdout=subprocess.DEVNULL)
        peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024
        expect(peak < 64, f"a search takes {peak:.0f} MB")

    def test_resources(self):
        """Of a running program."""
        with connect() as client:
            client.sendall(f"GET /api/video/live HTTP/1.0\r\nHost: {HOST}:{PORT}\r\n\r\n".encode())
            client.recv(1000)
            with open(f"/proc/{programs()[0]}/limits") as file:
                limits = {line[:25].strip(): line[26:47].strip() for line in file}
        expect(int(limits["Max address space"].replace("unlimited", "-1")) > 0, "memory is not limited")
        expect(int(limits["Max cpu time"].replace("unlimited", "-1")) > 0, "processor time is not limited")

    def test_slow_requests(self):
        """More clients than the server holds, of one address, that send a header byte by byte: others are served, and
        these are disconnected, although they go on."""
        resource.setrlimit(resource.RLIMIT_NOFILE, (4096, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))
        clients = [connect("127.0.0.2") for _ in range(1100)]
        left, slowest, end = clients, 0, time.monotonic() + 60
        try:
            for client in clients:
                client.sendall(b"GET / HTTP/1.1\r\nX: ")
            while left and time.monotonic() < end:
                begin = time.monotonic()
                status = curl("-m", "10", address("system", {}))[0]
                expect(status == 200, f"meanwhile another client gets {status}")
                slowest = max(slowest, time.monotonic() - begin)
                time.sleep(1)
                left = [client for client in left if still_sends(client)]
            expect(not left, f"{len(left)} are connected after a minute")
            print(f"limits: with {len(clients)} slow clients, one of another address waited at most {slowest:.2f} s")
        finally:
            for client in clients:
                client.close()

    def test_unread_streams(self):
        """50 clients of one address that read nothing: not all get a program, and these end."""
        clients = [connect() for _ in range(50)]
        try:
            path = "/api/video/live?width=1920&height=1200&quality=100"
            for client in clients:
                client.sendall(f"GET {path} HTTP/1.0\r\nHost: {HOST}:{PORT}\r\n\r\n".encode())
            time.sleep(5)
            count = len(programs())
            expect(10 < count <= 16, f"{count} programs run for one address")
            begin = time.monotonic()
            other = ["--interface", "127.0.0.2", "-m", "15", address("system", {})]
            expect(curl(*other)[0] == 200, "a client of another address is not served")
            waited = time.monotonic() - begin
            expect(wait_until(lambda: not programs(), 60), f"{len(programs())} programs are left after 60 s")
            print(f"limits: with {count} unread streams, a client of another address waited {waited:.2f} s")
        finally:
            for client in clients:
                client.close()

    def test_full_disk(self):
        """Recordings leave space for everything else. The disk has 3 MB, in a namespace of its own."""
        script = """mount -t tmpfs -o size=3m none "$0" && printf known >"$0/token" && export CAMERA_STATE="$0"
            body='action=snapshot' && export CONTENT_LENGTH=${#body}
            for i in $(seq 60); do printf %s "$body" | "$1/recordings" >/dev/null; done
            body='action=add&name=a&corners=1,1;9,1;9,9' && export CONTENT_LENGTH=${#body}
            printf %s "$body" | "$1/mask" | head -n 1
            df --output=avail "$0" | tail -n 1"""
        state = make_state("full")
        flags = ["-m"] if os.getuid() == 0 else ["-rm"]
        command = ["unshare", *flags, "sh", "-c", script, state, PROGRAMS]
        done = subprocess.run(command, env=environment(state, method="POST"), stdout=subprocess.PIPE)
        status, available = done.stdout.decode().strip().split("\n")
        expect(status.strip() == "Status: 200 OK", f"adding a mask: {status}")
        expect(int(available) > 200, f"{available} KiB of 3 MB are left")

    def test_files(self):
        """Nobody else can read the state, and links in it are not followed."""
        fetch("system")
        for path, _, names in os.walk(os.environ["CAMERA_STATE"]):
            expect(os.stat(path).st_mode & 0o777 == 0o700, f"{path} has mode {os.stat(path).st_mode & 0o777:o}")
            for name in names:
                mode = os.stat(f"{path}/{name}").st_mode & 0o777
                expect(mode == 0o600, f"{path}/{name} has mode {mode:o}")
        state = make_state("links")
        victim = f"{state}/victim"
        for name in ("lock", "presets.new"):
            os.symlink(victim, f"{state}/{name}")
            body = b"action=save&name=a"
            command = [f"{PROGRAMS}/ptz"]
            subprocess.run(command, env=environment(state, body=body), input=body, stdout=subprocess.DEVNULL)
            expect(not os.path.exists(victim), f"the link {name} was followed")
            if os.path.lexists(f"{state}/{name}"):
                os.remove(f"{state}/{name}")


if __name__ == "__main__":
    unittest.main()
