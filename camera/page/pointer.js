// The pointer on the picture: dragging turns the view, two fingers and the wheel zoom, toward where they are, and the
// camera follows; a click centres and a second one zooms in, unless a panel draws in the picture: it gets a "point" event.
import { clamp } from './dom.js';
import { overlay } from './modules.js';
import { quantizeView } from './motion.js';
import { panFactor, stopsOf } from './ptz.js';
import { latest } from './server.js';

const slop = 6; // pixels that a click may move
const doubleClick = { milliseconds: 400, pixels: 24 };

// How many pixels halve the field of view. A trackpad's pinch comes as a wheel with the Ctrl key, in smaller steps.
const wheelPixels = 400;
const pinchPixels = 100;
const wheelPause = 250; // milliseconds after which the wheel takes hold anew
const pixelsOfMode = [1, 33, 400]; // WheelEvent.deltaMode: pixels, lines, pages

export class PointerControl {
    #live;
    #ptz;
    #pointers = new Map();
    #grip = null; // what was taken hold of: pointers and view then, and the direction under the pointer
    #wheel = null; // the same for the wheel, with the pixels turned since and the time of the last
    #clicked = null; // the last click: time, event, direction
    #modes;
    #isFollowing = false;

    constructor({ live, ptz, modes }) {
        this.#live = live;
        this.#ptz = ptz;
        this.#modes = modes;
        const { element } = live;
        element.addEventListener('pointerdown', (event) => this.#press(event));
        element.addEventListener('pointermove', (event) => this.#drag(event));
        for (const name of ['pointerup', 'pointercancel']) {
            element.addEventListener(name, (event) => this.#release(event));
        }
        element.addEventListener('wheel', (event) => this.#zoom(event), { passive: false });
    }

    // The distance of two pointers, 0 for one.
    get #spread() {
        const [a, b] = this.#pointers.values();
        return b ? Math.hypot(a.clientX - b.clientX, a.clientY - b.clientY) : 0;
    }

    get #middle() {
        const all = [...this.#pointers.values()];
        const mean = (name) => all.reduce((sum, pointer) => sum + pointer[name], 0) / all.length;
        return { clientX: mean('clientX'), clientY: mean('clientY') };
    }

    #hold() {
        this.#live.isTargetHeld = this.#grip !== null || this.#isFollowing;
    }

    #take() {
        const { view } = this.#live;
        this.#grip = null;
        if (this.#pointers.size > 0) {
            const middle = this.#middle;
            const { x, y } = this.#live.positionOf(middle);
            this.#grip = {
                middle,
                view,
                direction: overlay.unproject(view, x, y),
                spread: this.#spread,
                hasMoved: false,
            };
        }
        this.#hold();
    }

