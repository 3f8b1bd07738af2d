// The pointer on the picture: dragging turns the view, two fingers and the wheel zoom, and the camera follows; a click
// is a "point" event.
import { overlay } from './modules.js';
import { quantizeView } from './motion.js';
import { panFactor } from './ptz.js';
import { latest } from './server.js';

const slop = 6; // pixels that a click may move

export class PointerControl {
    #live;
    #ptz;
    #pointers = new Map();
    #grip = null; // what was taken hold of: pointers and view then, and the direction under the pointer
    #isFollowing = false;

    constructor(live, ptz) {
        this.#live = live;
        this.#ptz = ptz;
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
        this.#live.target = quantizeView(this.#turn(zoomed, this.#live.positionOf(middle)));
        this.#follow(this.#live.target);
        this.#live.refresh();
    }

    #release(event) {
        if (!this.#pointers.delete(event.pointerId)) return;
        const { hasMoved } = this.#grip;
        const { element } = this.#live;
        if (event.type === 'pointerup' && !hasMoved && this.#pointers.size === 0) {
            element.dispatchEvent(new CustomEvent('point', { detail: this.#live.positionOf(event) }));
        }
        this.#take();
        if (this.#grip) this.#grip.hasMoved = hasMoved;
        element.classList.remove('turning');
    }

    #zoom(event) {
        event.preventDefault();
        if (event.deltaY) this.#ptz.move({ action: 'nudge', zoom: event.deltaY < 0 ? 0.25 : -0.25 });
    }

    // The view in which the direction that was taken hold of is at a position, found step by step from the last view.
    #turn(fov, { x, y }) {
        const { view, direction, middle } = this.#grip;
        const { size } = this.#live;
        const scale = fov / size.width;
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
