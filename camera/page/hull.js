// The convex hull of the view's colours in the cube of all colours, turned by dragging or by arrow keys.
import { attempt, byId } from './dom.js';
import { library } from './modules.js';
import { RequestError } from './server.js';
import { say } from './texts.js';

const canvas = byId('hull');
const panel = canvas.closest('details');
const arrows = { ArrowLeft: [-0.1, 0], ArrowRight: [0.1, 0], ArrowUp: [0, 0.1], ArrowDown: [0, -0.1] };

const subtract = (a, b) => a.map((value, i) => value - b[i]);
const cross = (a, b) => [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]];
const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
const mean = (all) => [0, 1, 2].map((i) => all.reduce((sum, each) => sum + each[i], 0) / all.length);
const triples = (all) => Array.from({ length: all.length / 3 }, (_, i) => [...all.subarray(3 * i, 3 * i + 3)]);

// The hull of pixels of four bytes; its volume is the share of the cube.
export function hullOf(pixels) {
    const hull = library.Hull.ofPixels(pixels, 4);
    if (!hull) throw new RequestError('no volume');
    const { volume } = hull;
    const found = { vertices: triples(hull.vertices()), faces: triples(hull.faces()), volume: volume / 255 ** 3 };
    hull.free();
    return found;
}

// ---- Drawing

const drawing = { hull: null, turn: 2.2, tip: -0.5 };

// A colour in the turned cube, in pixels: right, down, and towards the viewer.
function project([r, g, b]) {
    const [x, y, z] = [r - 127.5, b - 127.5, g - 127.5];
    const { turn, tip } = drawing;
    const across = x * Math.cos(turn) - y * Math.sin(turn);
    const away = x * Math.sin(turn) + y * Math.cos(turn);
    const up = z * Math.cos(tip) - away * Math.sin(tip);
    const scale = canvas.width / 480;
    const depth = away * Math.cos(tip) + z * Math.sin(tip);
    return [canvas.width / 2 + scale * across, canvas.height / 2 - scale * up, -scale * depth];
}

// The twelve edges of the cube: from black on, those of each corner that go up.
function drawCube(pen) {
    const corner = (bits) => project([1, 2, 4].map((bit) => (bits & bit ? 255 : 0))).slice(0, 2);
    pen.beginPath();
    for (let bits = 0; bits < 8; bits++) {
        for (const bit of [1, 2, 4].filter((each) => !(bits & each))) {
            pen.moveTo(...corner(bits));
            pen.lineTo(...corner(bits | bit));
        }
    }
    pen.stroke();
}

function drawHull(pen, { vertices, faces }) {
    const points = vertices.map(project);
    const inside = mean(points);
    for (const face of faces) {
        const [a, b, c] = face.map((i) => points[i]);
        const normal = cross(subtract(b, a), subtract(c, a));
        // Outward is away from the middle. Faces towards the viewer do not hide each other, as the hull is convex.
        if (normal[2] * dot(normal, subtract(a, inside)) <= 0) continue;
        pen.beginPath();
        for (const [x, y] of [a, b, c]) pen.lineTo(x, y);
        pen.closePath();
        pen.fillStyle = pen.strokeStyle = `rgb(${mean(face.map((i) => vertices[i])).map(Math.round)})`;
        pen.fill();
        pen.stroke();
    }
}

function draw() {
    const pen = canvas.getContext('2d');
    pen.clearRect(0, 0, canvas.width, canvas.height);
    pen.lineWidth = 1.5;
    pen.strokeStyle = getComputedStyle(canvas).color;
    drawCube(pen);
    if (drawing.hull) drawHull(pen, drawing.hull);
}

function turnBy(turn, tip) {
    drawing.turn += turn;
    drawing.tip = Math.min(Math.max(drawing.tip + tip, -Math.PI / 2), Math.PI / 2);
    draw();
}

// ---- Following the picture as long as the panel is open

const samples = { width: 64, height: 36 };
const sampler = new OffscreenCanvas(samples.width, samples.height).getContext('2d', { willReadFrequently: true });
sampler.imageSmoothingEnabled = false; // pixels as they are: a mean may be a colour of none of them
sampler.globalCompositeOperation = 'copy';

// Compression makes the pixels of a still picture waver: they are averaged over about two seconds, until the picture
// changes.
const steady = { sums: new Float32Array(4 * samples.width * samples.height), count: 0 };
const mostAveraged = 10;
const changed = 8; // levels, in the mean

function averaged(pixels) {
    const { sums, count } = steady;
    const difference = pixels.reduce((sum, value, i) => sum + Math.abs(value - sums[i]), 0) / pixels.length;
    steady.count = difference > changed ? 1 : Math.min(count + 1, mostAveraged);
    for (let i = 0; i < pixels.length; ++i) sums[i] += (pixels[i] - sums[i]) / steady.count;
    return Uint8Array.from(sums, Math.round);
}

// Pixels at equal distances. What the page draws can be read until the frame is over.
async function samplePicture(view) {
    await new Promise((done) => view.addEventListener('viewchange', done, { once: true }));
    sampler.drawImage(byId('live'), 0, 0, samples.width, samples.height);
    return averaged(sampler.getImageData(0, 0, samples.width, samples.height).data);
}

// The share that is said changes with the picture, and not with a hundredth more or less.
let said = -1;
function describe({ volume, vertices, faces }) {
    const share = 100 * volume;
    if (Math.abs(share - said) < Math.max(0.2, 0.03 * said)) return;
    said = share;
    byId('hull-words').textContent = say('hull.words', {
        share: share.toFixed(1),
        corners: vertices.length,
        faces: faces.length,
    });
}

async function follow(live) {
    while (panel.open) {
        const found = await attempt(byId('hull-error'), samplePicture(live.element).then(hullOf));
        if (found) {
            drawing.hull = found;
            describe(found);
            draw();
        }
        await new Promise((done) => setTimeout(done, 200));
    }
}

export function initHull({ live }) {
    canvas.addEventListener('pointerdown', (event) => canvas.setPointerCapture(event.pointerId));
    canvas.addEventListener('pointermove', (event) => {
        if (canvas.hasPointerCapture(event.pointerId)) turnBy(event.movementX / 100, -event.movementY / 100);
    });
    canvas.addEventListener('keydown', (event) => {
        if (!arrows[event.key]) return;
        event.preventDefault();
        turnBy(...arrows[event.key]);
    });
    let isFollowing = false;
    panel.addEventListener('toggle', async () => {
        if (isFollowing || !panel.open) return;
        isFollowing = true;
        await follow(live);
        isFollowing = false;
    });
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', draw);
}
