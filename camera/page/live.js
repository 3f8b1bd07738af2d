// The live picture: pictures as they come, drawn in the view of each moment. That is where the pointer has turned to,
// which the camera follows, else where the camera looks by its plan. Events of the element: "viewchange" with each view,
// before it is seen; "picture" with each picture that is shown.
import { byId, formatDegrees, turned } from './dom.js';
import { quantizeView } from './motion.js';
import { Renderer } from './renderer.js';
import { latest } from './server.js';
import { readPictures } from './stream.js';
import { say } from './texts.js';

export class LiveView {
    view = null;
    target = null; // the view that the pointer has turned to
    isTargetHeld = false; // by the pointer, or by a request under way
    isLost = false;
    received = null; // when the last picture came
    #ptz;
    #stopTimer = null;
    #warpTime = 0; // milliseconds that the last frame took
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

    #decode = latest(async (picture, signal) => {
        const { jpeg, view, stamp, costs = [] } = picture;
        const begun = performance.now();
        const image = await createImageBitmap(jpeg).catch(() => null); // a damaged one is left out
        if (!image || signal.aborted) return;
        const { width } = image;
        this.renderer.setPicture(image, view);
        image.close();
        this.received = new Date();
        const own = [
            { name: 'decode', milliseconds: performance.now() - begun },
            { name: 'warp', milliseconds: this.#warpTime },
        ];
        const detail = { ...picture, width, costs: [...costs, ...own] };
        this.element.dispatchEvent(new CustomEvent('picture', { detail }));
        byId('caption').hidden = !stamp;
        byId('caption-time').textContent = stamp;
        this.refresh();
    });

    // The sides at which a limit stops the camera light up for a moment.
    showStops(sides) {
        if (sides.length === 0) return;
        this.element.dataset.stop = sides.join(' ');
        byId('stop-words').textContent = say('view.limit');
        clearTimeout(this.#stopTimer);
        this.#stopTimer = setTimeout(() => {
            delete this.element.dataset.stop;
            byId('stop-words').textContent = '';
        }, 500);
    }

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
        const begun = performance.now();
        this.renderer.draw(this.view);
        this.#warpTime = performance.now() - begun;
        this.#describe();
        this.element.dispatchEvent(new CustomEvent('viewchange', { detail: this.view }));
        if (isMoving) this.refresh();
    }

    #describe() {
        const [pan, tilt, fov] = [turned(this.view.pan), this.view.tilt, this.view.fov].map(formatDegrees);
        const text = say('view.position', { pan, tilt, fov });
        if (byId('position').textContent === text) return;
        byId('position').textContent = text;
        byId('caption-view').textContent = `${pan} ${tilt}  ${fov}`;
    }
}
