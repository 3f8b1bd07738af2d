// Measurements in the picture: a surface of second degree through the brightness of samples, or the line of angles
// across the lens. Samples are pixels; when the camera has turned they are measured again.
import { attempt, byId, clamp, element, formatNumber, shape, showText } from './dom.js';
import { get } from './server.js';
import { say } from './texts.js';

const maxSamples = 64;
const kinds = {
    exposure: { minSamples: 6, unit: '', decimals: 1 },
    lens: { minSamples: 3, unit: '°', decimals: 4 },
};
const arrows = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
const takeButton = byId('fit-take');
const error = byId('fit-error');
const sketch = byId('fit-sketch');
const panel = byId('fit-panel');

let size = null; // of the live picture
let kind = 'exposure';
let samples = [];
let answer = null;
let cross = null;

// ---- Shown in the picture, in words and as a table

const label = (x, y, text) => shape('text', { x, y }, text);

// The brightness of the surface on a grid.
function drawSurface() {
    return answer.grid.flatMap((row, j) =>
        row.map((luma, i) => {
            const grey = Math.round(clamp(0, luma, 255));
            const fill = `rgb(${grey},${grey},${grey})`;
            const [x, y] = [(i * (size.width - 32)) / 8 + 6, (j * (size.height - 36)) / 4 + 8];
            return shape('rect', { class: 'tone', x, y, width: 20, height: 20, fill });
        }),
    );
}

// A ruler of the degrees that the line gives.
function drawRuler() {
    const [offset, slope] = answer.coefficients;
    const range = slope * size.width;
    const step = [0.1, 0.2, 0.5, 1, 2, 5, 10, 20].find((degrees) => range / degrees < 14) ?? 50;
    const ticks = [];
    for (let angle = Math.ceil(offset / step) * step; angle < offset + range; angle += step) {
        const x = (angle - offset) / slope;
        const text = `${formatNumber(angle, step < 1 ? 1 : 0)}°`;
        ticks.push(shape('path', { d: `M${x} ${size.height - 56}v20` }), label(x, size.height - 10, text));
    }
    return [shape('path', { d: `M0 ${size.height - 46}H${size.width}` }), ...ticks];
}

// A sample with a stem as long as its residual, of which the largest has 60 pixels.
function drawSample([x, y], i) {
    const dot = shape('circle', { class: 'corner', cx: x, cy: y, r: 7 });
    if (!answer) return [dot];
    const { residual } = answer.samples[i];
    const largest = Math.max(1e-9, ...answer.samples.map((sample) => Math.abs(sample.residual)));
    const end = y - (60 * residual) / largest;
    const text = formatNumber(residual, kinds[kind].decimals);
    return [
        shape('path', { class: 'stem', d: `M${x} ${y}V${end}` }),
        dot,
        residual > 0
            ? label(x, Math.max(end - 8, 22), Number(text) ? `+${text}` : text)
            : label(x, Math.min(end + 28, size.height - 8), text),
    ];
}

function draw() {
    const shapes = panel.open ? samples.flatMap(drawSample) : [];
    if (panel.open && answer) shapes.unshift(...(kind === 'exposure' ? drawSurface() : drawRuler()));
    if (cross) {
        const d = `M${cross[0]} ${cross[1] - 24}v48M${cross[0] - 24} ${cross[1]}h48`;
        shapes.push(shape('path', { class: 'cross', d }));
    }
    sketch.replaceChildren(...shapes);
}

function describe() {
    const count = samples.length;
    if (!answer) return say(count ? 'fit.count' : 'fit.none', { count, least: kinds[kind].minSamples });
    if (kind === 'exposure') return say('fit.light', { count, rms: formatNumber(answer.rms, 1) });
    const [slope, nominal] = [answer.coefficients[1], answer.expected].map((angle) => formatNumber(1000 * angle, 3));
    const rms = formatNumber(answer.rms, 4);
    return say('fit.angles', { count, slope, nominal, rms });
}

