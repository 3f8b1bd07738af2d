// Presets and their patrol, home, and how far the camera may turn.
import { attempt, byId, element, formatDegrees, shape, turned } from './dom.js';
import { history } from './history.js';
import { get } from './server.js';
import { say } from './texts.js';

const edges = ['left', 'right', 'low', 'high'];
const noLimits = { left: 0, right: 0, low: -90, high: 90 };
const radian = Math.PI / 180;

// ---- The limits, drawn: the compass from above, and the tilt from the side, where the camera looks to the right

const compass = { x: 95, y: 75, radius: 58 };
const side = { x: 215, y: 75, radius: 58 };

// Angles are clockwise from the top.
function pointAt({ x, y, radius }, degrees) {
    const [across, down] = [x + radius * Math.sin(degrees * radian), y - radius * Math.cos(degrees * radian)];
    return `${across.toFixed(1)} ${down.toFixed(1)}`;
}
const handPath = (dial, degrees) => `M${dial.x} ${dial.y}L${pointAt(dial, degrees)}`;

// Two arcs, since one of a whole circle would be none.
function sectorPath(dial, from, to) {
    const { radius } = dial;
    const arc = (end) => `A${radius} ${radius} 0 0 1 ${pointAt(dial, end)}`;
    return `${handPath(dial, from)}${arc((from + to) / 2)}${arc(to)}Z`;
}

function drawDial({ limits, home }) {
    const { left, right, low, high } = limits;
    const span = left === right ? 360 : turned(right - left);
    const path = (name, d) => shape('path', { class: name, d });
    const label = (degrees, text) => {
        const [x, y] = pointAt({ ...compass, radius: compass.radius + 9 }, degrees).split(' ');
        return shape('text', { x, y: Number(y) + 4 }, text);
    };
    byId('limits-dial').replaceChildren(
        shape('circle', { class: 'rim', cx: compass.x, cy: compass.y, r: compass.radius }),
        path('free', sectorPath(compass, left, left + span)),
        path('home', handPath(compass, home.pan)),
        path('hand', ''),
        ...say('compass.letters')
            .split(' ')
            .map((text, i) => label(90 * i, text)),
        path('rim', sectorPath(side, 0, 180)),
        path('free', sectorPath(side, 90 - high, 90 - low)),
        path('home', handPath(side, 90 - home.tilt)),
        path('hand', ''),
    );
    const inDegrees = (angles) =>
        Object.fromEntries(Object.entries(angles).map(([name, angle]) => [name, formatDegrees(angle)]));
    byId('limits-words').textContent = say(left === right ? 'limits.all' : 'limits.between', inDegrees(limits));
    byId('limits-home').textContent = say('limits.home', inDegrees(home));
}

function turnHands({ pan, tilt }) {
    const [compassHand, sideHand] = byId('limits-dial').querySelectorAll('.hand');
    compassHand?.setAttribute('d', handPath(compass, pan));
    sideHand?.setAttribute('d', handPath(side, 90 - tilt));
}

// ---- Panels

function initPresetsPanel(ptz) {
    const error = byId('presets-error');
    const name = byId('presets-name');
    const find = (label) => ptz.state.presets.find((preset) => preset.name === label);
    const put = ({ name, pan, tilt, fov }, marked) =>
        ptz.send({ action: 'save', name, pan: turned(pan), tilt, fov }, error, marked);
    const forget = (label) => ptz.send({ action: 'forget', id: find(label)?.id ?? '' }, error);
    byId('presets-form').addEventListener('submit', (event) => {
        event.preventDefault();
        const { pan, tilt, fov } = ptz.state;
        const preset = { name: name.value.trim(), pan, tilt, fov };
        history.change(async () => {
            const before = find(preset.name); // whose view this one replaces
            if (!(await put(preset, { name }))) return undefined;
            event.target.reset();
            const words = say(before ? 'presets.replaced' : 'presets.saved', { name: preset.name });
            return [() => (before ? put(before) : forget(preset.name)), () => put(preset), words];
        });
    });
    const makeRow = ({ id, name: label }) => {
        const recall = () => ptz.move({ action: 'recall', id }, error);
        const removePreset = () =>
            history.change(async () => {
                const before = find(label);
                if (!(await forget(label))) return undefined;
                name.focus({ preventScroll: true });
                return [() => put(before), () => forget(label), say('presets.removed', { name: label })];
            });
        const button = element('button', { type: 'button', className: 'name', textContent: label, onclick: recall });
        const remove = element('button', { type: 'button', textContent: say('delete'), onclick: removePreset });
        remove.setAttribute('aria-label', say('delete.name', { name: label }));
        return element('li', {}, button, remove);
    };
    return (presets) => {
        byId('presets-list').replaceChildren(...presets.map(makeRow));
        byId('presets-none').hidden = presets.length > 0;
    };
}

function initPatrol(ptz) {
    byId('patrol-form').addEventListener('submit', (event) => {
        event.preventDefault();
        const dwell = byId('patrol-dwell');
        if (ptz.state.patrol) ptz.move({ action: 'stop' }, byId('patrol-error'));
        else ptz.move({ action: 'patrol', dwell: dwell.value }, byId('patrol-error'), { dwell });
    });
    return (isPatrolling) => byId('patrol').setAttribute('aria-pressed', isPatrolling);
}

function initLimits(ptz) {
    const error = byId('limits-error');
    const fields = edges.map((edge) => byId(`limits-${edge}`));
    byId('limits-go-home').addEventListener('click', () => ptz.move({ action: 'home' }, error));
    byId('limits-set-home').addEventListener('click', () => ptz.move({ action: 'set-home' }, error));
    byId('limits-form').addEventListener('submit', (event) => {
        event.preventDefault();
        const limits = Object.fromEntries(edges.map((edge, i) => [edge, fields[i].value]));
        const marked = Object.fromEntries(edges.map((edge, i) => [edge, fields[i]]));
        ptz.move({ action: 'limits', ...limits }, error, marked);
    });
    byId('limits-none').addEventListener('click', () => ptz.move({ action: 'limits', ...noLimits }, error));
    for (const button of document.querySelectorAll('[data-limit]')) {
        button.addEventListener('click', async () => {
            const edge = button.dataset.limit;
            const view = await attempt(error, get('/api/ptz'));
            const angle = edge === 'left' || edge === 'right' ? 'pan' : 'tilt';
            if (view) byId(`limits-${edge}`).value = view[angle].toFixed(1);
        });
    }
    return (limits) => {
        for (const [i, edge] of edges.entries()) fields[i].value = Number(limits[edge].toFixed(1));
    };
}

export function initPresets({ live, ptz }) {
    const [showPresets, showPatrol, showLimits] = [initPresetsPanel, initPatrol, initLimits].map((init) => init(ptz));
    // Only what has changed is shown again, so that no focus is lost.
    const shown = {};
    const update = (name, value, show) => {
        const text = JSON.stringify(value);
        if (shown[name] === text) return;
        shown[name] = text;
        show(value);
    };
    ptz.onChange(({ presets, patrol, limits, home }) => {
        update('presets', presets, showPresets);
        update('patrol', patrol, showPatrol);
        update('limits', limits, showLimits);
        update('dial', { limits, home }, drawDial);
    });
    live.element.addEventListener('viewchange', ({ detail }) => turnHands(detail));
}
