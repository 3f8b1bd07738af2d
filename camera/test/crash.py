"""kill -9 of the program `mask` in the midst of writes: what it confirmed is there, and nothing is half written.

usage: crash.py MASK FOLDER [WRITES] [EMULATOR...]
"""
import json
import os
import random
import shutil
import subprocess
import sys
import time
import urllib.parse

program, folder, writes, emulator = sys.argv[1], sys.argv[2], int(sys.argv[3]), sys.argv[4:]
shutil.rmtree(folder, ignore_errors=True)
environment = {"PATH": os.environ["PATH"], "CAMERA_STATE": folder, "CAMERA_SCENE": folder, "PATH_INFO": ""}
# The token is one of the folder's files, made by the first request that needs it.
os.makedirs(folder)
with open(f"{folder}/token", "w") as file:
    file.write("known")
numbers = random.Random(5)


def run(fields, after=None):
    """The answer of one request, or None where it was killed before all of it was there."""
    body = urllib.parse.urlencode(fields).encode()
    own = {"REQUEST_METHOD": "POST" if fields else "GET", "CONTENT_TYPE": "application/x-www-form-urlencoded",
           "CONTENT_LENGTH": str(len(body)), "HTTP_X_CAMERA_TOKEN": "known"}
    with subprocess.Popen([*emulator, program], env=environment | own, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as one:
        one.stdin.write(body)
        one.stdin.close()
        if after is not None:
            time.sleep(after)
            one.kill()
        answer = one.stdout.read()
    head, _, text = answer.partition(b"\r\n\r\n")
    try:
        return json.loads(text)
    except ValueError:
        return None


def masks():
    answer = run({})
    if answer is None:
        sys.exit("crash: what is kept can't be read")
    return {one["id"]: one for one in answer["masks"]}


begun = time.monotonic()
for _ in range(10):
    masks()
reach = (time.monotonic() - begun) / 10
known, confirmed, unconfirmed = {}, 0, 0
for number in range(writes):
    corners = ";".join(f"{numbers.uniform(0, 50) + 60 * i:.6f},{numbers.uniform(-60, 60):.6f}" for i in range(5))
    wanted = {"action": "add", "name": f"mask {number}", "corners": corners}
    if len(known) > 20:
        wanted = {"action": "remove", "id": numbers.choice(list(known))}
    answer = run(wanted, numbers.uniform(0, reach))
    now = masks()
    gone, come = known.keys() - now.keys(), now.keys() - known.keys()
    if answer is not None:
        confirmed += 1
        reach *= 0.9  # so that about half of them are cut
        if now != {one["id"]: one for one in answer["masks"]}:
            sys.exit(f"crash: write {number} was confirmed and is lost")
    else:
        unconfirmed += 1
        reach *= 1.12
        allowed = {wanted.get("id")}
        whole = all(now[one]["name"] == wanted["name"] and len(now[one]["corners"]) == 5 for one in come)
        if not whole or len(come) > 1 or gone - allowed or any(now[one] != known[one] for one in known.keys() & now.keys()):
            sys.exit(f"crash: write {number} was cut, and is half there")
    known = now
left = sorted(os.listdir(folder))
if set(left) - {"token", "lock", "masks", "masks.new"}:
    sys.exit(f"crash: files are left behind: {left}")
if min(confirmed, unconfirmed) < writes / 10:
    sys.exit(f"crash: {confirmed} confirmed and {unconfirmed} cut: not in the midst")
print(f"crash: mask killed in the midst of {writes} writes: {confirmed} confirmed, none lost; {unconfirmed} cut, none half there")