function makeRow(sample, i) {
    const { unit, decimals } = kinds[kind];
    const cells = ['value', 'fitted', 'residual'].map((name) =>
        element('td', { textContent: formatNumber(sample[name], decimals) + unit }),
    );
    return element('tr', {}, element('th', { scope: 'row', textContent: samples[i].join(', ') }), ...cells);
}

function show() {
    byId('fit-words').textContent = describe();
    byId('fit-back').disabled = byId('fit-clear').disabled = samples.length === 0;
    panel.querySelector('.scroll').hidden = !answer;
    byId('fit-rows').replaceChildren(...(answer?.samples ?? []).map(makeRow));
    draw();
}

// ---- Measuring: the latest samples, once those before have been answered

const measuring = { isBusy: false, isRepeated: false };
async function measure() {
    measuring.isRepeated = true;
    if (measuring.isBusy) return;
    measuring.isBusy = true;
    while (measuring.isRepeated) {
        measuring.isRepeated = false;
        let found = null;
        if (samples.length >= kinds[kind].minSamples) {
            const fields = { ...size, samples: samples.map((sample) => sample.join(',')).join(';') };
            found = await attempt(error, get(`/api/fit/${kind}`, fields));
        } else {
            showText(error, '');
        }
        if (!measuring.isRepeated) answer = found ?? null;
    }
    measuring.isBusy = false;
    show();
}

function setSamples(changed) {
    samples = changed;
    answer = null;
    show();
    measure();
}

// The pixel at a position.
const pixelAt = (x, y) => [clamp(0, Math.round(x), size.width - 1), clamp(0, Math.round(y), size.height - 1)];

function add(pixel) {
    if (samples.length >= maxSamples) return showText(error, say('fit.full', { count: maxSamples }));
    setSamples([...samples, pixel]);
}
const removeLast = () => samples.length && setSamples(samples.slice(0, -1));

function moveCross([right, down], step) {
    cross = pixelAt(cross[0] + step * right, cross[1] + step * down);
    byId('fit-words').textContent = say('fit.cross', { x: cross[0], y: cross[1] });
    draw();
}

export function initFit({ live, ptz, modes }) {
    const view = live.element;
    size = live.size;
    const end = () => {
        cross = null;
        takeButton.setAttribute('aria-pressed', 'false');
        view.classList.remove('drawing');
        draw();
    };
    takeButton.addEventListener('click', () => {
        if (cross) return modes.enter(null);
        modes.enter(end);
        cross = [size.width / 2, size.height / 2];
        takeButton.setAttribute('aria-pressed', 'true');
        view.classList.add('drawing');
        view.focus();
        draw();
    });
    view.addEventListener('point', ({ detail }) => {
        if (cross) add(pixelAt(detail.x, detail.y));
    });
    // The arrow keys move the cross now, and not the camera.
    view.addEventListener('keydown', (event) => {
        if (!cross || event.ctrlKey || event.altKey || event.metaKey) return;
        const actions = {
            Enter: () => add(cross),
            Backspace: removeLast,
            Escape: () => {
                modes.enter(null);
                takeButton.focus();
            },
        };
        const arrow = arrows[event.key];
        if (!arrow && !actions[event.key]) return;
        event.preventDefault();
        event.stopImmediatePropagation();
        if (arrow) moveCross(arrow, event.shiftKey ? 100 : 10);
        else actions[event.key]();
    });
    byId('fit-back').addEventListener('click', removeLast);
    byId('fit-clear').addEventListener('click', () => setSamples([]));
    for (const radio of document.querySelectorAll('[name=fit]')) {
        radio.addEventListener('change', () => {
            kind = radio.value;
            setSamples(samples);
        });
    }
    panel.addEventListener('toggle', () => {
        if (cross && !panel.open) modes.enter(null);
        if (panel.open) measure();
        draw();
    });
    let measuredView = '';
    ptz.onChange(({ pan, tilt, fov, moving }) => {
        const current = [pan, tilt, fov].join();
        if (moving || current === measuredView) return;
        measuredView = current;
        if (panel.open && samples.length) measure();
    });
    show();
}
