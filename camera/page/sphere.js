// The map of all directions around the camera: what it sees now, masks, presets, limits, and the way of a patrol. A
// click looks there; corners of masks are dragged.
import { byId, clamp, shape, turned } from './dom.js';
import { reachOf } from './mask-editor.js';
import { masks } from './masks.js';
import { library, overlay } from './modules.js';
import { pathBetween } from './motion.js';
import { latest } from './server.js';
import { say } from './texts.js';

const element = byId('sphere');
const marks = byId('sphere-marks');
const canvas = byId('sphere-picture');
const { width, height } = canvas;

// The picture of the map is put together from six views that overlap, seen from inside of a cube.
const side = 192;
const fov = 96;
const faces = [
    [0, 0],
    [90, 0],
    [180, 0],
    [270, 0],
    [0, 90],
    [0, -90],
].map(([pan, tilt]) => ({ width: side, height: side, pan, tilt, fov }));
const black = 0xff000000;
const ground = 0xff2f2923;

const signed = (degrees) => turned(degrees + 180) - 180;

// ---- Directions and places: degrees to the right of the left border, and down from the zenith

let west = 0; // the pan at the left border: home is in the middle
const placeOf = ([pan, tilt]) => [turned(pan - west), 90 - tilt];

// A path of directions without a jump; closed, around a pole if it turns around one. Drawn three times, so that what
// leaves the map on one side comes in on the other.
function trace(directions, isClosed) {
    const points = [];
    for (const direction of directions) {
        const [x, y] = placeOf(direction);
        const last = points.at(-1)?.[0] ?? x;
        points.push([last + signed(x - last), y]);
    }
    if (isClosed) {
        const [[x, y], last] = [points[0], points.at(-1)[0]];
        const end = last + signed(x - last);
        const pole = y < 90 ? 0 : 180;
        if (Math.abs(end - x) > 180) points.push([end, y], [end, pole], [x, pole]);
    }
    return copies(points, isClosed);
}
const copies = (points, isClosed) =>
    [-720, -360, 0, 360, 720]
        .map((shift) => `M${points.map(([x, y]) => `${(x + shift).toFixed(2)} ${y.toFixed(2)}`).join('L')}`)
        .join(isClosed ? 'Z' : '') + (isClosed ? 'Z' : '');

// The border of what a view shows.
function borderOf(view) {
    const steps = 16;
    const [right, bottom] = [view.width - 0.5, view.height - 0.5];
    const corners = [
        [-0.5, -0.5],
        [right, -0.5],
        [right, bottom],
        [-0.5, bottom],
    ];
    const points = corners.flatMap(([x, y], i) => {
        const [toX, toY] = corners[(i + 1) % 4];
        return Array.from({ length: steps }, (_, k) => [x + ((toX - x) * k) / steps, y + ((toY - y) * k) / steps]);
    });
    const found = overlay.unprojectPolygon(view, Float64Array.from(points.flat())) ?? [];
    return Array.from({ length: found.length / 2 }, (_, i) => [found[2 * i], found[2 * i + 1]]);
}

// ---- The picture

const picture = {
    pixels: null, // of the faces, four bytes each
    sources: null, // for each pixel of the map the one of the faces
    frame: new ImageData(width, height),
};

function findSources() {
    const points = new Int32Array(2 * width * height);
    for (let i = 0; i < width * height; ++i) {
        points[2 * i] = 1024 * turned(west + (((i % width) + 0.5) * 360) / width);
        points[2 * i + 1] = 1024 * (90 - ((Math.floor(i / width) + 0.5) * 180) / height);
    }
    const sources = new Int32Array(width * height).fill(-1);
    for (const [number, { pan, tilt }] of faces.entries()) {
        const view = { width: side, height: side, panQ10: 1024 * pan, tiltQ10: 1024 * tilt, fovQ10: 1024 * fov };
        const { points: places } = library.spheremap.sphereToScreen(points, view);
        for (let i = 0; i < sources.length; ++i) {
            const [x, y] = [places[2 * i], places[2 * i + 1]];
            if (x >= 0 && y >= 0 && x < side && y < side) sources[i] = (number * side + y) * side + x;
        }
    }
    return sources;
}

