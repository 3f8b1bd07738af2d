"""Live pictures over a slow link, and what another client has changed: both must arrive within a second."""

import http.client
import os
import queue
import socket
import threading
import time
import unittest
import urllib.parse
from client import HOST, PORT, change, expect, fetch, token

SECONDS = float(os.environ.get("CAMERA_LINK_SECONDS", "15"))
RATE = 1.5e6 / 8  # bytes a second
LATENCY = 0.1  # seconds, each way


def clock():
    """That of the times in pictures."""
    return time.clock_gettime(time.CLOCK_BOOTTIME)


class SlowLink:
    """A proxy of this rate and latency, with an endless buffer in front of the bottleneck."""

    def __init__(self):
        self.free_at = 0
        self.lock = threading.Lock()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            near = self.listener.accept()[0]
            far = socket.create_connection((HOST, PORT))
            self.pump(near, far, False)
            self.pump(far, near, True)

    def arrival(self, size, is_slow):
        if not is_slow:
            return time.monotonic() + LATENCY
        with self.lock:
            self.free_at = max(self.free_at, time.monotonic()) + size / RATE
            return self.free_at + LATENCY

    def pump(self, source, to, is_slow):
        pieces = queue.Queue()

        def read():
            piece = b"-"
            while piece:
                try:
                    piece = source.recv(1448)
                except OSError:
                    piece = b""
                pieces.put((self.arrival(len(piece), is_slow), piece))

        def write():
            while True:
                due, piece = pieces.get()
                time.sleep(max(0, due - time.monotonic()))
                try:
                    if not piece:
                        return to.shutdown(socket.SHUT_RDWR)
                    to.sendall(piece)
                except OSError:
                    return

        for run in (read, write):
            threading.Thread(target=run, daemon=True).start()


class Viewer:
    """Reads live pictures as the page does, and acknowledges them."""

    def __init__(self, port, adapt):
        self.port = port
        self.connection = http.client.HTTPConnection("127.0.0.1", port, timeout=20)
        self.connection.request("GET", f"/api/video/live?adapt={adapt}", headers={"Host": f"{HOST}:{PORT}"})
        self.answer = self.connection.getresponse()
        self.arrived = queue.Queue()
        if adapt:
            threading.Thread(target=self.acknowledge, args=(token(),), daemon=True).start()

    def acknowledge(self, secret):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=20)
        stream = self.answer.getheader("X-Camera-Stream")
        while seen := self.arrived.get():
            while seen and not self.arrived.empty():
                seen = self.arrived.get()
            if not seen:
                break
            number, arrived = seen
            form = urllib.parse.urlencode({"stream": stream, "picture": number, "ago": f"{clock() - arrived:.3f}"})
            fields = {"Host": f"{HOST}:{PORT}", "X-Camera-Token": secret}
            fields["Content-Type"] = "application/x-www-form-urlencoded"
            connection.request("POST", "/api/video/seen", form, fields)
            connection.getresponse().read()

    def pictures(self, seconds):
        """Yields the header fields of each picture, with its delay and size."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            fields = {}
            while line := self.answer.readline().strip():
                name, _, value = line.decode().partition(": ")
                fields[name] = value
            if "Content-Length" not in fields:
                continue
            picture = dict(urllib.parse.parse_qsl(fields["X-Camera-Picture"]))
            self.answer.read(int(fields["Content-Length"]))
            fields.update(delay=clock() - float(picture["time"]), size=int(fields["Content-Length"]))
            self.arrived.put((picture["number"], clock()))
            yield fields
        self.arrived.put(None)
        self.answer.close()


class Link(unittest.TestCase):
    def test_slow_link(self):
        plain = [each["delay"] for each in Viewer(SlowLink().port, 0).pictures(5)]
        expect(max(plain) > 2, f"a stream that does not adapt is late on this link: {max(plain):.2f} s")
        pictures = list(Viewer(SlowLink().port, 1).pictures(SECONDS))
        delays = sorted(each["delay"] for each in pictures)
        rate, size = len(pictures) / SECONDS, sum(each["size"] for each in pictures) / len(pictures)
        print(
            f"link: 1.5 Mbit/s for {SECONDS:.0f} s: {rate:.1f} pictures a second of {size / 1000:.1f} kB, "
            f"half of them at most {delays[len(delays) // 2]:.2f} s late, all {delays[-1]:.2f} s"
        )
        expect(delays[-1] < 1, f"a picture is {delays[-1]:.2f} s late")
        expect(rate > 5 and rate * size > RATE / 3, "the link is hardly used")

    def test_fast_link(self):
        pictures = list(Viewer(PORT, 1).pictures(5))
        best = len(fetch("video", "image/jpeg"))
        largest = max(each["size"] for each in pictures)
        expect(largest > best * 0.9, f"a fast link carries the best pictures, of {best} bytes, not {largest}")
        print(f"link: {len(pictures) / 5:.1f} pictures a second on a fast link")

    def test_two_clients(self):
        """What one changes, the revisions in the other's pictures say."""
        masks = {"action": "add", "name": "a", "corners": "30,0;50,0;50,10"}
        changes = (("mask", masks), ("video", {"grid": 1}), ("recordings", {"action": "snapshot"}))
        changes += (("system", {"action": "rename", "name": "b"}), ("ptz", {"action": "save", "name": "c"}))
        fetch("system")  # makes its file
        before, latest = fetch("ptz")["revisions"], 0
        for path, fields in changes:
            made = []
            maker = threading.Thread(target=lambda: (change(path, **fields), made.append(clock())))
            changed = {}
            for picture in Viewer(PORT, 0).pictures(20):
                now = dict(urllib.parse.parse_qsl(picture["X-Camera-Revisions"]))
                if not maker.ident:
                    expect(now == before, f"nothing has changed before {path}")
                    maker.start()
                changed = {name for name in now if now[name] != before[name]}
                if changed:
                    break
            maker.join()
            late = clock() - made[0]
            expect(changed == {path} and late < 1, f"{path}: {changed} has changed after {late:.2f} s")
            latest = max(latest, late)
            before = fetch("ptz")["revisions"]
        print(f"link: another client is told of changes within {latest:.2f} s")
        change("video", grid=0)
        change("system", action="rename", name="Camera")


if __name__ == "__main__":
    unittest.main()
