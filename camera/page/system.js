// The camera's identity and clock.
import { attempt, byId, element } from './dom.js';
import { get, post } from './server.js';

const clockField = byId('clock');

// The clock goes on between two answers, in the camera's own zone.
let clock = null;

function readZone(local) {
    const [, sign, hours, minutes] = /([+-])(\d\d)(\d\d)$/.exec(local);
    return {
        name: sign + hours + minutes,
        offset: Number(`${sign}1`) * (60 * Number(hours) + Number(minutes)) * 60000,
    };
}

function show(system) {
    clock = { ahead: system.time * 1000 - Date.now(), zone: readZone(system.local) };
    const facts = {
        Name: system.name,
        Version: system.version,
        Processor: system.architecture,
        MAC: system.mac,
        UUID: system.uuid,
        Clock: '',
    };
    if (Math.abs(system.offset) >= 0.05) facts['Set ahead'] = `${system.offset.toFixed(1)} s`;
    const cells = ([name, value]) => {
        const id = name === 'Clock' ? 'system-clock' : '';
        return [element('dt', { textContent: name }), element('dd', { textContent: value, id })];
    };
    byId('system-facts').replaceChildren(...Object.entries(facts).flatMap(cells));
    document.title = byId('name').textContent = system.name;
    tick();
    return true;
}

function tick() {
    if (!clock) return;
    const local = new Date(Date.now() + clock.ahead + clock.zone.offset).toISOString().slice(0, 19);
    byId('system-clock').textContent = `${local.replace('T', ' ')} ${clock.zone.name}`;
}
setInterval(tick, 1000);

export const loadSystem = () => attempt(byId('system-error'), get('/api/system').then(show));

const change = (fields, place, field) => attempt(place, post('/api/system', fields).then(show), field);

byId('system-form').addEventListener('submit', async (event) => {
    event.preventDefault();
    const name = byId('system-name');
    if (await change({ action: 'rename', name: name.value }, byId('system-error'), name)) event.target.reset();
});
byId('clock-form').addEventListener('submit', (event) => {
    event.preventDefault();
    const time = (Date.parse(`${clockField.value}Z`) - (clock?.zone.offset ?? 0)) / 1000;
    const fields = { action: 'set-time', time: Number.isFinite(time) ? time : '' };
    change(fields, byId('clock-error'), clockField);
});
byId('clock-browser').addEventListener('click', () =>
    change({ action: 'set-time', time: Date.now() / 1000 }, byId('clock-error')),
);
byId('clock-reset').addEventListener('click', () => change({ action: 'reset-time' }, byId('clock-error')));
