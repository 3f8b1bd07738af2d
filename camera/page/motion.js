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
