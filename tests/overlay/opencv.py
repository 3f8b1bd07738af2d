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
SMALL = 1280, 720  # pictures that are rendered
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
    centre, *per_pixel = (part @ rotation(*where) for part in shown)

    def squares(rays):
        across, down = rays[:, 0] / rays[:, 2] / board, rays[:, 1] / rays[:, 2] / board
        return across, down, ((np.abs(across) < 6) & (np.abs(down) < 4) & (rays[:, 2] > 0.02))

    def is_white(rays):
        across, down, is_board = squares(rays)
        return is_board & ((np.floor(across) + np.floor(down)) % 2 == 0)

    with np.errstate(invalid="ignore", divide="ignore"):
        picture = np.where(is_white(centre), 220.0, 40)
        # Where an edge may be in a pixel: 64 samples.
        pixel = np.abs(per_pixel).max((0, 2)) / np.abs(centre[:, 2]) / board
        across, down, _ = squares(centre)
        pixel *= 1 + np.hypot(across, down) * board
        near = (np.abs(across - np.round(across)) < pixel) | (np.abs(down - np.round(down)) < pixel)
        near &= (np.abs(across) < 6.5) & (np.abs(down) < 4.5) & (centre[:, 2] > 0.02)
        steps = (np.arange(8) + 0.5) / 8 - 0.5
        middle, right, below = (part[near] for part in (centre, *per_pixel))
        samples = (middle + x * right + y * below for x in steps for y in steps)
        picture[near] = 40 + 180 / 64 * sum(is_white(sample).astype(float) for sample in samples)
    picture = np.round(picture).astype(np.uint8).reshape(SMALL[1], SMALL[0])
    corners = np.array([[i, j, 1 / board] for j in range(-3, 4) for i in range(-5, 6)], np.float64) * board
    guess = ask("project", model, fields, corners @ rotation(*where).T, 2, SMALL)
    inside = ((guess > 14) & (guess < np.array(SMALL) - 14)).all(1)
    found = np.full_like(guess, np.nan)
    # OpenCV finds corners to a fraction of a pixel from some pixels off.
    start = np.round(guess[inside]).astype(np.float32).reshape(-1, 1, 2)
    stop = (cv2.TERM_CRITERIA_EPS + cv2.TERM_CRITERIA_MAX_ITER, 100, 1e-4)
    if inside.sum() >= 8:
        found[inside] = cv2.cornerSubPix(picture, start, (6, 6), (-1, -1), stop).reshape(-1, 2)
    return corners, found


def calibrate(model, random):
    """Residuals in pixels, ours and OpenCV's; how far ours is from the lens that rendered the pictures, as the root of
    the mean square and at most; and whether all fields are determined."""
    focal = random.uniform(*{"pinhole": (700, 1300), "fisheye": (440, 650)}[model])
    fields = [focal, focal * random.uniform(0.98, 1.02), *(np.array(SMALL) / 2 + random.uniform(-15, 15, 2))]
    if model == "pinhole":
        fields += [*random.uniform([-0.25, -0.05], [0.1, 0.1]), *random.uniform(-0.001, 0.001, 2)]
        fields += [random.uniform(-0.01, 0.01)]
    else:
        fields += [*random.uniform([-0.03, -0.005, -0.002], [0.03, 0.005, 0.002]), 0]
    board = {"pinhole": 56, "fisheye": 50}[model] / focal
    x, y = np.meshgrid(np.arange(SMALL[0], dtype=np.float64), np.arange(SMALL[1], dtype=np.float64))
    shown = ask("unproject", model, fields, np.stack([x, y], -1), 3, SMALL).reshape(*SMALL[::-1], 3)
    edges = [shown[SMALL[1] // 2, -1, [0, 2]], shown[-1, SMALL[0] // 2, [1, 2]]]
    # Turned so far that the board reaches the picture's edges.
    far = [np.degrees(np.arctan2(*edge) - np.arctan(n * board)) + 3 for edge, n in zip(edges, (5, 3), strict=True)]
    turns = [(pan * far[0], tilt * far[1], 0) for tilt in (-1, 0, 1) for pan in (-1, -0.4, 0, 0.4, 1)]
    shown = [part.reshape(-1, 3) for part in (shown, np.gradient(shown, axis=1), np.gradient(shown, axis=0))]
    sightings, objects, images = [], [], []
    for where in turns:
        corners, found = render(model, fields, shown, board, where)
        usable = np.isfinite(found[:, 0])
        for point in np.flatnonzero(usable):
            sightings.append([*where, *found[point], point])
        if usable.any():
            objects.append((corners[usable] * [1, 1, 0]).astype(np.float32).reshape(1, -1, 3))
            images.append(found[usable].astype(np.float32).reshape(1, -1, 2))
    answer = ask("calibrate", model, [], sightings, 1, SMALL).ravel()
    lens, residual, is_determined = np.split(answer, [len(answer) // 2, len(answer) // 2 + 1])
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
    grid = np.stack(np.meshgrid(np.linspace(0, SMALL[0] - 1, 33), np.linspace(0, SMALL[1] - 1, 19)), -1).reshape(-1, 2)
    shown = ask("unproject", model, fields, grid, 3, SMALL)
    seen = np.isfinite(shown[:, 0])
    error = np.hypot(*(ask("project", model, lens, shown[seen], 2, SMALL) - grid[seen]).T)
    return residual[0], theirs, np.sqrt(np.mean(error**2)), error.max(), is_determined.all()


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
            ours, theirs, usual, worst, is_determined = calibrate(model, random)
            print(f"{model}: residual {ours:.3f} pixels, OpenCV's {theirs:.3f}; {usual:.3f} from the lens", end=", ")
            print(f"{worst:.3f} at most{'' if is_determined else '; not all is determined'}")
            failed |= not (ours < max(0.1, 1.02 * theirs) and is_determined and worst < 1)
    return failed


if __name__ == "__main__":
    sys.exit(main())
