// The camera's state, and requests that move it.
import { attempt, byId, clamp, turned } from './dom.js';
import { Motion } from './motion.js';
import { getNewest, post } from './server.js';

const message = byId('message');

export class Ptz extends EventTarget {
    state = { pan: 0, tilt: 0, fov: 60, presets: [], moving: false };
    motion = new Motion();
    #queue = Promise.resolve();

    onChange(listener) {
        this.addEventListener('change', () => listener(this.state));
    }

    // Takes over the state of an answer, if there is one.
    async #update(answer) {
        const asked = performance.now();
        const state = await answer;
        if (!state) return false;
        this.state = state;
        this.motion.update(state, asked);
        this.dispatchEvent(new Event('change'));
        return true;
    }

    refresh() {
        return this.#update(getNewest('/api/ptz'));
    }

    // One request at a time: a stop must not overtake the drive that it ends.
    send(fields, place = message, marked = undefined) {
        this.#queue = this.#queue.then(() => attempt(place, this.#update(post('/api/ptz', fields, 3000)), marked));
        return this.#queue;
    }

    // The same for an order of the user's, which ends what the pointer has asked for.
    move(fields, place, marked) {
        this.dispatchEvent(new Event('move'));
        return this.send(fields, place, marked);
    }

    moveTo(view) {
        return this.move(this.moveFields(view));
    }

    moveFields({ pan, tilt, fov = this.state.fov }) {
        return {
            action: 'move',
            pan: turned(pan),
            tilt: clamp(-90, tilt, 90),
            fov: clamp(2, fov, 110),
        };
    }

    // The nearest view that the limits allow.
    limit({ pan, tilt, fov }) {
        const [pans, tilts, zooms] = this.state.reach;
        return {
            pan: clamp(pans[0], pan, pans[1]),
            tilt: clamp(tilts[0], tilt, tilts[1]),
            fov: clamp(2 ** zooms[0], fov, 2 ** zooms[1]),
        };
    }
}

// The directions in which a view can go no further.
export function stopsOf({ pan, tilt, fov }, [pans, tilts, zooms]) {
    const near = 0.01; // degrees
    const stops = {
        left: pan < pans[0] + near,
        right: pan > pans[1] - near,
        down: tilt < tilts[0] + near,
        up: tilt > tilts[1] - near,
        in: fov < 2 ** zooms[0] + near,
        out: fov > 2 ** zooms[1] - near,
    };
    return Object.keys(stops).filter((side) => stops[side]);
}

// How much further the camera pans than the middle of the picture moves: near the zenith a turn is hardly seen.
export const panFactor = (tilt) => 1 / Math.max(0.2, Math.cos((tilt * Math.PI) / 180));
