"""The command vela-camera: passwords, and the names that it answers to."""

import os
import subprocess
import tempfile
import unittest
from client import STATE, expect

COMMAND = os.path.join(os.path.dirname(__file__), "../server/vela-camera")


def serve(*options, script="true", data=None, state="server"):
    """Runs a script while it serves; its result, and what both have printed."""
    environment = dict(os.environ, CAMERA_STATE=f"{STATE}/{state}", PASSWORD="who:what: is it")
    command = [COMMAND, *options, "--", "sh", "-c", script]
    pipe = subprocess.PIPE
    done = subprocess.run(command, env=environment, input=data, stdout=pipe, stderr=subprocess.STDOUT, timeout=100)
    return done.returncode, done.stdout.decode()


class Server(unittest.TestCase):
    def test_password(self):
        script = """curl -s -o /dev/null -w '%{http_code} ' "$CAMERA/"
            curl -s -o /dev/null -w '%{http_code} ' -u "$PASSWORD" "$CAMERA/"
            ps -eo args | grep -c '[w]hat: is it' || true"""
        for source in ("file", "input"):
            with tempfile.NamedTemporaryFile() as file:
                file.write(b"who:what: is it\n")
                file.flush()
                name = file.name if source == "file" else "-"
                data = b"who:what: is it\n" if source == "input" else None
                result, output = serve("--password-file", name, script=script, data=data)
            # curl itself hides what it was given.
            expect(result == 0 and "401 200 0" in output, f"with a password from {source}: {result} {output}")

    def test_wrong_password(self):
        for data in (b"", b"who\n", b":what\n", b"who:what\nother:one\n"):
            result, output = serve("--password-file", "-", data=data)
            expect(result == 1 and "password" in output, f"a file {data} is accepted: {result} {output}")

    def test_warning(self):
        for options, data, is_warned in (
            (("--address", "0.0.0.0"), None, True),
            (("--address", "0.0.0.0", "--password-file", "-"), b"who:what\n", False),
            ((), None, False),
        ):
            output = serve(*options, data=data)[1]
            expect(("warning" in output) == is_warned, f"{options}: {output}")

    def test_video(self):
        """A real camera is shown, and nothing of it is left at the end."""
        film = f"{STATE}/film.mkv"
        made = ["-f", "lavfi", "-i", "testsrc2=s=256x128:d=1", "-f", "lavfi", "-i", "sine=d=1", "-c:v", "ffv1", film]
        subprocess.run(["ffmpeg", "-v", "error", *made], check=True)
        script = (
            """for i in $(seq 50); do
                settings=$(curl -s "$CAMERA/api/video/settings")
                case $settings in *'"age":0'*) break ;; esac
                sleep 0.2
            done
            echo "$settings $CAMERA_SOURCE"""
            + '"'
        )
        result, output = serve("--video", film, "--sound", "video", script=script)
        expect(result == 0 and '"kind":"camera","projection":"equirectangular","age":0' in output, f"{output}")
        directory = next(word for word in output.split() if word.startswith("/dev/shm/"))
        expect(not os.path.exists(directory), f"{directory} is left")
        done = subprocess.run(["ps", "-eo", "stat,args"], stdout=subprocess.PIPE).stdout.decode()
        left = [line for line in done.split("\n") if film in line and not line.startswith("Z")]
        expect(not left, f"these processes are left: {left}")
        for options in (("--sound", "video"), ("--fov", "90"), ("--video", film, "--projection", "fisheye")):
            expect(serve(*options)[0] == 1, f"{options} are accepted")

    def test_names(self):
        script = """for host in 127.0.0.1 localhost camera.example evil.example 127.0.0.1.evil.example; do
            curl -s -o /dev/null -w '%{http_code} ' -H "Host: $host:8080" "$CAMERA/api/ptz"; done"""
        output = serve("--name", "camera.example", script=script)[1]
        expect("200 200 200 403 403" in output, f"names: {output}")


if __name__ == "__main__":
    unittest.main()
