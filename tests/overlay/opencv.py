#!/usr/bin/python3
"""Lenses beside OpenCV's: positions both ways, and calibration.

opencv.py LENS_POINTS [POINTS [LENSES]]: compares that many points of each lens (20000), and that many calibrated lenses
of each model (1).
"""

import subprocess
import sys

import cv2
import numpy as np

WIDTH, HEIGHT = 1920, 1080
SMALL = 960, 540  # pictures that are rendered
LENSES = {
    "pinhole": [
        [960, 960, 960, 540],
        [1200, 1210, 950, 548, -0.25, 0.08, 0.001, -0.0007, -0.01],
        [900, 880, 1000, 500, 0.2, 0.05, -0.002, 0.001, 0.01],
        [8000, 8000, 960, 540, -2.5, 30, 0.0005, 0.0005],
    ],
    "fisheye": [
        [500, 500, 960, 540],
        [480, 485, 940, 550, 0.03, -0.01, 0.002, -0.0005],
        [300, 300, 960, 540, -0.02, 0.001],
    ],
}


def ask(action, model, fields, numbers, columns, size=(WIDTH, HEIGHT)):
    command = [sys.argv[1], action, model, str(size[0]), str(size[1]), *(repr(float(field)) for field in fields)]
    result = subprocess.run(
        command, input=np.ascontiguousarray(numbers, np.float64).tobytes(), capture_output=True, check=True
    )
    return np.frombuffer(result.stdout).reshape(-1, columns)


def project(model, fields, directions):
    """By OpenCV: the positions of directions."""
    fields = [float(field) for field in fields] + [0.0] * (9 - len(fields))
    camera = np.array([[fields[0], 0, fields[2]], [0, fields[1], fields[3]], [0, 0, 1]])
    if model == "pinhole":
        return cv2.projectPoints(directions, np.zeros(3), np.zeros(3), camera, np.array(fields[4:9]))[0].reshape(-1, 2)
    # cv2.fisheye mirrors what is behind.
    return cv2.fisheye.projectPoints(
        directions.reshape(-1, 1, 3), np.zeros(3), np.zeros(3), camera, np.array(fields[4:8])
    )[0].reshape(-1, 2)


def compare(model, fields, count, random):
    """The worst distances in pixels: of project(), and of unproject() through OpenCV."""
    positions = random.uniform([-0.5, -0.5], [WIDTH - 0.5, HEIGHT - 0.5], (count, 2))
    directions = ask("unproject", model, fields, positions, 3)
    seen = np.isfinite(directions[:, 0]) & (directions[:, 2] > 1e-3)  # in front, where OpenCV's models agree with ours
    assert seen.mean() > 0.25, (model, fields, seen.mean())
    by_opencv = project(model, fields, directions[seen])
    both_ways = np.hypot(*(by_opencv - positions[seen]).T).max()
    ours = ask("project", model, fields, directions[seen], 2)
    return np.hypot(*(ours - by_opencv).T).max(), both_ways


def rotation(pan, tilt, roll):
    """From the world, whose x is towards pan 90, y downward and z towards pan 0, to the camera's axes."""
    pan, tilt, roll = np.radians([pan, tilt, roll])
    turn = np.array([[np.cos(pan), 0, -np.sin(pan)], [0, 1, 0], [np.sin(pan), 0, np.cos(pan)]])
    nod = np.array([[1, 0, 0], [0, np.cos(tilt), np.sin(tilt)], [0, -np.sin(tilt), np.cos(tilt)]])
    lean = np.array([[np.cos(roll), np.sin(roll), 0], [-np.sin(roll), np.cos(roll), 0], [0, 0, 1]])
    return lean @ nod @ turn


