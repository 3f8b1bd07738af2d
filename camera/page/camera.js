// The live picture, and everything that moves the camera.
import { digits, get, newest, part, post, say, tell } from './server.js';
import { begin_masks, list_masks } from './masks.js';
import { begin_fit } from './fit.js';
import { begin_places } from './places.js';
import { list_recordings } from './recordings.js';
import { load_hull } from './hull.js';
import { load_light } from './light.js';
import { load_system } from './system.js';
import { begin_codes } from './codes.js';
import './sound.js';

const view = part('view'), picture = part('picture'), message = part('message');

// ---- The picture. Asking for the state tells whether the camera is there; a picture that stands still wouldn't.

const size = innerWidth > 700 ? 'width=1280&height=720' : 'width=640&height=360';
const look = () => { picture.src = `/api/video/live?${size}&_=${Date.now()}`; };

let lost = false;
async function watch() {
  try {
    if (!document.hidden) show(await get('/api/ptz'));
    if (lost) {
      lost = false;
      say(message, '');
      await arrive();
    }
  } catch {
    lost = true;
    say(message, 'The connection to the camera is lost. Trying again.');
  }
  setTimeout(watch, state.moving ? 250 : 1000);
}
picture.addEventListener('error', () => { lost = true; });

// ---- Where it looks

let state = { pan: 0, tilt: 0, fov: 60, presets: [], moving: false };
const watchers = [];

function show(next) {
  state = next;
  part('position').textContent =
    `Pan ${digits(next.pan, 1)}°, tilt ${digits(next.tilt, 1)}°, field of view ${digits(next.fov, 1)}°`;
  // A view can be shared as a link.
  if (!next.moving)
    history.replaceState(null, '', next.patrol ? location.pathname :
      `#pan=${next.pan.toFixed(2)}&tilt=${next.tilt.toFixed(2)}&fov=${next.fov.toFixed(2)}`);
  for (const each of watchers) each(next);
}

// One request after another: a stop must not overtake the drive that it ends.
let line = Promise.resolve();
function move(fields, place = message, field) {
  line = line.then(() => tell(place, post('/api/ptz', fields, 3000).then((next) => (show(next), true)), field));
  return line;
}

const between = (low, value, high) => Math.min(Math.max(value, low), high);
const go = ({ pan, tilt, fov = state.fov }) => move({
  action: 'move', pan: (pan % 360 + 360) % 360, tilt: between(-90, tilt, 90), fov: between(2, fov, 110),
});

// How much further the camera pans than the middle of the picture moves: near the zenith a turn is hardly seen.
const reach = (tilt) => 1 / Math.max(0.2, Math.cos(tilt * Math.PI / 180));

const start = new URLSearchParams(location.hash.slice(1));
const shared = ['pan', 'tilt', 'fov'].every((name) => Number.isFinite(parseFloat(start.get(name))));

// While a button or key is held the camera is asked to go on; it stops by itself when nobody asks. Only one request is under
// way, so that none is left behind the stop when the connection is bad.
let held = null, asking = false;
function drive({ pan = 0, tilt = 0, zoom = 0 }, share = 0.5) {
  clearInterval(held);
  const ask = async () => {
    if (asking) return;
    asking = true;
    await move({ action: 'drive', hold: 0.8, pan: between(-1, pan * share * reach(state.tilt), 1), tilt: tilt * share, zoom });
    asking = false;
  };
  held = setInterval(ask, 400);
  ask();
}
function release() {
  if (held === null) return;
  clearInterval(held);
  held = null;
  move({ action: 'stop' });
}
const nudge = ({ pan = 0, tilt = 0, zoom = 0 }) =>
  move({ action: 'nudge', pan: pan * state.fov / 6 * reach(state.tilt), tilt: tilt * state.fov / 6, zoom: zoom / 2 });

for (const button of document.querySelectorAll('[data-pan], [data-zoom]')) {
  const direction = { ...button.dataset };
  let waiting = null, drove = false;
  button.addEventListener('pointerdown', (event) => {
    if (event.button !== 0) return;
    button.setPointerCapture(event.pointerId);
    drove = false;
    waiting = setTimeout(() => { drove = true; drive(direction); }, 250);
  });
  for (const end of ['pointerup', 'pointercancel', 'lostpointercapture'])
    button.addEventListener(end, () => { clearTimeout(waiting); release(); });
  button.addEventListener('contextmenu', (event) => event.preventDefault());
  button.addEventListener('click', () => { if (!drove) nudge(direction); drove = false; });
}

