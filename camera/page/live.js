// The live picture: pictures as they come, drawn in the view of each moment. That is where the pointer has turned to,
// which the camera follows, else where the camera looks by its plan. Events of the element: "viewchange" with each view,
// before it is seen; "point" with the position of a click.
import { byId, formatNumber } from './dom.js';
import { quantizeView } from './motion.js';
import { Renderer } from './renderer.js';
import { latest } from './server.js';
import { readPictures } from './stream.js';

export class LiveView {
    view = null;
    target = null; // the view that the pointer has turned to
    isTargetHeld = false; // by the pointer, or by a request under way
    isLost = false;
    #ptz;
    #receiving = null;
    #frame = 0; // the number of the request that #paint() follows

    constructor(element, size, ptz) {
        this.element = element;
        // In the same positions as the overlay: pixel (x, y) is the square of side 1 around (x, y).
        element.querySelector('svg').setAttribute('viewBox', `-0.5 -0.5 ${size.width} ${size.height}`);
        this.size = size;
        this.renderer = new Renderer(byId('live'), size);
        this.#ptz = ptz;
        ptz.onChange(() => this.refresh());
        ptz.addEventListener('move', () => {
            this.target = null;
        });
    }

    // The position of a pointer in pixels of the picture; the centre of the upper left pixel is (0, 0).
    positionOf({ clientX, clientY }) {
        const box = this.element.getBoundingClientRect();
        return {
            x: ((clientX - box.left) / box.width) * this.size.width - 0.5,
            y: ((clientY - box.top) / box.height) * this.size.height - 0.5,
        };
    }

    async receive() {
        this.#receiving?.abort();
        this.#receiving = new AbortController();
        const { signal } = this.#receiving;
        try {
            for await (const picture of readPictures({ ...this.size, stamp: 0, _: Date.now() }, signal)) {
                if (!document.hidden) this.#decode(picture, signal);
            }
        } catch {
            this.isLost ||= !signal.aborted;
        }
    }

    #decode = latest(async ({ jpeg, view, stamp }, signal) => {
        const image = await createImageBitmap(jpeg).catch(() => null); // a damaged one is left out
        if (!image || signal.aborted) return;
        this.renderer.setPicture(image, view);
        image.close();
        byId('caption').hidden = !stamp;
        byId('caption-time').textContent = stamp;
        this.refresh();
    });

    refresh() {
        if (!this.#frame) this.#frame = requestAnimationFrame((time) => this.#paint(time));
    }

    #paint(time) {
        this.#frame = 0;
        const { motion } = this.#ptz;
        const now = motion.cameraTime(time);
        const isMoving = motion.isMovingAt(now);
        if (!this.isTargetHeld && !isMoving) this.target = null;
        this.view = { ...this.size, ...quantizeView(this.target ?? motion.positionAt(now)) };
        this.renderer.draw(this.view);
        this.#describe();
        this.element.dispatchEvent(new CustomEvent('viewchange', { detail: this.view }));
        if (isMoving) this.refresh();
    }

    #describe() {
        const [pan, tilt, fov] = [((this.view.pan % 360) + 360) % 360, this.view.tilt, this.view.fov].map(
            (degrees) => `${formatNumber(degrees, 1)}°`,
        );
        const text = `Pan ${pan}, tilt ${tilt}, field of view ${fov}`;
        if (byId('position').textContent === text) return;
        byId('position').textContent = text;
        byId('caption-view').textContent = `${pan} ${tilt}  ${fov}`;
    }
}
