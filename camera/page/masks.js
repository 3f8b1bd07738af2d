// Masks: polygons of directions that nobody shall see. Each corner becomes a direction at once, so the camera can be turned while
// one is drawn.
import { ask_twice, element, get, newest, part, post, say, shape, tell } from './server.js';
import { hide } from './glass.js';
import { overlay } from './vela.js';

const list = part('masks-list'), form = part('masks-form'), draw = part('masks-draw'), error = part('masks-error');
const size = { width: 1280, height: 720 };
const pairs = (all) => all.map((pair) => pair.join(',')).join(';');

// ---- The list

let masks = [], look_at = null, begin = null;

function show(answer) {
  masks = answer.masks;
  hide(masks.filter((one) => one.on));
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
  const edit = element('button', { type: 'button', textContent: 'Edit', onclick: () => begin(mask) });
  edit.setAttribute('aria-label', `Edit ${mask.name}`);
  const item = element('li', {}, element('label', {}, box, mask.name), find, edit, remove);
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

// ---- Drawing a new one, or a kept one anew

let corners = null, edited = null;
let chosen = null; // the corner that the arrow keys move
let placed = []; // the corners' pixels in the last sketch, null behind the picture

// The view that is shown.
let sight = null;
const here = () => overlay && sight;

const number = (value) => Number(value.toFixed(6));
async function places(directions) {
  if (!here()) return (await get('/api/mask/outline', { ...size, corners: pairs(directions) })).points;
  return directions.map(([pan, tilt]) => {
    const found = overlay.project(sight, pan, tilt);
    return found && [number(found.x), number(found.y)];
  });
}
async function direction(x, y) {
  if (!here()) return (await get('/api/mask/directions', { ...size, points: `${(x * size.width).toFixed(1)},${(y * size.height).toFixed(1)}` })).corners[0];
  const found = overlay.unproject(sight, x * size.width, y * size.height);
  return found && [number(found.pan), number(found.tilt)];
}

// What would be hidden, and its sides. Without the library the sides are straight, and one that reaches behind the camera has none.
function area(points) {
  if (!here()) return points.length > 1 && points.every((one) => one) ? [shape('polygon', { class: 'area', points: points.join(' ') })] : [];
  const path = Float64Array.from([...corners, corners[0]].flat());
  const mask = corners.length > 2 ? overlay.Mask.make(path) : null, runs = mask?.runs(sight) ?? [], sides = overlay.projectPath(sight, path) ?? [];
  mask?.free();
  let inside = '', along = '';
  for (let i = 0; i < runs.length; i += 3) inside += `M${runs[i + 1]} ${runs[i]}H${runs[i + 2]}v1H${runs[i + 1]}z`;
  for (let i = 0; i < sides.length; i += 4) along += `M${sides[i]} ${sides[i + 1]}L${sides[i + 2]} ${sides[i + 3]}`;
  return [shape('path', { class: 'area inside', d: inside }), shape('path', { d: along })];
}

const sketch = newest(outline);
async function outline() {
  if (!corners) return part('sketch').replaceChildren();
  const points = corners.length === 0 ? [] : await places(corners).catch(() => null);
  if (!points || !corners) return;
  placed = points;
  part('sketch').replaceChildren(
    shape('path', { class: 'cross', d: 'M640 336v48M616 360h48' }),
    ...(points.length > 0 ? area(points) : []),
    ...points.flatMap((point, i) => point ? [shape('circle', { class: i === chosen ? 'corner chosen' : 'corner', cx: point[0], cy: point[1], r: 8 })] : []));
}

function count() {
  const n = corners.length;
  part('masks-count').textContent = chosen !== null ? `Corner ${chosen + 1} of ${n}: the arrow keys move it, Enter lets go of it.` :
    `${n === 1 ? 'One corner' : `${n || 'No'} corners`} so far${n < 3 ? '; a mask has at least 3.' : '.'}`;
  part('masks-keep').disabled = n < 3;
  part('masks-back').disabled = n === 0;
  part('masks-corner').disabled = n >= 64;
  sketch();
}

// Corners in the order of their clicks, however long each takes to become a direction.
let line = Promise.resolve();
function add(x, y) {
  const drawn = corners;
  const asked = tell(error, direction(x, y));
  line = line.then(async () => {
    const found = await asked;
    if (found === undefined || corners !== drawn) return;
    if (!found) say(error, 'There is no direction at this point.');
    else if (corners.length < 64) corners.push(found);
    count();
  });
}
// A corner that is dragged follows the pointer; what goes on while a request is under way is asked for after it.
let dragged = null;
async function drag(x, y) {
  const busy = dragged.to;
  dragged.to = [x, y];
  if (busy) return;
  const { i } = dragged, mine = dragged, drawn = corners;
  while (mine.to) {
    const [to_x, to_y] = mine.to;
    const found = await tell(error, direction(to_x, to_y));
    if (mine.to[0] === to_x && mine.to[1] === to_y) mine.to = null;
    if (corners !== drawn) return;
    if (found) corners[i] = found;
    sketch();
  }
}
// By keyboard: one corner after the other is taken, and then none.
function choose(i, go) {
  chosen = i < corners.length ? i : null;
  const at = placed[chosen];
  if (chosen !== null && !(at && at[0] > 0 && at[0] < size.width && at[1] > 0 && at[1] < size.height)) go(middle([corners[chosen]]));
  count();
}
async function shift([right, down]) {
  const drawn = corners, i = chosen, at = placed[i];
  const found = at && await tell(error, direction((at[0] + right) / size.width, (at[1] + down) / size.height));
  if (!found || corners !== drawn) return;
  corners[i] = found;
  await outline();
}
function back() {
  chosen = null;
  corners.pop();
  count();
}
function end() {
  corners = edited = dragged = chosen = null;
  placed = [];
  form.reset();
  form.hidden = true;
  draw.hidden = false;
  part('view').classList.remove('drawing');
  sketch();
}

const steps = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };

