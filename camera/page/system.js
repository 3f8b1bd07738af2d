// What the camera is, its clock, and what each part of the library computes on its processor.
import { element, get, part, post, tell } from './server.js';
import { digests_here } from './vela.js';

const error = part('system-error');

// ---- Identity and clock. The clock goes on between two answers, in the camera's own zone.

let clock = null;

function show(system) {
  const sign = system.local.slice(-5), zone = (sign[0] === '-' ? -1 : 1) * (60 * sign.slice(1, 3) + Number(sign.slice(3)));
  clock = { ahead: system.time * 1000 - Date.now(), zone: zone * 60000, name: sign };
  const facts = {
    Name: system.name, Version: system.version, Processor: system.architecture, MAC: system.mac, UUID: system.uuid, Clock: '',
    Ahead: `${system.offset.toFixed(1)} s`,
  };
  if (Math.abs(system.offset) < 0.05) delete facts.Ahead;
  part('system-facts').replaceChildren(...Object.entries(facts).flatMap(([name, value]) =>
    [element('dt', { textContent: name }), element('dd', { textContent: value })]));
  [...part('system-facts').children].find((one) => one.textContent === 'Clock').nextSibling.id = 'system-clock';
  document.title = part('name').textContent = system.name;
  tick();
  return true;
}
const there = () => new Date(Date.now() + clock.ahead + clock.zone).toISOString().slice(0, 19);
function tick() {
  if (clock) part('system-clock').textContent = `${there().replace('T', ' ')} ${clock.name}`;
}
setInterval(tick, 1000);
export const load_system = () => tell(error, get('/api/system').then(show));

const change = (place, fields, field) => tell(place, post('/api/system', fields).then(show), field);
part('system-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  if (await change(error, { action: 'rename', name: part('system-name').value }, part('system-name'))) event.target.reset();
});
const wrong = part('clock-error'), wanted = part('clock');
part('clock-form').addEventListener('submit', (event) => {
  event.preventDefault();
  const time = (Date.parse(`${wanted.value}Z`) - (clock?.zone ?? 0)) / 1000;
  change(wrong, { action: 'set-time', time: Number.isFinite(time) ? time : '' }, wanted);
});
part('clock-mine').addEventListener('click', () => change(wrong, { action: 'set-time', time: Date.now() / 1000 }));
part('clock-reset').addEventListener('click', () => change(wrong, { action: 'reset-time' }));

// ---- Digests side by side. A column is a heading and what gives the digests of its modules, or null.

const columns = [
  { name: 'This camera', digests: () => get('/api/system/digests') },
  { name: 'ARM', digests: () => get('digests.json') },
  { name: 'This page', digests: digests_here },
];

async function compare() {
  const answers = await tell(part('digests-error'), Promise.all(columns.map((one) => one.digests())));
  if (!answers) return;
  const names = columns.filter((_, i) => answers[i]).map(({ name }) => name), all = answers.filter((one) => one);
  const of = (column, name) => column.modules.find((one) => one.name === name)?.digest ?? '–';
  const rows = all[0].modules.map(({ name, work }) => ({ name, work, digests: all.map((column) => of(column, name)) }));
  const same = rows.filter(({ digests }) => digests.every((one) => one === digests[0])).length;
  part('digests-words').textContent = same === rows.length ? `All ${same} parts give the same bits.` : `${rows.length - same} of ${rows.length} parts differ.`;
  part('digests-heads').replaceChildren(element('th', { scope: 'col', textContent: 'Part' }), ...names.map((name, i) =>
    element('th', { scope: 'col' }, name, element('br'), element('small', { textContent: all[i].architecture }))));
  part('digests-rows').replaceChildren(...rows.map(({ name, work, digests }) => element('tr', {},
    element('th', { scope: 'row', textContent: name, title: work }),
    ...digests.map((one) => element('td', { className: one === digests[0] ? '' : 'differs' }, one.slice(0, 8), element('wbr'), one.slice(8))))));
}
part('digests-panel').addEventListener('toggle', () => { if (part('digests-panel').open) compare(); });
