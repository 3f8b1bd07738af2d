// Snapshots and clips: taken, searched, viewed, downloaded, and deleted one by one or when they are old.
import { attempt, byId, confirmPress, element, showText } from './dom.js';
import { end, show } from './player.js';
import { get, post } from './server.js';
import { locale, say } from './texts.js';

const list = byId('recordings-list');
const dialog = byId('recordings-show');
const pattern = byId('recordings-pattern');
const clipSeconds = 5;

const addressOf = (call, { id }) => `/api/recordings/${call}?${new URLSearchParams({ id })}`;
const kindOf = ({ kind }) => say(`recordings.kind.${kind}`);
const timeOf = ({ time }) => new Date(time * 1000).toLocaleString(locale, { dateStyle: 'medium', timeStyle: 'medium' });
const titleOf = (recording) => say('recordings.name', { kind: kindOf(recording), time: timeOf(recording) });

// ---- The list

function makeItem(recording) {
    const image = { src: addressOf('thumb', recording), alt: '', loading: 'lazy', width: 160, height: 90 };
    const button = element(
        'button',
        { type: 'button', onclick: () => open(recording) },
        element('img', image),
        element('strong', { textContent: kindOf(recording) }),
        element('span', { textContent: timeOf(recording) }),
    );
    return element('li', {}, button);
}

function describe({ recordings, most }) {
    if (recordings.length === 0) return say(pattern.value ? 'recordings.nothing' : 'recordings.none');
    const size = (recordings.reduce((sum, recording) => sum + recording.bytes, 0) / 1e6).toFixed(1);
    return say(pattern.value ? 'recordings.found' : 'recordings.count', { count: recordings.length, most, size });
}

let listed = ''; // what is shown again only if it has changed

export async function loadRecordings() {
    const fields = pattern.value ? { pattern: pattern.value } : {};
    const answer = await attempt(byId('recordings-refusal'), get('/api/recordings', fields), pattern);
    if (!answer) return;
    showText(byId('recordings-none'), describe(answer));
    const text = JSON.stringify(answer.recordings);
    if (text !== listed) list.replaceChildren(...answer.recordings.map(makeItem));
    listed = text;
}

async function change(fields, place, field, timeout) {
    const answer = await attempt(place, post('/api/recordings', fields, timeout), field);
    if (answer) await loadRecordings();
    return answer;
}

// ---- One recording

let opened = null;
function open(recording) {
    opened = recording;
    const title = titleOf(recording);
    const address = addressOf('file', recording);
    byId('recordings-title').textContent = title;
    attempt(byId('recordings-refused'), show(address, recording.type, title));
    const download = recording.id.split('/').pop();
    Object.assign(byId('recordings-download'), { href: address, download });
    showText(byId('recordings-refused'), '');
    dialog.showModal();
}
dialog.addEventListener('close', end);
byId('recordings-close').addEventListener('click', () => dialog.close());
confirmPress(byId('recordings-remove'), async () => {
    const isRemoved = await change({ action: 'remove', id: opened.id }, byId('recordings-refused'));
    if (isRemoved) dialog.close();
});

// ---- Taking, searching, deleting

function initButton(button, fields, progress) {
    button.addEventListener('click', async () => {
        button.disabled = true;
        showText(byId('recordings-busy'), progress);
        await change(fields, byId('recordings-error'), undefined, 30000);
        button.disabled = false;
        showText(byId('recordings-busy'), '');
    });
}
initButton(byId('recordings-snapshot'), { action: 'snapshot' }, say('recordings.taking'));
initButton(
    byId('recordings-clip'),
    { action: 'clip', seconds: clipSeconds },
    say('recordings.recording', { count: clipSeconds }),
);

byId('recordings-more').addEventListener('click', () => {
    const tools = byId('recordings-tools');
    tools.hidden = !tools.hidden;
    byId('recordings-more').setAttribute('aria-expanded', !tools.hidden);
    if (!tools.hidden) return pattern.focus();
    // A search that is not shown does not filter.
    if (!pattern.value) return;
    pattern.value = '';
    loadRecordings();
});
byId('recordings-find').addEventListener('submit', (event) => {
    event.preventDefault();
    loadRecordings();
});

confirmPress(byId('recordings-drop'), () => {
    const days = byId('recordings-days');
    change({ action: 'expire', days: days.value }, byId('recordings-old'), days);
});
byId('recordings-expire').addEventListener('submit', (event) => {
    event.preventDefault();
    byId('recordings-drop').focus();
    byId('recordings-drop').click();
});
