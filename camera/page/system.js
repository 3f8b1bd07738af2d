// The camera's identity and clock.
import { attempt, byId, element } from './dom.js';
import { get, post } from './server.js';
import { say } from './texts.js';

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

// A duration in its two largest units.
function describe(seconds) {
    const units = { days: 86400, hours: 3600, minutes: 60, seconds: 1 };
    let left = Math.round(seconds);
    const parts = [];
    for (const [name, size] of Object.entries(units)) {
        const count = Math.floor(left / size);
        left %= size;
        if (count) parts.push(say(`duration.${name}`, { count }));
    }
    return parts.slice(0, 2).join(', ');
}

function show(system) {
    clock = { ahead: system.time * 1000 - Date.now(), zone: readZone(system.local) };
    const facts = {
        name: system.name,
        version: system.version,
        processor: system.architecture,
        mac: system.mac,
        uuid: system.uuid,
        clock: '',
    };
    if (Math.abs(system.offset) >= 0.5) facts[system.offset > 0 ? 'ahead' : 'back'] = describe(Math.abs(system.offset));
    const cells = ([name, value]) => [
        element('dt', { textContent: say(`system.${name}`) }),
        element('dd', { textContent: value, id: `system-${name}-value` }),
    ];
    byId('system-facts').replaceChildren(...Object.entries(facts).flatMap(cells));
    document.title = byId('name').textContent = system.name;
    tick();
    return true;
}

function tick() {
    if (!clock) return;
    const local = new Date(Date.now() + clock.ahead + clock.zone.offset).toISOString().slice(0, 19);
    byId('system-clock-value').textContent = `${local.replace('T', ' ')} ${clock.zone.name}`;
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