// Keys are for the picture, and for the page where nothing else has them. Two together go aslant; Shift goes faster.
const keys = {
  ArrowLeft: { pan: -1 }, ArrowRight: { pan: 1 }, ArrowUp: { tilt: 1 }, ArrowDown: { tilt: -1 },
  '+': { zoom: 1 }, '-': { zoom: -1 },
};
const down = new Set();
function drive_by_keys(fast) {
  if (!down.size) return release();
  drive(Object.assign({}, ...[...down].map((key) => keys[key])), fast ? 1 : 0.5);
}
const let_go = () => { down.clear(); release(); };
addEventListener('keydown', (event) => {
  if (!keys[event.key] || event.ctrlKey || event.altKey || event.metaKey) return;
  if (event.target !== view && event.target !== document.body && !event.target.closest('.reach')) return;
  event.preventDefault();
  if (event.repeat) return;
  down.add(event.key);
  drive_by_keys(event.shiftKey);
});
addEventListener('keyup', (event) => { if (down.delete(event.key)) drive_by_keys(event.shiftKey); });
addEventListener('focusout', let_go);
addEventListener('blur', let_go);
document.addEventListener('visibilitychange', let_go);

// Dragging turns the camera with the pointer, two fingers zoom. What goes on while a request is under way is sent after it.
const pointers = new Map();
let grip = null;

const spread = () => {
  const [a, b] = pointers.values();
  return b ? Math.hypot(a.x - b.x, a.y - b.y) : 0;
};
const middle = () => {
  const all = [...pointers.values()], sum = (name) => all.reduce((total, one) => total + one[name], 0) / all.length;
  return { x: sum('x'), y: sum('y') };
};
const take = () => { grip = pointers.size ? { ...middle(), spread: spread(), pan: state.pan, tilt: state.tilt, fov: state.fov } : null; };

const follow = newest((target) => go(target));
view.addEventListener('pointerdown', (event) => {
  if (event.button !== 0) return;
  view.setPointerCapture(event.pointerId);
  pointers.set(event.pointerId, { x: event.clientX, y: event.clientY });
  take();
});
view.addEventListener('pointermove', (event) => {
  if (!pointers.has(event.pointerId)) return;
  pointers.set(event.pointerId, { x: event.clientX, y: event.clientY });
  const now = middle(), x = now.x - grip.x, y = now.y - grip.y;
  if (!grip.moved && Math.hypot(x, y) < 6 && Math.abs(spread() - grip.spread) < 6) return;
  grip.moved = true;
  view.classList.add('turning');
  const fov = grip.spread ? grip.fov * grip.spread / Math.max(spread(), 1) : grip.fov;
  const scale = fov / view.clientWidth;
  follow({ pan: grip.pan - x * scale * reach(grip.tilt), tilt: grip.tilt + y * scale, fov });
});
for (const end of ['pointerup', 'pointercancel'])
  view.addEventListener(end, (event) => {
    if (!pointers.delete(event.pointerId)) return;
    const { moved } = grip;
    if (end === 'pointerup' && !moved && pointers.size === 0) {
      const box = view.getBoundingClientRect();
      view.dispatchEvent(new CustomEvent('point', {
        detail: { x: (event.clientX - box.left) / box.width, y: (event.clientY - box.top) / box.height },
      }));
    }
    take();
    if (grip) grip.moved = moved;
    view.classList.remove('turning');
  });
view.addEventListener('wheel', (event) => {
  event.preventDefault();
  if (event.deltaY) move({ action: 'nudge', zoom: event.deltaY < 0 ? 0.25 : -0.25 });
}, { passive: false });

part('home').addEventListener('click', () => move({ action: 'home' }));

// At the start, and whenever the camera is there again.
async function arrive() {
  look();
  await Promise.all([load_light(), list_masks(), list_recordings(), load_hull(), load_system()]);
  return true;
}

// What is drawn in the picture is one thing at a time.
let leave = null;
const tools = {
  view, go, move,
  watch: (each) => watchers.push(each),
  enter: (end) => { leave?.(); leave = end; },
};
for (const begin of [begin_masks, begin_fit, begin_places, begin_codes]) begin(tools);
if (shared) go(Object.fromEntries([...start].map(([name, value]) => [name, parseFloat(value)])));
tell(message, line.then(arrive)).then((done) => { lost = done === undefined; watch(); });
