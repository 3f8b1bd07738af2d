// The live picture, and everything that moves the camera.
import { digits, get, newest, part, post, say, tell } from './server.js';
import { begin_glass, draw, take as take_picture } from './glass.js';
import { camera_time, hear, moves_at, position_at, view_of } from './motion.js';
import { pictures } from './pictures.js';
import { begin_masks, list_masks } from './masks.js';
import { begin_fit } from './fit.js';
import { begin_places } from './places.js';
import { list_recordings } from './recordings.js';
import { load_hull } from './hull.js';
import { load_light } from './light.js';
import { load_system } from './system.js';
import { begin_codes } from './codes.js';
import { overlay } from './vela.js';
import './sound.js';

const view = part('view'), picture = part('picture'), message = part('message');

// ---- The picture. Asking for the state tells whether the camera is there; a picture that stands still wouldn't.

const size = innerWidth > 700 ? { width: 1280, height: 720 } : { width: 640, height: 360 };

// Whether the page draws pictures by itself, in the view of now; elsewhere the browser shows them as they come.
const glazed = begin_glass(size);
let receiving = null;

async function look() {
  receiving?.abort();
  receiving = null;
  const asked = new URLSearchParams({ ...size, _: Date.now() });
  picture.hidden = await glazed;
  if (!picture.hidden) {
    picture.src = `/api/video/live?${asked}`;
    caption('');
    return;
  }
  const { signal } = receiving = new AbortController();
  try {
    for await (const one of pictures(`/api/video/live?${asked}&stamp=0`, signal)) if (!document.hidden) develop(one, signal);
  } catch {
    lost ||= !signal.aborted;
  }
}
const develop = newest(async ({ jpeg, view, stamp }, signal) => {
  const image = await createImageBitmap(jpeg).catch(() => null); // one that is damaged is left out
  if (!image || signal.aborted) return;
  take_picture(image, view);
  image.close();
  caption(stamp);
  refresh();
});
function caption(text) {
  part('caption').hidden = !text;
  part('caption-time').textContent = text;
}

let lost = false;
async function watch() {
  try {
    if (!document.hidden) await heard(get('/api/ptz'));
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
  // A view can be shared as a link.
  if (!next.moving)
    history.replaceState(null, '', next.patrol ? location.pathname :
      `#pan=${next.pan.toFixed(2)}&tilt=${next.tilt.toFixed(2)}&fov=${next.fov.toFixed(2)}`);
  for (const each of watchers) each(next);
  refresh();
}
async function heard(answer) {
  const asked = performance.now(), next = await answer;
  hear(next, asked);
  show(next);
  return true;
}

// One request after another: a stop must not overtake the drive that it ends.
let line = Promise.resolve();
function send(fields, place = message, field) {
  line = line.then(() => tell(place, heard(post('/api/ptz', fields, 3000)), field));
  return line;
}
function move(...asked) {
  ahead = null;
  return send(...asked);
}

// ---- What is shown at every moment: the view that the pointer has turned to, which the camera follows, else where the camera
// looks by its plan. Who draws on the picture hears of each view before it is seen.

let ahead = null, sight = null, frame = 0;

function refresh() { frame ||= requestAnimationFrame(paint); }

function paint(time) {
  frame = 0;
  const now = camera_time(time), moving = moves_at(now);
  if (ahead && !grip && !following && !moving) ahead = null;
  sight = { ...size, ...view_of(ahead ?? position_at(now)) };
  draw(sight);
  const pan = (sight.pan % 360 + 360) % 360;
  const words = `Pan ${digits(pan, 1)}°, tilt ${digits(sight.tilt, 1)}°, field of view ${digits(sight.fov, 1)}°`;
  if (part('position').textContent !== words) {
    part('position').textContent = words;
    part('caption-view').textContent = `${digits(pan, 1)}° ${digits(sight.tilt, 1)}°  ${digits(sight.fov, 1)}°`;
  }
  view.dispatchEvent(new CustomEvent('sight', { detail: sight }));
  if (moving) refresh();
}

const between = (low, value, high) => Math.min(Math.max(value, low), high);
const to = ({ pan, tilt, fov = state.fov }) =>
  ({ action: 'move', pan: (pan % 360 + 360) % 360, tilt: between(-90, tilt, 90), fov: between(2, fov, 110) });
const go = (target) => move(to(target));

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

// Dragging turns the view with the pointer, two fingers zoom, and the camera follows. What goes on while a request is under way is
// sent after it.
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
const take = () => {
  grip = pointers.size ? { ...middle(), spread: spread(), ...sight } : null;
  if (grip && overlay) grip.held = overlay.unproject(sight, ...pixel(grip));
};
const pixel = ({ x, y }) => {
  const box = view.getBoundingClientRect();
  return [(x - box.left) / box.width * size.width - 0.5, (y - box.top) / box.height * size.height - 0.5];
};

let following = false;
const follow = newest(async (target) => {
  following = true;
  if (!await send(to(target))) ahead = null;
  following = false;
  refresh();
});

// As far as the camera may go.
function reachable({ pan, tilt, fov }) {
  const [pans, tilts, zooms] = state.reach;
  return { pan: between(pans[0], pan, pans[1]), tilt: between(tilts[0], tilt, tilts[1]), fov: between(2 ** zooms[0], fov, 2 ** zooms[1]) };
}

// The view in which what was taken stands under the pointer, from the view before on.
function turned(fov, x, y) {
  const scale = fov / size.width;
  if (!grip.held) {
    const [from_x, from_y] = pixel(grip);
    return reachable({ pan: grip.pan - (x - from_x) * scale * reach(grip.tilt), tilt: grip.tilt + (y - from_y) * scale, fov });
  }
  let wanted = reachable({ ...ahead ?? grip, fov });
  for (let i = 0; i < 10; ++i) {
    const at = overlay.project({ ...size, ...wanted }, grip.held.pan, grip.held.tilt);
    if (!at || Math.hypot(at.x - x, at.y - y) < 0.1) break;
    wanted = reachable({ pan: wanted.pan + (at.x - x) * scale * reach(grip.held.tilt), tilt: wanted.tilt - (at.y - y) * scale, fov });
  }
  return wanted;
}
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
  ahead = view_of(turned(fov, ...pixel(now)));
  follow(ahead);
  refresh();
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
tell(message, heard(get('/api/ptz')).then(arrive)).then((done) => { lost = done === undefined; watch(); });
