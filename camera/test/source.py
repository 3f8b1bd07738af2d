"""Real cameras: files that ffmpeg makes of the scene, by another implementation of their projections, show the same."""

import json
import os
import shutil
import signal
import subprocess
import time
import unittest
import urllib.parse
from pathlib import Path
from client import EMULATOR, PROGRAMS, SCENE, STATE, environment, expect, make_state

READER = os.environ["CAMERA_READER"]
WIDTH = int((os.stat(f"{SCENE}/day.ycc").st_size) ** 0.5)  # of the scene, twice its height
# The scene's own colours, so that nothing is converted.
COLOURS = "scale=in_range=full:out_range=full:in_color_matrix=bt601:out_color_matrix=bt601"
MARKED = "format=yuv422p,setparams=range=pc:colorspace=smpte170m"
TONE = 1000  # hertz
VIEWS = ({"pan": 190, "tilt": 8, "fov": 50}, {"pan": 165, "tilt": -10, "fov": 20}, {"pan": 180, "tilt": 0, "fov": 62})


SIZE = {"width": 320, "height": 180}


def make_film(name, conversion="null", frames=20):
    """The scene without what moves in it, with a tone."""
    path = f"{STATE}/{name}.mkv"
    size = ["-f", "rawvideo", "-pix_fmt", "uyvy422", "-s", f"{WIDTH}x{WIDTH // 2}", "-r", "10"]
    inputs = [
        "-stream_loop",
        str(frames - 1),
        *size,
        "-i",
        f"{SCENE}/day.ycc",
        "-f",
        "lavfi",
        "-i",
        f"sine=f={TONE}:d={frames / 10}",
    ]
    output = ["-vf", f"{COLOURS},{conversion},{MARKED}", "-c:v", "ffv1", "-color_range", "pc", "-c:a", "pcm_s16le"]
    subprocess.run(["ffmpeg", "-v", "error", "-y", *inputs, *output, "-shortest", path], check=True)
    return path


def run(program, path, source="", state="known", **fields):
    """The body that a program answers with."""
    query = urllib.parse.urlencode(fields)
    variables = environment(f"{STATE}/{state}", path, query, CAMERA_SOURCE=source)
    done = subprocess.run([*EMULATOR, f"{PROGRAMS}/{program}"], env=variables, stdout=subprocess.PIPE)
    head, _, body = done.stdout.partition(b"\r\n\r\n")
    expect(head.startswith(b"Status: 200"), f"{program}{path}: {head}")
    return body


def difference(one, other):
    """The mean of all bytes, without the rows of the stamp."""
    first = len(one) // 10
    return sum(abs(a - b) for a, b in zip(one[first:], other[first:])) / len(one[first:])


def wait_until(predicate, text):
    end = time.monotonic() + 25
    while not predicate():
        expect(time.monotonic() < end, text)
        time.sleep(0.2)


class Reader:
    """The program that reads a source, with what it shows."""

    def __init__(self, name, *options):
        self.directory = f"{STATE}/{name}.source"
        os.makedirs(self.directory)
        Path(f"{self.directory}/video").touch()
        self.log = open(f"{self.directory}/log", "w+")
        self.process = subprocess.Popen([READER, *options, self.directory], stderr=self.log)

    def picture(self, **view):
        return run("video", "/raw", self.directory, time=1000000000, **SIZE, **view)

    def children(self):
        done = subprocess.run(["ps", "-o", "pid=", "--ppid", str(self.process.pid)], stdout=subprocess.PIPE)
        return [int(each) for each in done.stdout.split()]

    def __enter__(self):
        wait_until(lambda: os.path.getsize(f"{self.directory}/video"), "a picture comes")
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.log.close()


