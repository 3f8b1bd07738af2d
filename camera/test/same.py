"""The same requests give the same bytes, before anything is encoded, from the device's programs and from native ones.

usage: same.py NATIVE_PROGRAMS
"""

import json
import subprocess
import sys
from client import EMULATOR, PROGRAMS, environment, expect, make_state

VIEWS = ((1280, 720, 38, 4, 62), (641, 361, 0, 85, 110), (640, 360, 300.7, -40, 33), (1920, 1080, 45, 12, 2))

state = make_state("same")


def run(command, path, query="", body=b""):
    done = subprocess.run(command, env=environment(state, path, query, body), input=body, stdout=subprocess.PIPE)
    head, _, answer = done.stdout.partition(b"\r\n\r\n")
    expect(done.returncode == 0 and head.startswith(b"Status: 200"), f"{command} {path}?{query}: {done.stdout[:200]}")
    return answer


run([f"{sys.argv[1]}/mask"], "", body=b"action=add&name=a&corners=20,-10;60,-8;55,20;30,15")
requests = [
    ("video", "/raw", f"time={1000000000 + i}.25&width={width}&height={height}&pan={pan}&tilt={tilt}&fov={fov}")
    for i, (width, height, pan, tilt, fov) in enumerate(VIEWS)
]
requests += [
    ("audio", "", "rate=48000&format=alaw"),
    ("audio", "", "rate=12345&format=wav&lobes=2"),
    ("mask", "", ""),
    ("fit", "/lens", "pan=38&tilt=4&fov=62&samples=10,10;600,300;1200,500"),
    ("system", "/checksums", ""),
]
for program, path, query in requests:
    native = run([f"{sys.argv[1]}/{program}"], path, query)
    device = run([*EMULATOR, f"{PROGRAMS}/{program}"], path, query)
    if path == "/checksums":
        native, device = (json.loads(answer)["modules"] for answer in (native, device))
    expect(native == device, f"{program}{path}?{query}: other bytes")
print(f"same: {len(requests)} answers of both builds are the same, byte by byte")