def render(model, fields, shown, board, where):
    """A picture of a far board of squares, from what its pixels show, and where its corners are found."""
    picture = np.zeros(SMALL[0] * SMALL[1])
    for sample in shown:
        turned = sample @ rotation(*where)
        with np.errstate(invalid="ignore", divide="ignore"):
            across, down = turned[:, 0] / turned[:, 2] / board, turned[:, 1] / turned[:, 2] / board
            white = (np.floor(across) + np.floor(down)) % 2 == 0
            white &= (np.abs(across) < 6) & (np.abs(down) < 4) & (turned[:, 2] > 0)
        picture += np.where(white, 56, 8)
    picture = picture.reshape(SMALL[1], SMALL[0]).astype(np.uint8)
    corners = np.array([[i, j, 1 / board] for j in range(-3, 4) for i in range(-5, 6)], np.float64) * board
    camera = corners @ rotation(*where).T
    guess = np.full((len(corners), 2), np.nan)
    guess[camera[:, 2] > 0] = project(model, fields, camera[camera[:, 2] > 0])
    inside = ((guess > 20) & (guess < np.array(SMALL) - 20)).all(1)
    found = np.full_like(guess, np.nan)
    # OpenCV finds corners to a fraction of a pixel from some pixels off.
    start = np.round(guess[inside]).astype(np.float32).reshape(-1, 1, 2)
    stop = (cv2.TERM_CRITERIA_EPS + cv2.TERM_CRITERIA_MAX_ITER, 100, 1e-4)
    found[inside] = cv2.cornerSubPix(picture, start, (7, 7), (-1, -1), stop).reshape(-1, 2)
    return corners, found


def calibrate(model, random):
    """Residuals in pixels, ours and OpenCV's, and how far ours is from the lens that rendered the pictures."""
    focal = random.uniform(500, 900) if model == "pinhole" else random.uniform(250, 450)
    fields = [focal, focal * random.uniform(0.98, 1.02), *(np.array(SMALL) / 2 + random.uniform(-10, 10, 2))]
    if model == "pinhole":
        fields += [*random.uniform([-0.25, -0.05], [0.1, 0.1]), *random.uniform(-0.001, 0.001, 2), 0]
    else:
        fields += [*random.uniform(-0.03, 0.03, 1), *random.uniform(-0.005, 0.005, 1), 0, 0]
    turns = [(pan, tilt, 0) for tilt in (-12, 0, 12) for pan in (-20, -7, 7, 20)]
    board = 42 / focal
    x, y = np.meshgrid(np.arange(SMALL[0], dtype=np.float64), np.arange(SMALL[1], dtype=np.float64))
    shown = [
        ask("unproject", model, fields, np.stack([x + dx, y + dy], -1), 3, SMALL)
        for dx in (-0.25, 0.25)
        for dy in (-0.25, 0.25)
    ]
    sightings, objects, images = [], [], []
    for where in turns:
        corners, found = render(model, fields, shown, board, where)
        usable = np.isfinite(found[:, 0])
        for point in np.flatnonzero(usable):
            sightings.append([*where, *found[point], point])
        objects.append(corners[usable].astype(np.float32).reshape(1, -1, 3))
        images.append(found[usable].astype(np.float32).reshape(1, -1, 2))
    answer = ask("calibrate", model, [], sightings, 1, SMALL).ravel()
    lens, residual = answer[:-1], answer[-1]
    camera = np.array([[focal, 0, SMALL[0] / 2], [0, focal, SMALL[1] / 2], [0, 0, 1]], np.float64)
    if model == "pinhole":
        theirs = cv2.calibrateCamera(
            [o[0] for o in objects],
            [i[0] for i in images],
            SMALL,
            camera,
            None,
            flags=cv2.CALIB_USE_INTRINSIC_GUESS,
        )[0]
    else:
        flags = (
            cv2.fisheye.CALIB_USE_INTRINSIC_GUESS | cv2.fisheye.CALIB_RECOMPUTE_EXTRINSIC | cv2.fisheye.CALIB_FIX_SKEW
        )
        theirs = cv2.fisheye.calibrate(objects, images, SMALL, camera, np.zeros(4), flags=flags)[0]
    grid = np.stack(np.meshgrid(np.linspace(50, SMALL[0] - 50, 20), np.linspace(50, SMALL[1] - 50, 12)), -1).reshape(
        -1, 2
    )
    error = np.hypot(*(project(model, lens, ask("unproject", model, fields, grid, 3, SMALL)) - grid).T)
    return residual, theirs, np.nanmean(error)


def main():
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 20000
    lenses = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    random = np.random.default_rng(1)
    failed = False
    for model, rows in LENSES.items():
        for fields in rows:
            one_way, both_ways = compare(model, fields, count, random)
            print(f"{model} {fields}: project {one_way:.2g} pixels, unproject {both_ways:.2g}")
            failed |= not (one_way < 0.05 and both_ways < 0.05)
        for _ in range(lenses):
            ours, theirs, error = calibrate(model, random)
            print(f"{model}: residual {ours:.3f} pixels, OpenCV's {theirs:.3f}; {error:.3f} from the lens on average")
            failed |= not ours < max(0.1, 1.1 * theirs)
    return failed


if __name__ == "__main__":
    sys.exit(main())
