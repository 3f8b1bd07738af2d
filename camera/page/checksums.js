// Checksums of the same work, done by the camera's processor and by a WebAssembly module here, side by side.
import { attempt, byId, element } from './dom.js';
import { get } from './server.js';
import { say } from './texts.js';

const panel = byId('checksums-panel');

async function computeHere() {
    // The module was made for other surroundings too, but calls nothing of them.
    const missing = () => {
        throw new Error('A function of the host was called.');
    };
    const imports = new Proxy({}, { get: () => new Proxy({}, { get: () => missing }) });
    const { instance } = await WebAssembly.instantiateStreaming(fetch('./vela/checksums.wasm'), imports);
    instance.exports._initialize();
    const begin = instance.exports.checksums();
    const bytes = new Uint8Array(instance.exports.memory.buffer);
    const text = new TextDecoder().decode(bytes.subarray(begin, bytes.indexOf(0, begin)));
    return new Map(
        text
            .trim()
            .split('\n')
            .map((line) => line.split('\t')),
    );
}

function makeRow({ name, work, checksum }, here) {
    const cell = (value = '–', isSame) =>
        element('td', { className: isSame ? '' : 'differs' }, value.slice(0, 8), element('wbr'), value.slice(8));
    const heading = element('th', { scope: 'row', textContent: name, title: work });
    return element('tr', {}, heading, cell(checksum, true), cell(here, here === checksum));
}

async function compare() {
    const requests = Promise.all([get('/api/system/checksums'), computeHere()]);
    const answers = await attempt(byId('checksums-error'), requests);
    if (!answers) return;
    const [{ architecture, modules }, here] = answers;
    byId('checksums-device').textContent = architecture;
    byId('checksums-rows').replaceChildren(...modules.map((module) => makeRow(module, here.get(module.name))));
    const different = modules.filter(({ name, checksum }) => here.get(name) !== checksum).length;
    byId('checksums-words').textContent = say(different ? 'checksums.differ' : 'checksums.same', {
        different,
        count: modules.length,
    });
}

export function initChecksums() {
    panel.addEventListener('toggle', () => {
        if (panel.open) compare();
    });
}
