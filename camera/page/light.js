// By which light the scene is seen, what is written on the picture, exposure and tone curve.
import { digits, get, newest, part, post, shape, tell } from './server.js';
import { library } from './vela.js';

const error = part('light-error'), refused = part('curve-error'), plot = part('curve');

// ---- What was answered last, and what is wanted beyond that. While a knot is dragged only the newest wish is sent on.

let settings = null, wish = null;

function show(answer) {
  settings = answer;
  document.querySelector(`[name=light][value=${answer.light}]`).checked = true;
  part('grid').checked = answer.grid;
  part('stamp').checked = answer.stamp;
  if (!wish) part('exposure').value = answer.exposure;
  if (!grip && !wish) knots = answer.curve; // until then an answer is older than what is wanted
  draw();
  return true;
}
const set = (fields, place = error) => tell(place, post('/api/video', fields).then(show));
export const load_light = () => tell(error, get('/api/video/settings').then(show));

const send = newest(async () => {
  const sent = wish;
  await set(sent, refused);
  if (wish === sent) wish = null;
});
async function ask(fields) {
  wish = { ...wish, ...fields };
  if (settings) draw();
  await send();
  if (!wish && !grip && settings) show(settings);
}

for (const radio of document.querySelectorAll('[name=light]'))
  radio.addEventListener('change', () => set({ light: radio.value }));
for (const mark of ['grid', 'stamp'])
  part(mark).addEventListener('change', () => set({ [mark]: part(mark).checked ? 1 : 0 }));
part('exposure').addEventListener('input', () => ask({ exposure: Number(part('exposure').value) }));

// ---- The curve, drawn as soon as a knot or the exposure is wanted elsewhere: computed here as the camera will compute it, or as
// the camera last did where the page has no library. The knots are where they are wanted.

let knots = [], chosen = 0, grip = null;

const exposure = () => wish?.exposure ?? settings.exposure;
const path = (values) => `M${values.map((value, x) => `${x} ${255 - value}`).join('L')}`;

// The curve's 256 values, and what they are after the exposure; null where the page has no library, and for knots that the camera
// refuses since their x don't rise.
export function tones(knots, exposure) {
  if (!library || knots.some(([x], i) => i > 0 && x <= knots[i - 1][0])) return null;
  const spline = Array.from(library.curve.table('fixedSpline', Int16Array.from(knots.flat())), (value) => between(0, value, 255));
  return { spline, levels: spline.map((_, i) => spline[between(0, i * 2 ** (exposure / 2.2), 255)]) };
}

function draw() {
  const focused = plot.contains(document.activeElement), { spline, levels } = tones(knots, exposure()) ?? settings;
  plot.replaceChildren(
    shape('path', { class: 'frame', d: 'M0 0H255V255H0ZM0 63.75H255M0 127.5H255M0 191.25H255M63.75 0V255M127.5 0V255M191.25 0V255' }),
    ...(exposure() ? [shape('path', { class: 'levels', d: path(levels) })] : []),
    shape('path', { class: 'spline', d: path(spline) }),
    ...knots.map(([x, y], i) => shape('circle', {
      class: 'knot', cx: x, cy: 255 - y, r: 8, tabindex: i === chosen ? 0 : -1, 'data-knot': i, role: 'slider',
      'aria-label': `Knot ${i + 1} of ${knots.length}`, 'aria-valuemin': 0, 'aria-valuemax': 255, 'aria-valuenow': y, 'aria-valuetext': `${x} becomes ${y}`,
    })));
  if (focused) plot.querySelector('[tabindex="0"]')?.focus();
  words();
}
function words() {
  const [x, y] = knots[chosen] ?? [];
  part('curve-words').textContent = x === undefined ? '' :
    `Knot ${chosen + 1} of ${knots.length}: ${x} becomes ${y}.${exposure() ? ' The thin line is the curve after the exposure.' : ''}`;
  part('exposure-words').textContent = `${exposure() > 0 ? '+' : ''}${digits(exposure(), 1)} stops`;
  part('curve-remove').disabled = chosen === 0 || chosen === knots.length - 1;
  part('curve-add').disabled = knots.length >= 16;
}

