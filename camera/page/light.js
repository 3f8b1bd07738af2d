// Settings of the picture: time of day, grid, stamp, exposure and tone curve.
import { attempt, byId, clamp, formatNumber, shape } from './dom.js';
import { history } from './history.js';
import { library } from './modules.js';
import { get, latest, post } from './server.js';
import { say } from './texts.js';

const settingsError = byId('light-error');
const curveError = byId('curve-error');
const plot = byId('curve');
const maxKnots = 16;

// The last answer, and what has been asked for since. While a knot is dragged only the latest request is sent.
const state = { settings: null, requested: null };

function show(answer) {
    state.settings = answer;
    document.querySelector(`[name=light][value=${answer.light}]`).checked = true;
    byId('grid').checked = answer.grid;
    byId('stamp').checked = answer.stamp;
    if (!state.requested) byId('exposure').value = answer.exposure;
    if (!editor.isDragging && !state.requested) editor.knots = answer.curve; // older than what is asked for otherwise
    editor.draw();
    if (!editor.isDragging && !state.requested) editor.forget();
    return true;
}
const change = (fields, place = settingsError) => attempt(place, post('/api/video', fields).then(show));
export const loadLight = () => attempt(settingsError, get('/api/video/settings').then(show));

const sendRequested = latest(async () => {
    const sent = state.requested;
    await change(sent, curveError);
    if (state.requested === sent) state.requested = null;
});
async function request(fields) {
    state.requested = { ...state.requested, ...fields };
    if (state.settings) editor.draw();
    await sendRequested();
    if (!state.requested && !editor.isDragging && state.settings) show(state.settings);
}

for (const radio of document.querySelectorAll('[name=light]')) {
    radio.addEventListener('change', () => change({ light: radio.value }));
}
for (const name of ['grid', 'stamp']) {
    byId(name).addEventListener('change', () => change({ [name]: byId(name).checked ? 1 : 0 }));
}
byId('exposure').addEventListener('input', () => {
    editor.isSliding = true;
    request({ exposure: Number(byId('exposure').value) });
});
byId('exposure').addEventListener('change', () => {
    editor.isSliding = false;
    editor.remember();
});

// ---- The curve, computed as the camera will compute it, so that it is drawn at once

const toLevel = (value) => clamp(0, Math.round(value), 255);

// The 256 values of the curve, and the same after the exposure; null for knots whose x do not rise.
export function computeTones(knots, exposure) {
    if (knots.some(([x], i) => i > 0 && x <= knots[i - 1][0])) return null;
    const spline = Array.from(library.curve.table('fixedSpline', Int16Array.from(knots.flat())), toLevel);
    return { spline, levels: spline.map((_, i) => spline[toLevel(i * 2 ** (exposure / 2.2))]) };
}

const grid = 'M0 0H255V255H0ZM0 63.75H255M0 127.5H255M0 191.25H255M63.75 0V255M127.5 0V255M191.25 0V255';
const toPath = (values) => `M${values.map((value, x) => `${x} ${255 - value}`).join('L')}`;

const curveFields = (knots) => knots.map((knot) => knot.join(',')).join(';');

class CurveEditor {
    knots = [];
    #remembered = null; // the fields that an undo brings back
    #histogram = '';
    #selected = 0;
    #pointerId = null;
    #tones = null; // of the last knots that make a curve

    isSliding = false; // the exposure

    get isDragging() {
        return this.#pointerId !== null || this.isSliding;
    }