async function loadFace(view, number) {
    const fields = new URLSearchParams({ ...view, stamp: 0, quality: 80 });
    const reply = await fetch(`/api/video?${fields}`).catch(() => null); // without a connection it stays as it is
    if (!reply?.ok) return;
    const image = await createImageBitmap(await reply.blob());
    const context = new OffscreenCanvas(side, side).getContext('2d', { willReadFrequently: true });
    context.drawImage(image, 0, 0);
    image.close();
    const { data } = context.getImageData(0, 0, side, side);
    picture.pixels ??= new Uint32Array(faces.length * side * side).fill(ground);
    picture.pixels.set(new Uint32Array(data.buffer), number * side * side);
}

// One after the other: the live picture goes on meanwhile.
const loadPicture = latest(async () => {
    for (const [number, view] of faces.entries()) {
        await loadFace(view, number);
        drawPicture();
    }
});

// With masks as they are by now.
function drawPicture() {
    if (!picture.pixels) return;
    picture.sources ??= findSources();
    const pixels = picture.pixels.slice();
    const hide = (corners, paint) => {
        const mask = corners.length > 2 && overlay.Mask.make(Float64Array.from(corners.flat()));
        if (!mask) return;
        for (const [number, view] of faces.entries()) {
            const runs = mask.runs(view);
            for (let i = 0; i < runs.length; i += 3) {
                const row = (number * side + runs[i]) * side;
                for (let x = row + runs[i + 1]; x < row + runs[i + 2]; ++x) pixels[x] = paint(pixels[x]);
            }
        }
        mask.free();
    };
    for (const mask of shownMasks()) if (mask.on) hide(mask.corners, () => black);
    if (masks.draft) hide(masks.draft, (colour) => (((colour >> 1) & 0x7f7f7f) | 0xff000000) >>> 0);
    const map = new Uint32Array(picture.frame.data.buffer);
    for (let i = 0; i < map.length; ++i) map[i] = pixels[picture.sources[i]] ?? ground;
    canvas.getContext('2d').putImageData(picture.frame, 0, 0);
}

// ---- What is drawn on it

const shownMasks = () =>
    masks.all.filter(({ id }) => id !== masks.edited).map((mask) => (mask.id === masks.moved?.id ? masks.moved : mask));

// All corners that can be dragged.
const cornersOf = () => [
    ...(masks.draft ?? []).map((corner, index) => ({ id: masks.edited, index, corner })),
    ...(masks.draft ? [] : shownMasks()).flatMap(({ id, corners }) =>
        corners.map((corner, index) => ({ id, index, corner })),
    ),
];

// Beyond the limits of pan and tilt.
function beyond({ left, right, low, high }) {
    const outside = 'M-360 0H720V180H-360Z';
    if (left === right && low <= -90 && high >= 90) return '';
    const x = turned(left - west);
    const span = left === right ? 360 : turned(right - left);
    const hole = (shift) => `M${x + shift} ${90 - high}h${span}V${90 - low}h${-span}Z`;
    return outside + [-360, 0, 360].map(hole).join('');
}

function wayOf({ presets, limits }) {
    if (presets.length < 2) return '';
    return presets
        .map((from, i) => trace(pathBetween(from, presets[(i + 1) % presets.length], limits), false))
        .join('');
}

const layer = Object.fromEntries(
    ['beyond', 'way', 'lines', 'seen'].map((name) => [name, shape('path', { class: name })]),
);
const dots = shape('g');
marks.append(layer.lines, layer.beyond, layer.way, layer.seen, dots);

function drawMarks({ presets, limits, home }) {
    const pixel = 360 / (element.clientWidth || 360); // degrees that one of the screen is
    const dot = ([x, y], name, radius, title = '') =>
        shape(
            'circle',
            { class: name, cx: x, cy: y, r: radius * pixel },
            ...(title ? [shape('title', {}, title)] : []),
        );
    layer.lines.setAttribute('d', 'M0 90H360M90 0V180M180 0V180M270 0V180');
    layer.beyond.setAttribute('d', beyond(limits));
    layer.way.setAttribute('d', wayOf({ presets, limits }));
    const letters = say('compass.letters').split(' ');
    const isCoarse = matchMedia('(pointer: coarse)').matches;
    dots.replaceChildren(
        ...letters.map((letter, i) =>
            shape('text', { x: turned(90 * i - west), y: 180 - 5 * pixel, 'font-size': 12 * pixel }, letter),
        ),
        dot(placeOf([home.pan, home.tilt]), 'home', 4),
        ...presets.map(({ pan, tilt, name }) => dot(placeOf([pan, tilt]), 'preset', isCoarse ? 5.5 : 4.5, name)),
        ...cornersOf().map(({ corner }) => dot(placeOf(corner), 'corner', isCoarse ? 5 : 3)),
    );
}

