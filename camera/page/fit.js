// Measured in the picture: a surface of second degree through the brightness at some samples, or the line of angles across
// the lens. Samples are pixels; where the camera is turned, they are measured anew.
import { digits, element, get, part, say, shape, tell } from './server.js';

const size = { width: 1280, height: 720 };
const kinds = {
  exposure: { least: 6, unit: '', decimals: 1, what: 'brightness' },
  lens: { least: 3, unit: '°', decimals: 4, what: 'angles beside the middle' },
};
const take = part('fit-take'), error = part('fit-error'), sketch = part('fit-sketch'), panel = part('fit-panel');

let kind = 'exposure', samples = [], answer = null, cross = null;

// ---- What is shown: in the picture, in words and as a table

const words_at = (x, y, text) => shape('text', { x, y }, text);

// Brightness of the surface on a grid, or a ruler of the degrees that the line gives.
function model() {
  if (!answer) return [];
  if (kind === 'exposure')
    return answer.grid.flatMap((row, j) => row.map((luma, i) => {
      const grey = Math.round(Math.min(Math.max(luma, 0), 255));
      return shape('rect', { class: 'tone', x: i * 156 + 6, y: j * 171 + 8, width: 20, height: 20, fill: `rgb(${grey},${grey},${grey})` });
    }));
  const [offset, slope] = answer.coefficients, wide = slope * size.width;
  const step = [0.1, 0.2, 0.5, 1, 2, 5, 10, 20].find((one) => wide / one < 14) ?? 50, ticks = [];
  for (let angle = Math.ceil(offset / step) * step; angle < offset + wide; angle += step) {
    const x = (angle - offset) / slope;
    ticks.push(shape('path', { d: `M${x} 664v20` }), words_at(x, 710, `${digits(angle, step < 1 ? 1 : 0)}°`));
  }
  return [shape('path', { d: 'M0 674H1280' }), ...ticks];
}

function draw() {
  const shown = panel.open ? samples : [], { decimals } = kinds[kind];
  const most = Math.max(1e-9, ...(answer?.samples ?? []).map((one) => Math.abs(one.residual)));
  sketch.replaceChildren(
    ...(panel.open ? model() : []),
    ...shown.flatMap(([x, y], i) => {
      const one = answer?.samples[i], dot = shape('circle', { class: 'corner', cx: x, cy: y, r: 7 });
      if (!one) return [dot];
      // A stem as long as the residual, the largest 60 pixels.
      const end = y - 60 * one.residual / most, above = one.residual > 0, text = digits(one.residual, decimals);
      return [shape('path', { class: 'stem', d: `M${x} ${y}V${end}` }), dot,
        words_at(x, above ? Math.max(end - 8, 22) : Math.min(end + 28, 712), above && Number(text) ? `+${text}` : text)];
    }),
    ...(cross ? [shape('path', { class: 'cross', d: `M${cross[0]} ${cross[1] - 24}v48M${cross[0] - 24} ${cross[1]}h48` })] : []));
}

function show() {
  const { least, unit, decimals, what } = kinds[kind], n = samples.length;
  part('fit-words').textContent = answer ?
    kind === 'exposure' ? `${n} samples of ${what}; residuals of ${digits(answer.rms, 2)} in the mean (root of squares).` :
      `${n} samples; the line gives ${digits(1000 * answer.coefficients[1], 3)}° for 1000 pixels, the lens is built for ${digits(1000 * answer.expected, 3)}°. Residuals of ${digits(answer.rms, 4)}° in the mean.` :
    `${n || 'No'} sample${n === 1 ? '' : 's'} yet; ${least} at least.`;
  part('fit-back').disabled = part('fit-clear').disabled = n === 0;
  panel.querySelector('.scroll').hidden = !answer;
  part('fit-rows').replaceChildren(...(answer?.samples ?? []).map((one, i) => element('tr', {},
    element('th', { scope: 'row', textContent: samples[i].join(', ') }),
    ...['value', 'fitted', 'residual'].map((name) => element('td', { textContent: digits(one[name], decimals) + unit })))));
  draw();
}

// ---- Measuring: the newest samples, once the one before has been answered

let busy = false, again = false;
async function measure() {
  again = true;
  if (busy) return;
  busy = true;
  while (again) {
    again = false;
    const enough = samples.length >= kinds[kind].least;
    const found = enough ? await tell(error, get(`/api/fit/${kind}`, { ...size, samples: samples.map((one) => one.join(',')).join(';') })) : undefined;
    if (!enough) say(error, '');
    if (!again) answer = found ?? null;
  }
  busy = false;
  show();
}

const within = (value, most) => Math.min(Math.max(Math.round(value), 0), most - 1);
function add(x, y) {
  if (samples.length >= 64) return say(error, 'There are 64 samples, and that’s the most.');
  samples = [...samples, [within(x, size.width), within(y, size.height)]];
  changed();
}
function back() {
  samples = samples.slice(0, -1);
  changed();
}
function changed() {
  answer = null;
  show();
  measure();
}

export function begin_fit({ view, watch, enter }) {
  const finish = () => {
    cross = null;
    take.setAttribute('aria-pressed', 'false');
    view.classList.remove('drawing');
    draw();
  };
  take.addEventListener('click', () => {
    if (cross) return enter(null);
    enter(finish);
    cross = [size.width / 2, size.height / 2];
    take.setAttribute('aria-pressed', 'true');
    view.classList.add('drawing');
    view.focus();
    draw();
  });
  view.addEventListener('point', (event) => { if (cross) add(event.detail.x * size.width, event.detail.y * size.height); });
  // The arrows move the cross now, and not the camera.
  const steps = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
  view.addEventListener('keydown', (event) => {
    if (!cross || event.ctrlKey || event.altKey || event.metaKey) return;
    const step = steps[event.key];
    const acts = { Enter: () => add(...cross), Backspace: () => samples.length && back(), Escape: () => { enter(null); take.focus(); } };
    if (!step && !acts[event.key]) return;
    event.preventDefault();
    event.stopImmediatePropagation();
    if (!step) return acts[event.key]();
    const by = event.shiftKey ? 100 : 10;
    cross = [within(cross[0] + by * step[0], size.width), within(cross[1] + by * step[1], size.height)];
    part('fit-words').textContent = `Cross at ${cross.join(', ')}.`;
    draw();
  });
  part('fit-back').addEventListener('click', back);
  part('fit-clear').addEventListener('click', () => { samples = []; changed(); });
  for (const radio of document.querySelectorAll('[name=fit]'))
    radio.addEventListener('change', () => { kind = radio.value; changed(); });
  panel.addEventListener('toggle', () => {
    if (cross && !panel.open) enter(null);
    if (panel.open) measure();
    draw();
  });
  let seen = '';
  watch(({ pan, tilt, fov, moving }) => {
    const now = [pan, tilt, fov].join();
    if (moving || now === seen) return;
    seen = now;
    if (panel.open && samples.length) measure();
  });
  show();
}