class Source(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        state = make_state("known")
        shutil.copy(f"{SCENE}/day.ycc", f"{state}/panorama.ycc")
        cls.expected = [run("video", "/raw", time=1000000000, **SIZE, **view) for view in VIEWS]

    def compare(self, reader, limit):
        worst = max(difference(reader.picture(**view), same) for view, same in zip(VIEWS, self.expected))
        expect(worst <= limit, f"pictures differ by {worst:.2f} in the mean of all bytes, {limit} is allowed")
        return worst

    def test_panorama(self):
        film = make_film("panorama")
        with Reader("panorama", "--video", film, "--sound", film) as reader:
            self.compare(reader, 0)
            self.check_sound(reader)
            self.check_endings(reader)

    def check_sound(self, reader):
        time.sleep(1)
        body = run("audio", "/live", reader.directory, rate=16000, seconds=2)
        samples = memoryview(body[46:]).cast("h")
        crossings = sum((a < 0) != (b < 0) for a, b in zip(samples, samples[1:]))
        expect(len(samples) == 32000, f"two seconds: {len(samples)} samples")
        silent = [at for at in range(0, 32000, 160) if max(samples[at : at + 160]) < 1000]
        expect(not silent, f"the tone has gaps at {silent}")
        expect(
            abs(crossings / 4 - TONE) < TONE / 50,
            f"a tone of {TONE} Hz crosses zero {crossings / 2:.0f} times a second",
        )
        levels = json.loads(run("audio", "/levels", reader.directory, count=8))["levels"]
        expect(all(-25 < each["rms"] < -15 for each in levels), f"its level: {levels}")

    def check_endings(self, reader):
        """ffmpeg is killed: it is started again. It is stopped: the picture says so, and it is started again."""

        def marked():
            return difference(reader.picture(**VIEWS[0]), self.expected[0])

        for number in (signal.SIGKILL, signal.SIGSTOP):
            before = reader.children()
            for child in before:
                os.kill(child, number)
            if number == signal.SIGSTOP:
                wait_until(lambda: 0.3 < marked() < 10, "a source that stalls is said on the picture")
            wait_until(lambda: len(set(reader.children()) - set(before)) == 2, "ffmpeg is started again")
            wait_until(lambda: marked() == 0, "the picture is back")
        reader.log.seek(0)
        log = reader.log.read()
        expect("has ended; trying again in 1 s" in log and "10 seconds; trying" in log, f"what happened: {log}")
        left = reader.children()
        reader.process.kill()
        reader.process.wait()
        time.sleep(0.5)
        expect(left and not any(os.path.exists(f"/proc/{child}/exe") for child in left), "ffmpeg ends with its reader")

    def test_lenses(self):
        size = WIDTH // 2
        centre = size / 2 - 0.5
        lenses = {
            "fisheye": ("h_fov=180:v_fov=180", {"model": "fisheye", "fx": size / 3.141592653589793}),
            "pinhole": ("h_fov=90:v_fov=90", {"fx": size / 2}),
        }
        for projection, (angles, lens) in lenses.items():
            form = {"fisheye": "fisheye", "pinhole": "flat"}[projection]
            film = make_film(projection, f"v360=e:{form}:{angles}:w={size}:h={size}:interp=cubic", frames=3)
            file = Path(f"{STATE}/{projection}.json")
            file.write_text(json.dumps({**lens, "cx": centre, "cy": centre}))
            options = ["--video", film, "--projection", projection, "--lens", str(file), "--aim"]
            with Reader(projection, *options, "180,0") as reader:
                right = self.compare(reader, 3)
                pans, _, zooms = json.loads(run("ptz", "", reader.directory))["reach"]
                seen = [pans[0], pans[1], 2 ** zooms[1]]
                allowed = {"fisheye": [90, 270, 110], "pinhole": [135, 225, 90]}[projection]
                expect(all(abs(a - b) < 0.2 for a, b in zip(seen, allowed)), f"{projection}: as far as it sees: {seen}")
            with Reader(f"{projection} aside", *options, "181,0") as reader:
                wrong = difference(reader.picture(**VIEWS[0]), self.expected[0])
            expect(wrong > 2 * right, f"one degree aside is noticed: {wrong:.2f}, not {right:.2f}")
            print(f"source: {projection}: pictures differ from the scene's own by {right:.2f} of 255 in the mean")

    def test_options(self):
        for options in (
            ["--projection", "mercator"],
            ["--projection", "fisheye"],
            ["--lens", "/nowhere"],
            ["--aim", "1"],
            ["--aim", "1,91"],
        ):
            done = subprocess.run([READER, "--video", "x", *options, STATE], stderr=subprocess.PIPE, timeout=10)
            expect(done.returncode == 2 and options[0].encode() in done.stderr, f"{options}: {done}")


if __name__ == "__main__":
    unittest.main()
