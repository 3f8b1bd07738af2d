// The page: the live picture, what moves the camera, and the panels.
import { attempt, byId, showText } from './dom.js';
import { initChecksums } from './checksums.js';
import { initCodes } from './codes.js';
import { initControls } from './controls.js';
import { initFit } from './fit.js';
import { initHeadline } from './headline.js';
import { initHull } from './hull.js';
import { initHistogram, loadLight } from './light.js';
import { LiveView } from './live.js';
import { initMasks } from './mask-editor.js';
import { loadMasks } from './masks.js';
import { initPanels } from './panels.js';
import { PointerControl } from './pointer.js';
import { initPresets } from './presets.js';
import { Ptz } from './ptz.js';
import { loadRecordings } from './recordings.js';
import { initSphere } from './sphere.js';
import { loadSystem } from './system.js';
import { locale, say } from './texts.js';
import './sound.js';

const size = innerWidth > 700 ? { width: 1280, height: 720 } : { width: 640, height: 360 };
const message = byId('message');

export const ptz = new Ptz();
export const live = new LiveView(byId('view'), size, ptz);

// Only one panel draws in the picture at a time: entering a mode ends the one before.
const modes = {
    leave: null,
    enter(leave) {
        this.leave?.();
        this.leave = leave;
        // The picture is drawn in where it is large.
        if (leave && document.querySelector('.away')) scrollTo({ top: 0 });
    },
};

// ---- What the camera has, loaded at the start, when the camera is there again, and when anybody has changed it

const parts = { video: loadLight, mask: loadMasks, recordings: loadRecordings, system: loadSystem };
let revisions = {};

async function load() {
    live.receive();
    await Promise.all(Object.values(parts).map((loadPart) => loadPart()));
    return true;
}

function loadChanged(latest = {}) {
    const changed = Object.keys(latest).filter((name) => revisions[name] && revisions[name] !== latest[name]);
    revisions = { ...revisions, ...latest };
    for (const name of changed) parts[name]?.();
    if (changed.includes('ptz')) ptz.refresh().catch(() => {});
}
live.element.addEventListener('picture', ({ detail }) => loadChanged(detail.revisions));

// Asking for the state shows whether the camera is there; a picture that stands still would not.
async function watch() {
    try {
        if (!document.hidden) await ptz.refresh();
        if (live.isLost) {
            live.isLost = false;
            showText(message, '');
            await load();
        }
    } catch {
        live.isLost = true;
        const time = (live.received ?? new Date()).toLocaleTimeString(locale);
        showText(message, say('live.since', { time }));
    }
    live.element.classList.toggle('lost', live.isLost);
    setTimeout(watch, ptz.state.moving ? 250 : 1000);
}

// A view can be shared as a link.
function readLink() {
    const fields = new URLSearchParams(location.hash.slice(1));
    const view = Object.fromEntries(['pan', 'tilt', 'fov'].map((name) => [name, parseFloat(fields.get(name))]));
    return Object.values(view).every(Number.isFinite) ? view : null;
}
function writeLink({ pan, tilt, fov, moving }) {
    if (moving) return;
    history.replaceState(null, '', `#pan=${pan.toFixed(2)}&tilt=${tilt.toFixed(2)}&fov=${fov.toFixed(2)}`);
}

const link = readLink();
const page = { live, ptz, modes };
ptz.onChange(writeLink);
ptz.onChange((state) => loadChanged(state.revisions));
new PointerControl(page);
for (const init of [
    initPanels,
    initControls,
    initHeadline,
    initMasks,
    initFit,
    initPresets,
    initSphere,
    initHistogram,
    initCodes,
    initHull,
    initChecksums,
]) {
    init(page);
}
if (link) ptz.moveTo(link);
live.isLost = (await attempt(message, ptz.refresh().then(load))) === undefined;
watch();