const between = (low, value, high) => Math.min(Math.max(Math.round(value), low), high);
// The ends stay at the sides. A knot may be led onto its neighbour: the camera says what is wrong with that.
function place(i, x, y) {
  const ends = i === 0 ? 0 : i === knots.length - 1 ? 255 : between(0, x, 255);
  knots = knots.map((knot, k) => (k === i ? [ends, between(0, y, 255)] : knot));
  ask({ curve: knots.map((knot) => knot.join(',')).join(';') });
}
function add(x, y) {
  const at = knots.findIndex((knot) => knot[0] >= x);
  if (knots.length >= 16 || at < 1 || knots[at][0] === x) return false;
  knots = knots.toSpliced(at, 0, [x, y]);
  chosen = at;
  place(at, x, y);
  return true;
}
function remove(i) {
  if (i === 0 || i === knots.length - 1) return;
  knots = knots.toSpliced(i, 1);
  chosen = between(0, i - 1, knots.length - 1);
  place(chosen, ...knots[chosen]);
}
const spline_at = (x) => between(0, settings.spline[x], 255);

const pointed = (event) => {
  const at = new DOMPoint(event.clientX, event.clientY).matrixTransform(plot.getScreenCTM().inverse());
  return [between(0, at.x, 255), between(0, 255 - at.y, 255)];
};
// The nearest knot within a finger's width; elsewhere a new one.
plot.addEventListener('pointerdown', (event) => {
  if (event.button !== 0 || !settings) return;
  event.preventDefault();
  const [x, y] = pointed(event), far = knots.map((knot) => Math.hypot(knot[0] - x, knot[1] - y));
  const nearest = far.indexOf(Math.min(...far));
  grip = { id: event.pointerId };
  if (far[nearest] < 20) chosen = nearest;
  else if (!add(x, y)) grip = null;
  if (!grip) return;
  plot.setPointerCapture(event.pointerId);
  draw();
  plot.querySelector('[tabindex="0"]').focus({ focusVisible: false });
});
plot.addEventListener('pointermove', (event) => { if (grip?.id === event.pointerId) place(chosen, ...pointed(event)); });
for (const end of ['pointerup', 'pointercancel'])
  plot.addEventListener(end, (event) => {
    if (grip?.id !== event.pointerId) return;
    grip = null;
    if (!wish) show(settings);
  });

plot.addEventListener('focusin', (event) => {
  const i = Number(event.target.dataset.knot);
  if (i === chosen) return;
  chosen = i;
  words();
});
const steps = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1] };
plot.addEventListener('keydown', (event) => {
  const step = steps[event.key], i = chosen;
  const acts = {
    Delete: () => remove(i), Backspace: () => remove(i), Insert: () => insert(),
    PageUp: () => choose(i + 1), PageDown: () => choose(i - 1), Home: () => choose(0), End: () => choose(knots.length - 1),
  };
  if (!step && !acts[event.key]) return;
  event.preventDefault();
  if (!step) return acts[event.key]();
  const by = event.shiftKey ? 10 : 1, [x, y] = knots[i];
  place(i, x + by * step[0], y + by * step[1]);
});
function choose(i) {
  chosen = between(0, i, knots.length - 1);
  draw();
}
// In the widest gap, on the curve.
function insert() {
  const gaps = knots.slice(1).map((knot, i) => knot[0] - knots[i][0]), i = gaps.indexOf(Math.max(...gaps));
  const x = Math.round((knots[i][0] + knots[i + 1][0]) / 2);
  add(x, spline_at(x));
}
part('curve-add').addEventListener('click', () => { insert(); plot.querySelector('[tabindex="0"]').focus(); });
part('curve-remove').addEventListener('click', () => remove(chosen));
part('curve-straight').addEventListener('click', () => {
  knots = [[0, 0], [255, 255]];
  chosen = 0;
  part('exposure').value = 0;
  ask({ curve: '0,0;255,255', exposure: 0 });
});
