"""Setting the clock changes what the camera shows, and nothing of how it moves."""

import time
import unittest
from client import change, expect, fetch


def view():
    state = fetch("ptz")
    return [state[name] for name in ("pan", "tilt", "fov")], state["moving"]


class Clock(unittest.TestCase):
    def tearDown(self):
        change("system", action="reset-time")
        change("ptz", action="stop")

    def test_rest(self):
        change("ptz", action="move", pan=200, tilt=20, fov=40)
        time.sleep(4)
        expect(view() == ([200, 20, 40], False), f"at rest: {view()}")
        for offset in (-3600, 3600):
            change("system", action="set-time", time=time.time() + offset)
            expect(view() == ([200, 20, 40], False), f"the clock set by {offset} s has moved the camera: {view()}")

    def test_hold(self):
        change("ptz", action="drive", pan=1, hold=0.3)
        change("system", action="set-time", time=time.time() - 3600)
        time.sleep(2)
        expect(not view()[1], "the camera goes on although nobody asks it to")

    def test_patrol(self):
        for pan in (10, 60):
            change("ptz", action="move", pan=pan, tilt=0, fov=60)
            time.sleep(2)
            change("ptz", action="save", name=str(pan))
        change("ptz", action="patrol", dwell=1)
        change("system", action="set-time", time=time.time() - 3600)
        pans = set()
        for _ in range(20):
            pans.add(view()[0][0])
            time.sleep(0.25)
        expect(len(pans) > 4, f"the patrol is at {pans}")


if __name__ == "__main__":
    unittest.main()