    #press(event) {
        if (event.button !== 0) return;
        this.#live.element.setPointerCapture(event.pointerId);
        this.#pointers.set(event.pointerId, event);
        this.#take();
    }

    #drag(event) {
        if (!this.#pointers.has(event.pointerId)) return;
        this.#pointers.set(event.pointerId, event);
        const grip = this.#grip;
        const middle = this.#middle;
        const distance = Math.hypot(middle.clientX - grip.middle.clientX, middle.clientY - grip.middle.clientY);
        if (!grip.hasMoved && distance < slop && Math.abs(this.#spread - grip.spread) < slop) return;
        grip.hasMoved = true;
        this.#live.element.classList.add('turning');
        const { fov } = grip.view;
        const zoomed = grip.spread ? (fov * grip.spread) / Math.max(this.#spread, 1) : fov;
        this.#aim(grip, zoomed, this.#live.positionOf(middle));
    }

    // Turns the view, and the camera after it, so that what was taken hold of is at a position. Where a limit does not
    // allow it, that is felt.
    #aim(grip, fov, position) {
        const target = this.#turn(grip, fov, position);
        this.#live.target = quantizeView(target);
        this.#follow(this.#live.target);
        this.#live.refresh();
        const stops = stopsOf(target, this.#ptz.state.reach);
        const at =
            grip.direction && overlay.project({ ...this.#live.size, ...target }, ...Object.values(grip.direction));
        const isReached = !at || Math.hypot(at.x - position.x, at.y - position.y) < 2;
        const isZoomed = Math.abs(target.fov / fov - 1) < 1e-3;
        if (stops.length && !(isReached && isZoomed)) this.#live.showStops(stops);
    }

    #release(event) {
        if (!this.#pointers.delete(event.pointerId)) return;
        const { hasMoved } = this.#grip;
        const { element } = this.#live;
        if (event.type === 'pointerup' && !hasMoved && this.#pointers.size === 0) {
            if (this.#modes.leave)
                element.dispatchEvent(new CustomEvent('point', { detail: this.#live.positionOf(event) }));
            else this.#click(event);
        }
        this.#take();
        if (this.#grip) this.#grip.hasMoved = hasMoved;
        element.classList.remove('turning');
    }

    // The second click is on the same thing, which moves to the middle meanwhile.
    #click(event) {
        const last = this.#clicked;
        const isDouble =
            last &&
            event.timeStamp - last.event.timeStamp < doubleClick.milliseconds &&
            Math.hypot(event.clientX - last.event.clientX, event.clientY - last.event.clientY) < doubleClick.pixels;
        const { x, y } = this.#live.positionOf(event);
        const direction = isDouble ? last.direction : overlay.unproject(this.#live.view, x, y);
        this.#clicked = isDouble ? null : { event, direction };
        if (!direction) return;
        const { fov } = this.#ptz.state;
        this.#ptz.moveTo({ ...direction, fov: isDouble ? fov / 2 : fov });
    }

    #zoom(event) {
        event.preventDefault();
        if (!event.deltaY) return;
        const position = this.#live.positionOf(event);
        const last = this.#wheel;
        const hasMoved =
            last && Math.hypot(event.clientX - last.middle.clientX, event.clientY - last.middle.clientY) > slop;
        if (!last || hasMoved || event.timeStamp - last.time > wheelPause) {
            const view = this.#live.target ?? this.#live.view;
            this.#wheel = {
                middle: { clientX: event.clientX, clientY: event.clientY },
                view,
                direction: overlay.unproject({ ...this.#live.size, ...view }, position.x, position.y),
                zoom: 0,
            };
        }
        const zooms = this.#ptz.state.reach[2];
        const pixels = event.deltaY * pixelsOfMode[event.deltaMode];
        const wheel = this.#wheel;
        wheel.time = event.timeStamp;
        // Beyond a limit nothing is gathered, so that turning back acts at once.
        const before = Math.log2(wheel.view.fov);
        const asked = wheel.zoom + pixels / (event.ctrlKey ? pinchPixels : wheelPixels);
        wheel.zoom = clamp(zooms[0] - before, asked, zooms[1] - before);
        this.#aim(wheel, wheel.view.fov * 2 ** asked, position);
    }

    // The view in which the direction that was taken hold of is at a position, found step by step from the last view.
    #turn({ view, direction, middle }, fov, { x, y }) {
        const { size } = this.#live;
        const zooms = this.#ptz.state.reach[2];
        const allowed = clamp(2 ** zooms[0], fov, 2 ** zooms[1]);
        const scale = allowed / size.width;
        if (!direction) {
            const from = this.#live.positionOf(middle);
            const pan = view.pan - (x - from.x) * scale * panFactor(view.tilt);
            return this.#ptz.limit({ pan, tilt: view.tilt + (y - from.y) * scale, fov });
        }
        const { pan, tilt } = direction;
        let found = this.#ptz.limit({ ...(this.#live.target ?? view), fov });
        for (let i = 0; i < 10; ++i) {
            const at = overlay.project({ ...size, ...found }, pan, tilt);
            if (!at || Math.hypot(at.x - x, at.y - y) < 0.1) break;
            found = this.#ptz.limit({
                pan: found.pan + (at.x - x) * scale * panFactor(tilt),
                tilt: found.tilt - (at.y - y) * scale,
                fov,
            });
        }
        return found;
    }

    // The latest view is sent once the request before it has been answered.
    #follow = latest(async (target) => {
        this.#isFollowing = true;
        this.#hold();
        if (!(await this.#ptz.send(this.#ptz.moveFields(target)))) this.#live.target = null;
        this.#isFollowing = false;
        this.#hold();
        this.#live.refresh();
    });
}