// ---- The pointer

function directionOf({ clientX, clientY }) {
    const box = element.getBoundingClientRect();
    return [
        turned(west + ((clientX - box.left) / box.width) * 360),
        clamp(-90, 90 - ((clientY - box.top) / box.height) * 180, 90),
    ];
}

// What is nearest to a pointer, within its reach.
function nearest(all, event) {
    const box = element.getBoundingClientRect();
    const distances = all.map(([x, y]) =>
        Math.hypot((x / 360) * box.width + box.left - event.clientX, (y / 180) * box.height + box.top - event.clientY),
    );
    const index = distances.indexOf(Math.min(...distances));
    return distances[index] <= reachOf(event) ? index : -1;
}

export function initSphere({ live, ptz }) {
    const redraw = () => {
        if (ptz.state.limits && byId('sphere-panel').open) drawMarks(ptz.state);
    };
    const go = latest(([pan, tilt]) => ptz.moveTo({ pan, tilt }));
    let press = null; // { corner } that is dragged, or {} for looking around

    element.addEventListener('pointerdown', (event) => {
        if (event.button !== 0) return;
        event.preventDefault();
        element.setPointerCapture(event.pointerId);
        const corners = cornersOf();
        const presets = ptz.state.presets;
        const corner =
            corners[
                nearest(
                    corners.map((each) => placeOf(each.corner)),
                    event,
                )
            ];
        const preset =
            presets[
                nearest(
                    presets.map(({ pan, tilt }) => placeOf([pan, tilt])),
                    event,
                )
            ];
        press = { corner };
        if (!corner && preset) ptz.move({ action: 'recall', id: preset.id });
        else if (!corner) go(directionOf(event));
    });
    element.addEventListener('pointermove', (event) => {
        if (!press || !element.hasPointerCapture(event.pointerId)) return;
        if (press.corner) {
            press.hasMoved = true;
            masks.moveCorner(press.corner, directionOf(event), false);
        } else if (event.movementX || event.movementY) {
            go(directionOf(event));
        }
    });
    for (const name of ['pointerup', 'pointercancel']) {
        element.addEventListener(name, (event) => {
            if (press?.corner && press.hasMoved) masks.moveCorner(press.corner, directionOf(event), true);
            press = null;
        });
    }

    // Only what has changed is drawn again.
    let shown = '';
    ptz.onChange(({ presets, limits, home }) => {
        const state = JSON.stringify([presets, limits, home]);
        if (shown === state) return;
        shown = state;
        if (west !== turned(home.pan - 180)) {
            west = turned(home.pan - 180);
            picture.sources = null;
            drawPicture();
        }
        redraw();
    });
    let border = '';
    live.element.addEventListener('viewchange', ({ detail }) => {
        const { pan, tilt, fov } = detail;
        const view = [pan, tilt, fov, west].join();
        if (border === view) return;
        border = view;
        layer.seen.setAttribute('d', trace(borderOf(detail), true));
    });
    masks.addEventListener('change', () => {
        drawPicture();
        redraw();
    });
    new ResizeObserver(redraw).observe(element);

    // When anybody has changed masks or the light, and now and then, since the light changes by itself.
    let known = '';
    const update = ({ revisions = {} }) => {
        const now = [revisions.mask, revisions.video].join();
        if (now === known || !byId('sphere-panel').open) return;
        known = now;
        loadPicture();
    };
    ptz.onChange(update);
    byId('sphere-panel').addEventListener('toggle', () => {
        update(ptz.state);
        redraw();
    });
    setInterval(() => {
        if (!document.hidden && byId('sphere-panel').open && !live.isLost) loadPicture();
    }, 60000);
}
