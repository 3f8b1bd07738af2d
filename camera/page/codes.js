// Encodings of text: a URL taken apart, percent encoding, Base64.
import { attempt, byId, element, showText } from './dom.js';
import { get } from './server.js';
import { say } from './texts.js';

const text = byId('codes-text');

function showRows(rows) {
    const cells = ([name, value]) => [element('dt', { textContent: name }), element('dd', { textContent: value })];
    byId('codes-answer').replaceChildren(...rows.flatMap(cells));
}

async function convert(call) {
    showRows([]);
    const answer = await attempt(byId('codes-error'), get(`/api/system/${call}`, { text: text.value }), text);
    if (!answer) return;
    const { parameters = [], ...parts } = answer;
    showRows([
        ...Object.entries(parts)
            .filter(([, value]) => value !== null)
            .map(([name, value]) => [say(`codes.${name}`), value]),
        ...parameters.map(([name, value]) => [`${name ?? ''} =`, value ?? '']),
    ]);
}

async function encodeSnapshot() {
    const button = byId('codes-snapshot');
    button.disabled = true;
    const request = get('/api/system/snapshot', { width: 320, height: 180 });
    const answer = await attempt(byId('codes-refused'), request);
    button.disabled = false;
    if (!answer) return;
    showText(byId('codes-bytes'), say('codes.bytes', { bytes: answer.bytes, characters: answer.base64.length }));
    byId('codes-base64').value = answer.base64;
    byId('codes-base64').hidden = byId('codes-copy').hidden = false;
}

async function copySnapshot() {
    byId('codes-base64').select();
    const isCopied = await navigator.clipboard.writeText(byId('codes-base64').value).then(
        () => true,
        () => document.execCommand('copy'),
    );
    showText(byId('codes-bytes'), say(isCopied ? 'codes.copied' : 'codes.press'));
}

export function initCodes() {
    byId('codes-form').addEventListener('submit', (event) => {
        event.preventDefault();
        convert(event.submitter?.value ?? 'url');
    });
    byId('codes-link').addEventListener('click', () => {
        text.value = location.href;
        convert('url');
    });
    byId('codes-snapshot').addEventListener('click', encodeSnapshot);
    byId('codes-copy').addEventListener('click', copySnapshot);
}
