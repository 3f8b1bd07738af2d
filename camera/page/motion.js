// Where the camera looks at each moment, computed from the plan of its motion, so that nobody has to ask in between.

// The same as course::at() of the camera.
function placeAt({ start, speed, pieces }, elapsed) {
    for (const [duration, acceleration] of pieces) {
        const t = Math.min(Math.max(elapsed, 0), duration);
        start += t * (speed + (acceleration * t) / 2);
        speed += t * acceleration;
        elapsed -= duration;
        if (elapsed <= 0) break;
    }
    return start;
}

export class Motion {
    #plan = null;
    // Bounds of the seconds that the camera's clock is ahead of the page's: an answer was given between its question
    // and its arrival.
    #minAhead = -Infinity;
    #maxAhead = Infinity;

    // Takes over a state that was asked for at a time of the page's clock and has just arrived.
    update(state, asked) {
        const low = state.now - performance.now() / 1000;
        const high = state.now - asked / 1000;
        const min = Math.max(this.#minAhead, low);
        const max = Math.min(this.#maxAhead, high);
        // Bounds that contradict each other come from a clock that was set or has drifted.
        [this.#minAhead, this.#maxAhead] = min <= max ? [min, max] : [low, high];
        this.#plan = state.plan;
    }

    // The camera's clock in seconds, at a time of the page's in milliseconds.
    cameraTime(milliseconds) {
        return milliseconds / 1000 + (this.#minAhead + this.#maxAhead) / 2;
    }

    // Pan is counted on: 370 is one turn and 10 degrees.
    positionAt(time) {
        const [pan, tilt, zoom] = this.#plan.axes.map((axis) => placeAt(axis, time - this.#plan.begun));
        return { pan, tilt, fov: 2 ** zoom };
    }

    isMovingAt(time) {
        const { axes, begun } = this.#plan;
        return axes.some(({ pieces }) => pieces.reduce((sum, [duration]) => sum + duration, begun) > time);
    }
}

// In the steps of the camera's pictures, so that a picture of this view lies on it pixel by pixel.
const quantize = (degrees) => Math.round(degrees * 1024) / 1024;
export const quantizeView = ({ pan, tilt, fov }) => ({ pan: quantize(pan), tilt: quantize(tilt), fov: quantize(fov) });

// ---- The way between two positions at rest, all axes at once: degrees a second, and a second and second

const speeds = { pan: 70, tilt: 50 };
const accelerations = { pan: 140, tilt: 110 };

// How far an axis has come of a distance.
function travelled(distance, speed, acceleration, time) {
    const peak = Math.min(speed, Math.sqrt(acceleration * distance));
    const cruise = peak > 0 ? distance / peak - peak / acceleration : 0;
    const course = { start: 0, speed: 0 };
    const pieces = [
        [peak / acceleration, acceleration],
        [cruise, 0],
        [peak / acceleration, -acceleration],
    ];
    return placeAt({ ...course, pieces }, time);
}

// Directions on the way, which is not the shorter one where limits close that.
export function pathBetween(from, to, { left, right }) {
    const around = (degrees) => ((degrees % 360) + 360) % 360;
    const pan =
        left === right ? around(to.pan - from.pan + 180) - 180 : around(to.pan - left) - around(from.pan - left);
    const distances = { pan, tilt: to.tilt - from.tilt };
    const duration = Math.max(...['pan', 'tilt'].map((axis) => Math.abs(distances[axis]) / speeds[axis] + 1));
    const steps = 40;
    return Array.from({ length: steps + 1 }, (_, i) =>
        ['pan', 'tilt'].map((axis) => {
            const distance = distances[axis];
            const gone = travelled(Math.abs(distance), speeds[axis], accelerations[axis], (duration * i) / steps);
            return from[axis] + Math.sign(distance) * gone;
        }),
    );
}
