"""Every call of the camera, as a client uses it; sound and pictures are read by FFmpeg."""

import base64
import json
import re
import subprocess
import tempfile
import time
import unittest
from pathlib import Path
from client import BASE, EMULATOR, PROGRAMS, address, change, curl, environment, expect, fetch, make_state


def probe(*arguments, stream=0):
    done = subprocess.run(
        ["ffprobe", "-v", "error", "-of", "json", "-show_streams", *arguments], stdout=subprocess.PIPE
    )
    streams = json.loads(done.stdout)["streams"]
    return streams if stream is None else streams[stream]


def samples(sound, *how):
    """What ffmpeg makes of a sound, or of a file among its options: 16-bit numbers."""
    source = () if sound is None else ("-i", "-")
    command = ["ffmpeg", "-v", "error", *how, *source, "-f", "s16le", "-"]
    done = subprocess.run(command, input=sound, stdout=subprocess.PIPE)
    return memoryview(done.stdout).cast("h")


def saved(body, suffix):
    file = tempfile.NamedTemporaryFile(suffix=suffix)
    file.write(body)
    file.flush()
    return file


class Calls(unittest.TestCase):
    def test_movement(self):
        change("ptz", action="limits", left=0, right=0, low=-90, high=90)
        change("ptz", action="move", pan=90, tilt=10, fov=40)
        passing = fetch("ptz")
        expect(passing["moving"], "a move takes its time")
        expect(passing["reach"][1] == [-90, 90] and passing["plan"]["begun"] <= passing["now"], f"its plan: {passing}")
        time.sleep(2.5)
        there = fetch("ptz")
        expect(
            [there[axis] for axis in ("pan", "tilt", "fov")] == [90, 10, 40] and not there["moving"],
            f"arrived: {there}",
        )
        change("ptz", action="drive", pan=1, hold=0.2)
        time.sleep(0.2)
        expect(fetch("ptz")["moving"], "it drives")
        time.sleep(1.5)
        expect(not fetch("ptz")["moving"], "it stops when nobody asks it to go on")
        change("ptz", action="drive", zoom=1, hold=0.2)
        time.sleep(1)
        expect(fetch("ptz")["fov"] < 40, "zooming in narrows the view")
        change("ptz", action="nudge", pan=-5, tilt=2, zoom=0.5)
        change("ptz", action="stop")
        ids = [each["id"] for each in change("ptz", action="save", name="one")["presets"]]
        change("ptz", action="home")
        ids += [each["id"] for each in change("ptz", action="save", name="ü <2>")["presets"] if each["id"] not in ids]
        expect(change("ptz", action="patrol", dwell=1)["patrol"], "it patrols")
        expect(not change("ptz", action="recall", id=ids[-1])["patrol"], "a move ends the patrol")
        for one in ids:
            change("ptz", action="forget", id=one)
        change("ptz", 404, action="recall", id=ids[0])
        change("ptz", 409, action="patrol")
        change("ptz", action="limits", left=300, right=60, low=-20, high=30)
        change("ptz", action="move", pan=170, tilt=80)
        time.sleep(4)
        held = fetch("ptz")
        expect(held["pan"] == 60 and held["tilt"] == 30, f"the camera stops at the nearest limit: {held}")
        change("ptz", action="limits", left=0, right=0, low=-90, high=90)
        change("ptz", action="home")
        time.sleep(3)
        change("ptz", action="set-home")

    def test_pictures(self):
        with saved(fetch("video", "image/jpeg"), ".jpg") as file:
            one = probe(file.name)
            expect((one["codec_name"], one["width"], one["height"]) == ("mjpeg", 1280, 720), f"a picture: {one}")
        expect(fetch("video", "image/jpeg").endswith(b"\xff\xd9"), "a JPEG ends with its last marker")
        head = curl("-D", "-", "-o", "/dev/null", address("video", {}))[2].decode()
        parts = re.findall(r"(\w+);dur=([0-9.]+)", re.search(r"Server-Timing: (.*)", head)[1])
        whole = sum(float(cost) for _, cost in parts)
        print(
            f"video: a picture of 1280 x 720 in {whole:.1f} ms of processor time:",
            ", ".join(f"{name} {cost}" for name, cost in parts),
        )
        begun = time.monotonic()
        stream = fetch(
            "video/live", "multipart/x-mixed-replace; boundary=vela-picture", width=640, height=360, frames=50
        )
        lasted = time.monotonic() - begun
        done = subprocess.run(
            ["ffprobe", "-v", "error", "-f", "mpjpeg", "-count_frames", "-of", "json", "-show_streams", "-"],
            input=stream,
            stdout=subprocess.PIPE,
        )
        count = json.loads(done.stdout)["streams"][0]["nb_read_frames"]
        expect(count == "50", f"ffprobe counts 50 pictures: {count}")
        print(f"video: 50 pictures of a stream in {lasted:.2f} s, {50 / lasted:.1f} a second, counted by ffprobe")
        before = fetch("video/settings")
        after = change("video", light="night", grid=1, stamp=0, exposure=0.5, curve="0,0;128,150;255,255")
        expect(
            after["night"] and after["grid"] and not after["stamp"] and after["levels"][128] > 150, "settings are kept"
        )
        change(
            "video",
            light=before["light"],
            grid=int(before["grid"]),
            stamp=int(before["stamp"]),
            exposure=before["exposure"],
            curve=";".join(f"{x},{y}" for x, y in before["curve"]),
        )
        expect(len(fetch("video/raw", "application/octet-stream", width=64, height=36)) == 64 * 36 * 3, "a raw picture")

    def test_masks(self):
        view = {"pan": 40, "tilt": 5, "fov": 60, "width": 640, "height": 360}
        made = change("mask", action="add", name='a "mask" & <more>', corners="30,0;50,0;50,10;30.123456,10")
        expect(made["masks"][-1]["corners"][3] == [30.123456, 10], f"corners come back exactly: {made}")

        def middle():
            body = fetch("video/raw", "application/octet-stream", **view)
            return body[3 * (640 * 180 + 320) :][:3]

        expect(middle() == b"\0\0\0", "the mask is burnt in")
        recorded = change("recordings", action="snapshot", width=640, height=360)["added"]
        with saved(fetch("recordings/file", "image/jpeg", id=recorded), ".jpg") as file:
            expect(probe(file.name)["width"] == 640, "a snapshot is kept")
        change("mask", action="change", id=made["added"], on=0)
        expect(middle() != b"\0\0\0", "switched off, it is not")
        change("mask", action="change", id=made["added"], on=1, name="again")
        change("mask", action="remove", id=made["added"])
        change("recordings", action="remove", id=recorded)
        change("mask", 404, action="remove", id=made["added"])

    def check_clip(self, body, suffix, codecs):
        """Ten pictures in a second, with sound."""
        with saved(body, suffix) as file:
            pictures, sound = probe("-count_frames", file.name, stream=None)
            expect((pictures["codec_name"], sound["codec_name"]) == codecs, f"{suffix}: {pictures} {sound}")
            seconds, count = float(pictures["duration"]), int(pictures["nb_read_frames"])
            expect(0.95 < seconds < 1.3 and 5 <= count <= 11, f"{suffix}: {count} pictures in {seconds} s")
            heard = samples(None, "-i", file.name, "-ar", "16000")
            expect(abs(len(heard) / 16000 - seconds) < 0.1, f"{suffix}: {len(heard)} samples in {seconds} s")

    def test_recordings(self):
        clip = change("recordings", action="clip", seconds=1)["added"]
        expect(
            [each["id"] for each in fetch("recordings", pattern="2???-*clip")["recordings"]] == [clip],
            "a clip is found",
        )
        expect(fetch("recordings", pattern="[c]lip")["recordings"] == [], "what has no such text is not")
        film = fetch("recordings/file", "video/mp4", id=clip)
        self.check_clip(film, ".mp4", ("h264", "aac"))
        part = curl("-r", "100-199", address("recordings/file", {"id": clip}))
        expect(part[0] == 206 and part[2] == film[100:200], f"a part of a clip: {part[:2]}")
        fetch("recordings/thumb", "image/jpeg", id=clip)
        change("recordings", action="expire", days=3650)
        change("recordings", action="remove", id=clip)
        state, body = make_state("clip"), b"action=clip&seconds=1"
        subprocess.run(
            [*EMULATOR, f"{PROGRAMS}/recordings"], env=environment(state, body=body), input=body, stdout=subprocess.PIPE
        )
        (file,) = Path(state).glob("recordings/*/*.avi")
        self.check_clip(file.read_bytes(), ".avi", ("mjpeg", "pcm_s16le"))

    def test_sounds(self):
        plain = samples(fetch("audio", "audio/wav", rate=22050))
        for form, codec in (("wav", "pcm_s16le"), ("alaw", "pcm_alaw"), ("ulaw", "pcm_mulaw")):
            for rate, lobes in ((8000, 2), (44100, 16), (12345, 16), (48000, 2)):
                body = fetch("audio", "audio/wav", rate=rate, format=form, lobes=lobes)
                sizes = [int.from_bytes(body[at : at + 4], "little") for at in (4, 42)]
                expect(sizes == [len(body) - 8, len(body) - 46], f"sizes in a WAV file of {len(body)} bytes: {sizes}")
                with saved(body, ".wav") as file:
                    one = probe(file.name)
                    expect((one["codec_name"], one["sample_rate"]) == (codec, str(rate)), f"{form} at {rate}: {one}")
                    seconds = float(one["duration"])
                    expect(abs(seconds - len(plain) / 22050) < 0.01, f"{form} at {rate} lasts {seconds}")
        # The same sound through either law, as another program decodes them: within the laws' own step.
        linear = samples(fetch("audio", "audio/wav", rate=8000))
        for form in ("alaw", "ulaw"):
            coded = samples(fetch("audio", "audio/wav", rate=8000, format=form))
            noise = sum((a - b) ** 2 for a, b in zip(linear, coded)) / sum(a * a for a in linear)
            expect(len(coded) == len(linear) and noise < 0.001, f"{form} is {noise} beside")
        basic = samples(fetch("audio", "audio/basic", container="basic"), "-f", "mulaw", "-ar", "8000")
        expect(
            basic == samples(fetch("audio", "audio/wav", rate=8000, format="ulaw")), "audio/basic is the same mu-law"
        )
        begun = time.monotonic()
        for _ in range(5):  # the voice pauses
            live = samples(fetch("audio/live", "audio/wav", rate=16000, seconds=2))
            expect(len(live) == 32000, f"two seconds live: {len(live)} samples")
            if any(live):
                break
        expect(len({tuple(live[at : at + 800]) for at in range(0, len(live), 800)}) > 1, "live sound goes on")
        print(
            f"audio: {len(live)} samples live in {time.monotonic() - begun:.1f} s; "
            "12 rates and formats read by ffprobe, decoded sound compared"
        )
        levels = fetch("audio/levels", count=8)["levels"]
        expect(
            len(levels) == 8 and all(-96 <= each["rms"] <= each["peak"] <= 0 for each in levels), f"levels: {levels}"
        )

    def test_measurements(self):
        off = fetch("gamut/off", "text/plain; charset=utf-8", points=500).decode().split()
        expect(off[0] == "OFF" and int(off[2]) == 2 * int(off[1]) - 4, "the hull is a closed surface of triangles")
        lens = fetch("fit/lens", samples="10,10;600,300;1200,500;900,700")
        expect(
            abs(lens["coefficients"][1] / lens["expected"] - 1) < 1e-3 and lens["rms"] < 0.01, f"the lens' line: {lens}"
        )
        points = ";".join(f"{x},{y}" for x in (50, 640, 1200) for y in (30, 360, 690))
        exposure = fetch("fit/exposure", samples=points)
        expect(
            all(abs(each["value"] - each["fitted"] - each["residual"]) < 1e-4 for each in exposure["samples"]),
            "residuals",
        )
        squares = [each["residual"] ** 2 for each in exposure["samples"]]
        expect(abs(exposure["rms"] - (sum(squares) / len(squares)) ** 0.5) < 1e-3, "the RMS residual")
        expect(
            curl(address("fit/exposure", {"samples": ";".join(f"{x},5" for x in range(0, 60, 10))}))[0] == 409,
            "samples on a line determine no surface",
        )

    def test_system(self):
        first = fetch("system")
        change("system", action="set-time", time=1000000000)
        expect(abs(fetch("system")["time"] - 1000000000) < 5, "the clock is set")
        change("system", action="reset-time")
        expect(abs(fetch("system")["time"] - time.time()) < 5, "and set back")
        change("video", light="auto")
        for hour, is_night in ((6, True), (8, False), (17, False), (20, True)):
            change("system", action="set-time", time=time.mktime((2026, 6, 1, hour, 30, 0, 0, 0, -1)))
            expect(fetch("video/settings")["night"] == is_night, f"night at {hour}:30")
        change("system", action="reset-time")
        change("video", light="day")
        expect(int(first["mac"][:2], 16) & 3 == 2, f"a local address of one device: {first['mac']}")
        expect(change("system", action="rename", name="<gate>")["name"] == "<gate>", "a name")
        change("system", action="rename", name=first["name"])
        parts = fetch("system/url", text="http://u:p@h:80/a%20b?c=d+e&c=f#g")
        expect(parts["parameters"] == [["c", "d e"], ["c", "f"]] and parts["port"] == "80", f"a URL's parts: {parts}")
        code = fetch("system/code", text="a b/ü")
        expect(
            (code["form"], code["segment"], base64.b64decode(code["base64"]).decode())
            == ("a+b%2F%C3%BC", "a%20b%2F%C3%BC", "a b/ü"),
            f"codes: {code}",
        )
        shot = fetch("system/snapshot", width=64, height=36)
        expect(len(base64.b64decode(shot["base64"])) == shot["bytes"], "a snapshot in Base64")
        sums = fetch("system/checksums")
        expect(sums == fetch("system/checksums") and len(sums["modules"]) == 12, "checksums repeat")

    def test_page(self):
        head = subprocess.run(["curl", "-s", "-I", BASE + "/"], stdout=subprocess.PIPE).stdout.decode().lower()
        for field in (
            "content-security-policy: default-src 'none'",
            "x-content-type-options: nosniff",
            "x-frame-options: deny",
        ):
            expect(field in head, f"the page's head has {field}")


if __name__ == "__main__":
    unittest.main()
