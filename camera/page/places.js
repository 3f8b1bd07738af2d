// Presets and their patrol, home, and how far the camera may turn.
import { ask_twice, digits, element, part, shape, tell, get } from './server.js';

const edges = ['left', 'right', 'low', 'high'];
const radian = Math.PI / 180;

// ---- What the limits leave, drawn: round the compass from above, and up and down from the side.

const on_circle = (x, y, radius, degrees) => `${(x + radius * Math.sin(degrees * radian)).toFixed(1)} ${(y - radius * Math.cos(degrees * radian)).toFixed(1)}`;

// From one direction clockwise to another; a whole circle is two halves.
function sector(x, y, radius, from, to) {
  const middle = (from + to) / 2;
  const arc = (end) => `A${radius} ${radius} 0 0 1 ${on_circle(x, y, radius, end)}`;
  return `M${x} ${y}L${on_circle(x, y, radius, from)}${arc(middle)}${arc(to)}Z`;
}

// Seen from the side the camera looks to the right: upward is 0 on the circle, the horizon 90.
const plan = [95, 75, 58], side = [215, 75, 58];
const toward = ([x, y, radius], degrees) => `M${x} ${y}L${on_circle(x, y, radius, degrees)}`;

function dial({ limits, home }) {
  const { left, right, low, high } = limits;
  const span = left === right ? 360 : ((right - left) % 360 + 360) % 360;
  const hand = (name, ...where) => shape('path', { class: name, ...where.length ? { d: toward(...where) } : {} });
  const words = ([x, y, radius], degrees, text) => {
    const [at, down] = on_circle(x, y, radius + 9, degrees).split(' ');
    return shape('text', { x: at, y: Number(down) + 4 }, text);
  };
  part('limits-dial').replaceChildren(
    shape('circle', { class: 'rim', cx: plan[0], cy: plan[1], r: plan[2] }),
    shape('path', { class: 'free', d: sector(...plan, left, left + span) }),
    hand('home', plan, home.pan), hand('hand'),
    words(plan, 0, 'N'), words(plan, 90, 'E'), words(plan, 180, 'S'), words(plan, 270, 'W'),
    shape('path', { class: 'rim', d: sector(...side, 0, 180) }),
    shape('path', { class: 'free', d: sector(...side, 90 - high, 90 - low) }),
    hand('home', side, 90 - home.tilt), hand('hand'));
  part('limits-words').textContent =
    `${left === right ? 'Turns all the way round' : `Turns from ${digits(left, 1)}° clockwise to ${digits(right, 1)}°`}, tilts from ${digits(low, 1)}° to ${digits(high, 1)}°.`;
  part('limits-home').textContent = `Home: pan ${digits(home.pan, 1)}°, tilt ${digits(home.tilt, 1)}°, field of view ${digits(home.fov, 1)}°.`;
}

// The hands follow what is shown.
function turn({ pan, tilt }) {
  const [across, upward] = part('limits-dial').querySelectorAll('.hand');
  across?.setAttribute('d', toward(plan, pan));
  upward?.setAttribute('d', toward(side, 90 - tilt));
}

export function begin_places({ view, move, watch }) {
  // ---- Presets

  const list = part('presets-list'), error = part('presets-error'), name = part('presets-name');

  function row(preset) {
    const forget = element('button', { type: 'button', textContent: 'Forget' });
    ask_twice(forget, async () => { if (await move({ action: 'forget', id: preset.id }, error)) name.focus(); }, preset.name);
    return element('li', {}, element('button', {
      type: 'button', className: 'name', textContent: preset.name,
      onclick: () => move({ action: 'recall', id: preset.id }, error),
    }), forget);
  }
  part('presets-form').addEventListener('submit', async (event) => {
    event.preventDefault();
    if (await move({ action: 'save', name: name.value }, error, name)) event.target.reset();
  });

  let patrolling = false;
  part('patrol-form').addEventListener('submit', (event) => {
    event.preventDefault();
    const dwell = part('patrol-dwell');
    move(patrolling ? { action: 'stop' } : { action: 'patrol', dwell: dwell.value }, part('patrol-error'), patrolling ? undefined : dwell);
  });

  // ---- Home and limits

  const problem = part('limits-error'), fields = edges.map((edge) => part(`limits-${edge}`));
  part('limits-go-home').addEventListener('click', () => move({ action: 'home' }, problem));
  part('limits-set-home').addEventListener('click', () => move({ action: 'set-home' }, problem));
  part('limits-form').addEventListener('submit', (event) => {
    event.preventDefault();
    move({ action: 'limits', ...Object.fromEntries(edges.map((edge, i) => [edge, fields[i].value])) }, problem);
  });
  part('limits-none').addEventListener('click', () => move({ action: 'limits', left: 0, right: 0, low: -90, high: 90 }, problem));
  for (const button of document.querySelectorAll('[data-limit]'))
    button.addEventListener('click', async () => {
      const at = await tell(problem, get('/api/ptz')), edge = button.dataset.limit;
      if (at) part(`limits-${edge}`).value = at[edge === 'left' || edge === 'right' ? 'pan' : 'tilt'].toFixed(1);
    });

  // ---- Shown anew where something has changed, so that no focus is lost

  let shown = {};
  const changed = (what, now) => {
    const text = JSON.stringify(now), is = shown[what] !== text;
    shown[what] = text;
    return is;
  };
  watch((state) => {
    patrolling = state.patrol;
    part('patrol').setAttribute('aria-pressed', patrolling);
    if (changed('presets', state.presets)) {
      list.replaceChildren(...state.presets.map(row));
      part('presets-none').hidden = state.presets.length > 0;
    }
    if (changed('limits', state.limits)) edges.forEach((edge, i) => { fields[i].value = Number(state.limits[edge].toFixed(1)); });
    if (changed('dial', [state.limits, state.home])) dial(state);
  });
  view.addEventListener('sight', ({ detail }) => turn(detail));
}