    get #exposure() {
        return state.requested?.exposure ?? state.settings.exposure;
    }

    constructor() {
        plot.addEventListener('pointerdown', (event) => this.#press(event));
        plot.addEventListener('pointermove', (event) => {
            if (this.#pointerId === event.pointerId) this.#place(this.#selected, ...this.#positionOf(event));
        });
        for (const name of ['pointerup', 'pointercancel']) {
            plot.addEventListener(name, (event) => {
                if (this.#pointerId !== event.pointerId) return;
                this.#pointerId = null;
                this.remember();
                if (!state.requested) show(state.settings);
            });
        }
        plot.addEventListener('focusin', ({ target }) => {
            const index = Number(target.dataset.knot);
            if (index === this.#selected) return;
            this.#selected = index;
            this.#describe();
        });
        plot.addEventListener('keydown', (event) => this.#key(event));
        byId('curve-add').addEventListener('click', () => {
            this.#insert();
            this.#focus();
        });
        byId('curve-remove').addEventListener('click', () => this.#remove(this.#selected));
        plot.addEventListener('dblclick', () => this.#remove(this.#selected));
        byId('curve-straight').addEventListener('click', () => {
            this.#apply({ curve: '0,0;255,255', exposure: 0 });
            this.remember();
        });
    }

    get #fields() {
        return { curve: curveFields(this.knots), exposure: this.#exposure };
    }

    #apply(fields) {
        this.knots = fields.curve.split(';').map((knot) => knot.split(',').map(Number));
        this.#selected = clamp(0, this.#selected, this.knots.length - 1);
        byId('exposure').value = fields.exposure;
        return request(fields);
    }

    // What is shown now can be undone: a whole drag at once.
    remember() {
        const [before, after] = [this.#remembered, this.#fields];
        this.#remembered = after;
        if (!before || JSON.stringify(before) === JSON.stringify(after)) return;
        const use = (fields) => {
            this.#remembered = fields;
            return this.#apply(fields);
        };
        history.add(
            () => use(before),
            () => use(after),
            say('curve.changed'),
        );
    }

    // The camera's own settings are where undoing begins.
    forget() {
        this.#remembered = this.#fields;
    }

    // How many pixels have each brightness, drawn beneath the curve.
    set histogram(counts) {
        const most = Math.max(...counts.slice(1, -1), 1);
        const width = 256 / counts.length;
        this.#histogram = counts
            .map((count, i) => `M${i * width} 255h${width}v${-Math.min(255, (230 * count) / most)}h${-width}z`)
            .join('');
        plot.querySelector('.histogram')?.setAttribute('d', this.#histogram);
    }

    draw() {
        const isFocused = plot.contains(document.activeElement);
        this.#tones = computeTones(this.knots, this.#exposure) ?? this.#tones;
        const { spline, levels } = this.#tones;
        plot.replaceChildren(
            shape('path', { class: 'histogram', d: this.#histogram }),
            shape('path', { class: 'frame', d: grid }),
            ...(this.#exposure ? [shape('path', { class: 'levels', d: toPath(levels) })] : []),
            shape('path', { class: 'spline', d: toPath(spline) }),
            ...this.knots.map((knot, i) => this.#makeKnot(knot, i)),
        );
        if (isFocused) this.#focus();
        this.#describe();
    }

    #makeKnot([x, y], i) {
        return shape('circle', {
            class: 'knot',
            cx: x,
            cy: 255 - y,
            r: 8,
            tabindex: i === this.#selected ? 0 : -1,
            'data-knot': i,
            role: 'slider',
            'aria-label': say('curve.knot', { number: i + 1, count: this.knots.length }),
            'aria-valuemin': 0,
            'aria-valuemax': 255,
            'aria-valuenow': y,
            'aria-valuetext': say('curve.value', { x, y }),
        });
    }

    #describe() {
        const [x, y] = this.knots[this.#selected];
        const count = this.knots.length;
        const words = this.#exposure ? 'curve.words.exposed' : 'curve.words';
        byId('curve-words').textContent = say(words, { number: this.#selected + 1, count, x, y });
        const sign = this.#exposure > 0 ? '+' : '';
        byId('exposure-words').textContent = say('curve.stops', { stops: sign + formatNumber(this.#exposure, 1) });
        byId('curve-remove').disabled = this.#selected === 0 || this.#selected === count - 1;
        byId('curve-add').disabled = count >= maxKnots;
    }

    #focus() {
        plot.querySelector('[tabindex="0"]')?.focus({ focusVisible: true });
    }

    #setKnots(knots) {
        this.knots = knots;
        this.#selected = clamp(0, this.#selected, knots.length - 1);
        request({ curve: curveFields(knots) });
        if (!this.isDragging) this.remember();
    }

    // The outer knots stay at the ends, the others between their neighbours.
    #place(index, x, y) {
        const end = index === 0 ? 0 : 255;
        const isInner = index > 0 && index < this.knots.length - 1;
        const between = () => clamp(this.knots[index - 1][0] + 1, toLevel(x), this.knots[index + 1][0] - 1);
        this.#setKnots(this.knots.with(index, [isInner ? between() : end, toLevel(y)]));
    }

    #add(x, y) {
        const index = this.knots.findIndex((knot) => knot[0] >= x);
        if (this.knots.length >= maxKnots || index < 1 || this.knots[index][0] === x) return false;
        this.#selected = index;
        this.#setKnots(this.knots.toSpliced(index, 0, [x, y]));
        return true;
    }

    #remove(index) {
        if (index === 0 || index === this.knots.length - 1) return;
        this.#selected = index - 1;
        this.#setKnots(this.knots.toSpliced(index, 1));
    }

    // In the widest gap, on the curve.
    #insert() {
        const gaps = this.knots.slice(1).map((knot, i) => knot[0] - this.knots[i][0]);
        const i = gaps.indexOf(Math.max(...gaps));
        const x = Math.round((this.knots[i][0] + this.knots[i + 1][0]) / 2);
        this.#add(x, this.#tones.spline[x]);
    }

    #positionOf({ clientX, clientY }) {
        const at = new DOMPoint(clientX, clientY).matrixTransform(plot.getScreenCTM().inverse());
        return [toLevel(at.x), toLevel(255 - at.y)];
    }

    // The nearest knot within a finger's width; elsewhere a new one.
    #press(event) {
        if (event.button !== 0 || !state.settings) return;
        event.preventDefault();
        const [x, y] = this.#positionOf(event);
        const distances = this.knots.map((knot) => Math.hypot(knot[0] - x, knot[1] - y));
        const nearest = distances.indexOf(Math.min(...distances));
        if (distances[nearest] < 20) this.#selected = nearest;
        else if (!this.#add(x, y)) return;
        this.#pointerId = event.pointerId;
        plot.setPointerCapture(event.pointerId);
        this.draw();
        plot.querySelector('[tabindex="0"]').focus({ focusVisible: false });
    }

    #key(event) {
        const index = this.#selected;
        const arrow = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1] }[event.key];
        const actions = {
            Delete: () => this.#remove(index),
            Backspace: () => this.#remove(index),
            Insert: () => this.#insert(),
            PageUp: () => this.#select(index + 1),
            PageDown: () => this.#select(index - 1),
            Home: () => this.#select(0),
            End: () => this.#select(this.knots.length - 1),
        };
        if (!arrow && !actions[event.key]) return;
        event.preventDefault();
        if (!arrow) return actions[event.key]();
        const step = event.shiftKey ? 10 : 1;
        const [x, y] = this.knots[index];
        this.#place(index, x + step * arrow[0], y + step * arrow[1]);
    }

    #select(index) {
        this.#selected = clamp(0, index, this.knots.length - 1);
        this.draw();
    }
}
const editor = new CurveEditor();

// ---- The histogram, twice a second while the panel is open

const bins = 64;
const sampler = new OffscreenCanvas(160, 90).getContext('2d', { willReadFrequently: true });

export function initHistogram({ live }) {
    const panel = plot.closest('details');
    let last = 0;
    live.element.addEventListener('viewchange', () => {
        if (!panel.open || performance.now() - last < 500) return;
        last = performance.now();
        sampler.drawImage(byId('live'), 0, 0, 160, 90);
        const pixels = library.colour.fromRgb('full', withoutOpacity(sampler.getImageData(0, 0, 160, 90).data));
        const counts = new Array(bins).fill(0);
        for (let i = 0; i < pixels.length; i += 3) ++counts[(pixels[i] * bins) >> 8];
        editor.histogram = counts;
    });
}
const withoutOpacity = (pixels) => pixels.filter((_, i) => i % 4 !== 3);
