// Masks: polygons of directions that nobody shall see. Each corner becomes a direction at once, so the camera can be turned while
// one is drawn.
import { ask_twice, element, get, part, post, say, shape, tell } from './server.js';

const list = part('masks-list'), form = part('masks-form'), draw = part('masks-draw'), error = part('masks-error');
const size = { width: 1280, height: 720 };
const pairs = (all) => all.map((pair) => pair.join(',')).join(';');

// ---- The list

let masks = [], look_at = null;

function show(answer) {
  masks = answer.masks;
  part('masks-none').hidden = masks.length > 0;
  list.replaceChildren(...masks.map(row));
}
const change = (fields, field) => tell(error, post('/api/mask', fields).then((answer) => (show(answer), true)), field);

function row(mask) {
  const box = element('input', { type: 'checkbox', checked: mask.on });
  box.addEventListener('change', async () => {
    if (!await change({ action: 'change', id: mask.id, on: box.checked ? 1 : 0 })) box.checked = !box.checked;
    list.querySelector(`[data-id="${mask.id}"] input`)?.focus();
  });
  const remove = element('button', { type: 'button', textContent: 'Delete' });
  // What was hidden would be seen.
  ask_twice(remove, async () => { if (await change({ action: 'remove', id: mask.id })) draw.focus(); }, mask.name);
  const find = element('button', { type: 'button', textContent: 'Look', onclick: () => look_at(middle(mask.corners)) });
  find.setAttribute('aria-label', `Look at ${mask.name}`);
  const item = element('li', {}, element('label', {}, box, mask.name), find, remove);
  item.dataset.id = mask.id;
  return item;
}

// The direction in the middle of some.
function middle(corners) {
  const sum = [0, 0, 0], radian = Math.PI / 180;
  for (const [pan, tilt] of corners) {
    sum[0] += Math.sin(pan * radian) * Math.cos(tilt * radian);
    sum[1] += Math.cos(pan * radian) * Math.cos(tilt * radian);
    sum[2] += Math.sin(tilt * radian);
  }
  return { pan: Math.atan2(sum[0], sum[1]) / radian, tilt: Math.atan2(sum[2], Math.hypot(sum[0], sum[1])) / radian };
}

export const list_masks = () => tell(error, get('/api/mask').then(show));

// ---- Drawing

let corners = null;

let sketching = false, again = false;
async function sketch() {
  again = true;
  if (sketching) return;
  sketching = true;
  while (again) {
    again = false;
    await outline();
  }
  sketching = false;
}
async function outline() {
  if (!corners) return part('sketch').replaceChildren();
  const points = corners.length === 0 ? [] :
    (await get('/api/mask/outline', { ...size, corners: pairs(corners) }).catch(() => null))?.points;
  if (!points || !corners) return;
  const seen = points.filter((point) => point);
  part('sketch').replaceChildren(
    shape('path', { class: 'cross', d: 'M640 336v48M616 360h48' }),
    // What reaches behind the camera has no outline in the picture; its corners show the way.
    ...(seen.length === points.length && seen.length > 1 ? [shape('polygon', { class: 'area', points: seen.join(' ') })] : []),
    ...seen.map(([x, y]) => shape('circle', { class: 'corner', cx: x, cy: y, r: 8 })));
}

function count() {
  const n = corners.length;
  part('masks-count').textContent = `${n === 1 ? 'One corner' : `${n || 'No'} corners`} so far${n < 3 ? '; a mask has at least 3.' : '.'}`;
  part('masks-keep').disabled = n < 3;
  part('masks-back').disabled = n === 0;
  part('masks-corner').disabled = n >= 64;
  sketch();
}

// Corners in the order of their clicks, however long each takes to become a direction.
let line = Promise.resolve();
function add(x, y) {
  const points = `${(x * size.width).toFixed(1)},${(y * size.height).toFixed(1)}`;
  const drawn = corners;
  const asked = tell(error, get('/api/mask/directions', { ...size, points }));
  line = line.then(async () => {
    const answer = await asked;
    if (!answer || corners !== drawn) return;
    if (!answer.corners[0]) say(error, 'There is no direction at this point.');
    else if (corners.length < 64) corners.push(answer.corners[0]);
    count();
  });
}
function back() {
  corners.pop();
  count();
}
function end() {
  corners = null;
  form.reset();
  form.hidden = true;
  draw.hidden = false;
  part('view').classList.remove('drawing');
  sketch();
}

export function begin_masks({ view, go, watch, enter }) {
  look_at = go;
  draw.addEventListener('click', () => {
    enter(end);
    corners = [];
    form.hidden = false;
    draw.hidden = true;
    say(error, '');
    view.classList.add('drawing');
    view.focus();
    count();
  });
  view.addEventListener('point', (event) => { if (corners) add(event.detail.x, event.detail.y); });
  view.addEventListener('keydown', (event) => {
    if (!corners || event.repeat) return;
    const acts = { Enter: () => add(0.5, 0.5), Backspace: () => corners.length && back(), Escape: () => { end(); draw.focus(); } };
    if (!acts[event.key]) return;
    event.preventDefault();
    acts[event.key]();
  });
  part('masks-corner').addEventListener('click', () => add(0.5, 0.5));
  part('masks-back').addEventListener('click', back);
  part('masks-cancel').addEventListener('click', () => { end(); draw.focus(); });
  form.addEventListener('submit', async (event) => {
    event.preventDefault();
    await line;
    const name = part('masks-name');
    if (await change({ action: 'add', name: name.value, corners: pairs(corners) }, name)) {
      end();
      draw.focus();
    }
  });
  watch(() => { if (corners) sketch(); });
}
