// The live picture, and everything that moves the camera.
const page = Object.fromEntries([...document.querySelectorAll('[id]')].map((one) => [one.id, one]));

const say = (text) => {
  page.message.textContent = text;
  page.message.hidden = !text;
};

// ---- Requests

let token = '';

async function get(path) {
  const answer = await fetch(path, { cache: 'no-store' });
  if (!answer.ok) throw new Error(await answer.text());
  return answer.json();
}

async function post(path, fields) {
  const answer = await fetch(path, {
    method: 'POST',
    headers: { 'X-Camera-Token': token },
    body: new URLSearchParams(fields),
  });
  if (!answer.ok) throw new Error(await answer.text());
  return answer.json();
}

// Says what went wrong where it belongs: over the picture.
const tell = (work) => work.then((result) => (say(''), result), (error) => say(error.message.replace(/\s+/g, ' ')));

// ---- The picture

const size = innerWidth > 700 ? 'width=1280&height=720' : 'width=640&height=360';

function look() {
  page.picture.src = `/api/video/live?${size}&_=${Date.now()}`;
}
page.picture.addEventListener('error', () => {
  say('The connection to the camera is lost.');
  setTimeout(look, 1000);
});
page.picture.addEventListener('load', () => say(''));

// ---- Where it looks

let state = { pan: 0, tilt: 0, fov: 60, presets: [] };

function show(next) {
  state = next;
  page.position.textContent = `pan ${next.pan.toFixed(1)}°, tilt ${next.tilt.toFixed(1)}°, field of view ${next.fov.toFixed(1)}°`;
  page.patrol.setAttribute('aria-pressed', next.patrol);
  page.list.replaceChildren(...next.presets.map((preset) => {
    const go = Object.assign(document.createElement('button'), { type: 'button', textContent: preset.name });
    go.addEventListener('click', () => move({ action: 'recall', id: preset.id }));
    const item = document.createElement('li');
    item.append(go);
    return item;
  }));
}

const move = (fields) => tell(post('/api/ptz', fields).then(show));

// While a button or key is held the camera is asked to go on, twice a second; it stops by itself when nobody asks.
let held = null;
function drive(direction) {
  release();
  const ask = () => move({ action: 'drive', hold: 0.8, ...direction });
  held = setInterval(ask, 400);
  ask();
}
function release() {
  if (held === null) return;
  clearInterval(held);
  held = null;
  move({ action: 'stop' });
}
for (const button of document.querySelectorAll('[data-pan], [data-zoom]')) {
  const { pan = 0, tilt = 0, zoom = 0 } = button.dataset;
  button.addEventListener('pointerdown', (event) => {
    button.setPointerCapture(event.pointerId);
    drive({ pan, tilt, zoom });
  });
  for (const end of ['pointerup', 'pointercancel', 'lostpointercapture']) button.addEventListener(end, release);
  button.addEventListener('click', (event) => {
    if (event.detail === 0) move({ action: 'nudge', pan: pan * state.fov / 6, tilt: tilt * state.fov / 6, zoom: zoom / 2 });
  });
}
const keys = {
  ArrowLeft: { pan: -1 }, ArrowRight: { pan: 1 }, ArrowUp: { tilt: 1 }, ArrowDown: { tilt: -1 },
  '+': { zoom: 1 }, '-': { zoom: -1 },
};
page.view.addEventListener('keydown', (event) => {
  if (!keys[event.key]) return;
  event.preventDefault();
  if (!event.repeat) drive(keys[event.key]);
});
page.view.addEventListener('keyup', release);
page.view.addEventListener('blur', release);
addEventListener('blur', release);

// Dragging turns the camera by what the pointer moves over the picture.
let grip = null;
page.view.addEventListener('pointerdown', (event) => {
  page.view.setPointerCapture(event.pointerId);
  grip = { x: event.clientX, y: event.clientY };
});
page.view.addEventListener('pointerup', (event) => {
  if (!grip) return;
  const scale = state.fov / page.view.clientWidth;
  const pan = (grip.x - event.clientX) * scale, tilt = (event.clientY - grip.y) * scale;
  grip = null;
  if (Math.hypot(pan, tilt) > 0.2) move({ action: 'nudge', pan, tilt });
});
page.view.addEventListener('wheel', (event) => {
  event.preventDefault();
  move({ action: 'nudge', zoom: event.deltaY < 0 ? 0.25 : -0.25 });
}, { passive: false });

// ---- Presets, light

page.home.addEventListener('click', () => move({ action: 'home' }));
page.patrol.addEventListener('click', () => move({ action: state.patrol ? 'stop' : 'patrol' }));
page.presets.addEventListener('submit', (event) => {
  event.preventDefault();
  move({ action: 'save', name: page.name.value }).then(() => page.presets.reset());
});
const setting = (fields) => tell(post('/api/video', fields));
for (const radio of document.querySelectorAll('[name=light]'))
  radio.addEventListener('change', () => setting({ light: radio.value }));
page.grid.addEventListener('change', () => setting({ grid: page.grid.checked ? 1 : 0 }));

async function begin() {
  ({ token } = await get('/api/ptz/token'));
  const settings = await get('/api/video/settings');
  document.querySelector(`[name=light][value=${settings.light}]`).checked = true;
  page.grid.checked = settings.grid;
  show(await get('/api/ptz'));
  look();
}
tell(begin());
setInterval(() => document.hidden || get('/api/ptz').then(show, () => {}), 1000);
