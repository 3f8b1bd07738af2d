// Presets and their patrol, home, and how far the camera may turn.
import { attempt, byId, confirmPress, element, formatNumber, shape } from './dom.js';
import { get } from './server.js';

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
    const span = left === right ? 360 : (((right - left) % 360) + 360) % 360;
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
        ...['N', 'E', 'S', 'W'].map((text, i) => label(90 * i, text)),
        path('rim', sectorPath(side, 0, 180)),
        path('free', sectorPath(side, 90 - high, 90 - low)),
        path('home', handPath(side, 90 - home.tilt)),
        path('hand', ''),
    );
    const degrees = (value) => `${formatNumber(value, 1)}°`;
    const turns =
        left === right ? 'Turns all the way round' : `Turns from ${degrees(left)} clockwise to ${degrees(right)}`;
    byId('limits-words').textContent = `${turns}, tilts from ${degrees(low)} to ${degrees(high)}.`;
    byId('limits-home').textContent =
        `Home: pan ${degrees(home.pan)}, tilt ${degrees(home.tilt)}, field of view ${degrees(home.fov)}.`;
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
    byId('presets-form').addEventListener('submit', async (event) => {
        event.preventDefault();
        if (await ptz.move({ action: 'save', name: name.value }, error, name)) event.target.reset();
    });
    const makeRow = ({ id, name: label }) => {
        const recall = () => ptz.move({ action: 'recall', id }, error);
        const remove = element('button', { type: 'button', textContent: 'Delete' });
        const forget = async () => {
            if (await ptz.move({ action: 'forget', id }, error)) name.focus();
        };
        confirmPress(remove, forget, label);
        const button = element('button', { type: 'button', className: 'name', textContent: label, onclick: recall });
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
        else ptz.move({ action: 'patrol', dwell: dwell.value }, byId('patrol-error'), dwell);
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
        ptz.move({ action: 'limits', ...limits }, error);
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
