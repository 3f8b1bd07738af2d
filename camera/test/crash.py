"""The program `mask` is killed in the middle of writes: what it confirmed is there, and nothing is half written."""

import json
import os
import random
import subprocess
import time
import unittest
import urllib.parse
from client import EMULATOR, PROGRAMS, environment, expect, make_state

WRITES = 60 if EMULATOR else 200


class Crash(unittest.TestCase):
    def setUp(self):
        self.state = make_state("crash")

    def run_mask(self, fields, kill_after=None):
        """The answer to one request; None when it was killed before all of it was sent."""
        body = urllib.parse.urlencode(fields).encode()
        command = [*EMULATOR, f"{PROGRAMS}/mask"]
        pipe = subprocess.PIPE
        with subprocess.Popen(command, env=environment(self.state, body=body), stdin=pipe, stdout=pipe) as program:
            program.stdin.write(body)
            program.stdin.close()
            if kill_after is not None:
                time.sleep(kill_after)
                program.kill()
            answer = program.stdout.read()
        try:
            return json.loads(answer.partition(b"\r\n\r\n")[2])
        except ValueError:
            return None

    def masks(self):
        answer = self.run_mask({})
        expect(answer is not None, "the masks cannot be read")
        return {mask["id"]: mask for mask in answer["masks"]}

    def check_interrupted(self, fields, before, after):
        """All of the request was done, or nothing."""
        removed, added = before.keys() - after.keys(), after.keys() - before.keys()
        expect(len(added) <= 1 and not removed - {fields.get("id")}, "more was changed than asked for")
        for mask in (after[each] for each in added):
            expect(mask["name"] == fields["name"] and len(mask["corners"]) == 5, "a mask is half written")
        expect(all(after[each] == before[each] for each in before.keys() & after.keys()), "another mask was changed")

    def test_kill(self):
        numbers = random.Random(5)
        begin = time.monotonic()
        for _ in range(10):
            self.masks()
        limit = (time.monotonic() - begin) / 10
        known, confirmed, interrupted = {}, 0, 0
        for number in range(WRITES):
            corners = (f"{numbers.uniform(0, 50) + 60 * i:.6f},{numbers.uniform(-60, 60):.6f}" for i in range(5))
            fields = {"action": "add", "name": f"mask {number}", "corners": ";".join(corners)}
            if len(known) > 20:
                fields = {"action": "remove", "id": numbers.choice(list(known))}
            answer = self.run_mask(fields, numbers.uniform(0, limit))
            now = self.masks()
            if answer is not None:
                confirmed += 1
                limit *= 0.9  # so that about half of them are interrupted
                expect(now == {mask["id"]: mask for mask in answer["masks"]}, f"write {number} is lost")
            else:
                interrupted += 1
                limit *= 1.12
                self.check_interrupted(fields, known, now)
            known = now
        files = set(os.listdir(self.state))
        expect(files <= {"token", "lock", "masks", "masks.new"}, f"files are left: {files}")
        expect(min(confirmed, interrupted) > WRITES / 10, f"{confirmed} confirmed, {interrupted} interrupted")
        print(f"crash: {WRITES} writes: {confirmed} confirmed, none lost; {interrupted} interrupted, none half done")


if __name__ == "__main__":
    unittest.main()
