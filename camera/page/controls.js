// Buttons and keys that move the camera. While one is held the camera is asked again and again to go on; it stops by
// itself when nobody asks. A short press is a step.
import { byId, clamp } from './dom.js';
import { panFactor, stopsOf } from './ptz.js';

const keys = {
    ArrowLeft: { pan: -1 },
    ArrowRight: { pan: 1 },
    ArrowUp: { tilt: 1 },
    ArrowDown: { tilt: -1 },
    '+': { zoom: 1 },
    '-': { zoom: -1 },
};

// The side to which a direction leads.
const sidesOf = ({ pan = 0, tilt = 0, zoom = 0 }) => [
    ...(pan < 0 ? ['left'] : pan > 0 ? ['right'] : []),
    ...(tilt < 0 ? ['down'] : tilt > 0 ? ['up'] : []),
    ...(zoom < 0 ? ['out'] : zoom > 0 ? ['in'] : []),
];

// Only one request is under way, so that none is behind the stop when the connection is bad.
class Drive {
    #live;
    #ptz;
    #timer = null;
    #isAsking = false;
    #sides = [];

    constructor({ live, ptz }) {
        this.#live = live;
        this.#ptz = ptz;
        live.element.addEventListener('viewchange', ({ detail }) => this.#feel(detail));
    }

    // Where a limit keeps the camera from going further.
    #feel(view) {
        const stops = this.#sides.length ? stopsOf(view, this.#ptz.state.reach) : [];
        this.#live.showStops(this.#sides.filter((side) => stops.includes(side)));
    }

    start(direction, speed = 0.5) {
        const { pan = 0, tilt = 0, zoom = 0 } = direction;
        this.#sides = sidesOf(direction);
        clearInterval(this.#timer);
        const ask = async () => {
            if (this.#isAsking) return;
            this.#isAsking = true;
            const panSpeed = clamp(-1, pan * speed * panFactor(this.#ptz.state.tilt), 1);
            await this.#ptz.move({ action: 'drive', hold: 0.8, pan: panSpeed, tilt: tilt * speed, zoom });
            this.#isAsking = false;
        };
        this.#timer = setInterval(ask, 400);
        ask();
    }

    stop() {
        if (this.#timer === null) return;
        clearInterval(this.#timer);
        this.#timer = null;
        this.#sides = [];
        this.#ptz.move({ action: 'stop' });
    }

    step(direction) {
        const { pan = 0, tilt = 0, zoom = 0 } = direction;
        this.#sides = sidesOf(direction);
        this.#feel(this.#live.view);
        this.#sides = [];
        const { fov, tilt: from } = this.#ptz.state;
        const angle = fov / 6;
        this.#ptz.move({ action: 'nudge', pan: pan * angle * panFactor(from), tilt: tilt * angle, zoom: zoom / 2 });
    }
}

function initButton(button, drive) {
    const direction = { ...button.dataset };
    let timer = null;
    let hasDriven = false;
    button.addEventListener('pointerdown', (event) => {
        if (event.button !== 0) return;
        button.setPointerCapture(event.pointerId);
        hasDriven = false;
        timer = setTimeout(() => {
            hasDriven = true;
            drive.start(direction);
        }, 250);
    });
    for (const name of ['pointerup', 'pointercancel', 'lostpointercapture']) {
        button.addEventListener(name, () => {
            clearTimeout(timer);
            drive.stop();
        });
    }
    button.addEventListener('contextmenu', (event) => event.preventDefault());
    button.addEventListener('click', () => {
        if (!hasDriven) drive.step(direction);
        hasDriven = false;
    });
}

// Keys are for the picture, and for the page where nothing else takes them. Two together move diagonally; Shift is fast.
function initKeys(view, drive) {
    const pressed = new Set();
    const update = (isFast) => {
        if (pressed.size === 0) return drive.stop();
        drive.start(Object.assign({}, ...[...pressed].map((key) => keys[key])), isFast ? 1 : 0.5);
    };
    const releaseAll = () => {
        pressed.clear();
        drive.stop();
    };
    addEventListener('keydown', (event) => {
        if (event.ctrlKey || event.altKey || event.metaKey) return;
        if (event.target !== view && event.target !== document.body && !event.target.closest('.reach')) return;
        if (event.key.toLowerCase() === 'f') return toggleFull();
        if (!keys[event.key]) return;
        event.preventDefault();
        if (event.repeat) return;
        pressed.add(event.key);
        update(event.shiftKey);
    });
    addEventListener('keyup', (event) => {
        if (pressed.delete(event.key)) update(event.shiftKey);
    });
    addEventListener('focusout', releaseAll);
    addEventListener('blur', releaseAll);
    document.addEventListener('visibilitychange', releaseAll);
}

// ---- Full screen, where the browser has it

const toggleFull = () => (document.fullscreenElement ? document.exitFullscreen() : byId('stage').requestFullscreen?.());

export function initControls({ live, ptz }) {
    const drive = new Drive({ live, ptz });
    byId('full').hidden = !document.fullscreenEnabled;
    byId('full').addEventListener('click', toggleFull);
    for (const button of document.querySelectorAll('[data-pan], [data-zoom]')) initButton(button, drive);
    initKeys(live.element, drive);
    byId('home').addEventListener('click', () => ptz.move({ action: 'home' }));
}
