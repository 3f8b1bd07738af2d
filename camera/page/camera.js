// The page: the live picture, what moves the camera, and the panels.
import { initChecksums } from './checksums.js';
import { initCodes } from './codes.js';
import { initControls } from './controls.js';
import { attempt, byId, showText } from './dom.js';
import { initFit } from './fit.js';
import { initHull } from './hull.js';
import { loadLight } from './light.js';
import { LiveView } from './live.js';
import { initMasks, loadMasks } from './masks.js';
import { PointerControl } from './pointer.js';
import { initPresets } from './presets.js';
import { Ptz } from './ptz.js';
import { loadRecordings } from './recordings.js';
import { loadSystem } from './system.js';
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
    },
};

// At the start, and whenever the camera is there again.
async function load() {
    live.receive();
    await Promise.all([loadLight(), loadMasks(), loadRecordings(), loadSystem()]);
    return true;
}

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
        showText(message, 'The connection to the camera is lost. Trying again.');
    }
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
ptz.onChange(writeLink);
new PointerControl(live, ptz);
initControls(ptz, live.element);
for (const init of [initMasks, initFit, initPresets, initCodes, initHull, initChecksums]) init({ live, ptz, modes });
if (link) ptz.moveTo(link);
live.isLost = (await attempt(message, ptz.refresh().then(load))) === undefined;
watch();