export function begin_masks({ view, go, enter }) {
  look_at = go;
  begin = (mask) => {
    enter(end);
    edited = mask;
    corners = mask ? [...mask.corners] : [];
    part('masks-name').value = mask?.name ?? '';
    if (mask) go(middle(mask.corners));
    form.hidden = false;
    draw.hidden = true;
    say(error, '');
    view.classList.add('drawing');
    view.focus();
    count();
  };
  draw.addEventListener('click', () => begin(null));
  // A press on a corner takes it; elsewhere the camera has it.
  const at = (event) => {
    const box = view.getBoundingClientRect();
    return [(event.clientX - box.left) / box.width, (event.clientY - box.top) / box.height, box.width];
  };
  view.addEventListener('pointerdown', (event) => {
    if (!corners || event.button !== 0) return;
    const [x, y, width] = at(event), reach = event.pointerType === 'touch' ? 24 : 12;
    const far = placed.map((one) => (one ? Math.hypot(one[0] / size.width - x, (one[1] - y * size.height) / size.width) * width : Infinity));
    const i = far.indexOf(Math.min(...far));
    if (i < 0 || far[i] > reach) return;
    event.preventDefault();
    event.stopImmediatePropagation();
    view.setPointerCapture(event.pointerId);
    view.focus();
    dragged = { i, id: event.pointerId, to: null };
  }, { capture: true });
  view.addEventListener('pointermove', (event) => { if (dragged?.id === event.pointerId) drag(...at(event)); });
  for (const over of ['pointerup', 'pointercancel'])
    view.addEventListener(over, (event) => { if (dragged?.id === event.pointerId) dragged.id = null; });
  view.addEventListener('point', (event) => { if (corners) add(event.detail.x, event.detail.y); });
  view.addEventListener('keydown', (event) => {
    if (!corners || event.ctrlKey || event.altKey || event.metaKey) return;
    const acts = {
      Enter: () => chosen === null ? add(0.5, 0.5) : choose(Infinity), ' ': () => choose(chosen === null ? 0 : chosen + 1, go),
      Backspace: () => corners.length && back(), Escape: () => { end(); draw.focus(); },
    };
    const step = chosen !== null && steps[event.key];
    if (!step && (event.repeat || !acts[event.key])) return;
    event.preventDefault();
    event.stopImmediatePropagation();
    if (step) shift(step.map((one) => one * (event.shiftKey ? 50 : 5)));
    else acts[event.key]();
  });
  part('masks-corner').addEventListener('click', () => add(0.5, 0.5));
  part('masks-back').addEventListener('click', back);
  part('masks-cancel').addEventListener('click', () => { end(); draw.focus(); });
  form.addEventListener('submit', async (event) => {
    event.preventDefault();
    await line;
    const name = part('masks-name'), kept = { name: name.value, corners: pairs(corners) };
    if (await change(edited ? { action: 'change', id: edited.id, ...kept } : { action: 'add', ...kept }, name)) {
      end();
      draw.focus();
    }
  });
  view.addEventListener('sight', ({ detail }) => {
    const moved = !sight || ['pan', 'tilt', 'fov'].some((name) => sight[name] !== detail[name]);
    sight = { ...detail, ...size };
    if (corners && moved) sketch();
  });
}
