"""The same requests give the same bytes, before anything is encoded, from two builds of the programs.

usage: same.py PROGRAMS OTHERS SCENE FOLDER EMULATOR...
"""
import json
import os
import shutil
import subprocess
import sys

ours, theirs, scene, folder, *emulator = sys.argv[1:]
shutil.rmtree(folder, ignore_errors=True)
os.makedirs(folder)
with open(f"{folder}/token", "w") as file:
    file.write("known")
environment = {"PATH": os.environ["PATH"], "CAMERA_STATE": folder, "CAMERA_SCENE": scene, "HTTP_X_CAMERA_TOKEN": "known",
               "CONTENT_TYPE": "application/x-www-form-urlencoded"}


def run(command, part, query="", body=b""):
    own = {"REQUEST_METHOD": "POST" if body else "GET", "PATH_INFO": part, "QUERY_STRING": query,
           "CONTENT_LENGTH": str(len(body))}
    done = subprocess.run(command, env=environment | own, input=body, stdout=subprocess.PIPE)
    head, _, answer = done.stdout.partition(b"\r\n\r\n")
    if done.returncode or not head.startswith(b"Status: 200"):
        sys.exit(f"same: {command} {part}?{query}: {done.stdout[:200]}")
    return answer


mask = b"action=add&name=a&corners=20,-10;60,-8;55,20;30,15"
run([f"{ours}/mask"], "", "", mask)
requests = [("video", "/raw", f"time={1000000000 + 40000 * i}.25&width={width}&height={height}&pan={pan}&tilt={tilt}&fov={fov}")
            for i, (width, height, pan, tilt, fov) in enumerate(
                [(1280, 720, 38, 4, 62), (641, 361, 0, 85, 110), (640, 360, 300.7, -40, 33), (320, 200, 45, 12, 2),
                 (1920, 1080, 180, -3, 90)])]
requests += [("audio", "", f"rate={rate}&format={form}&lobes={lobes}")
             for rate, form, lobes in ((8000, "ulaw", 2), (12345, "wav", 16), (48000, "alaw", 16))]
requests += [("mask", "", ""), ("mask", "/outline", "corners=1,2;40,5;200,3&pan=38&tilt=4&fov=62"),
             ("fit", "/lens", "samples=1,1;500,300;900,700&pan=38&tilt=4&fov=62")]
size = 0
for program, part, query in requests:
    one, other = run([f"{ours}/{program}"], part, query), run([*emulator, f"{theirs}/{program}"], part, query)
    if one != other:
        places = [i for i, (a, b) in enumerate(zip(one, other)) if a != b]
        sys.exit(f"same: {program}{part}?{query} differs at {len(places)} bytes, {places[:3]}, lengths {len(one)} {len(other)}")
    size += len(one)
digests = [json.loads(run([*by, f"{where}/system"], "/digests")) for by, where in (([], ours), (emulator, theirs))]
if digests[0]["modules"] != digests[1]["modules"]:
    sys.exit(f"same: digests differ: {digests}")
print(f"same: {len(requests)} answers of {size} bytes, and digests of {len(digests[0]['modules'])} modules, "
      f"from {digests[0]['architecture']} and {digests[1]['architecture']}")
