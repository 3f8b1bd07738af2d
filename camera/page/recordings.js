// Snapshots and clips: made, found by a pattern, looked at, downloaded, deleted.
import { element, get, part, post, say, tell } from './server.js';

const strip = part('recordings-list'), error = part('recordings-error'), show = part('recordings-show');
const address = (call, { id }) => `/api/recordings/${call}?${new URLSearchParams({ id })}`;
const name = ({ kind, time }) =>
  `${kind === 'clip' ? 'Clip' : 'Snapshot'}, ${new Date(time * 1000).toLocaleString('en-GB', { dateStyle: 'medium', timeStyle: 'medium' })}`;

export async function list_recordings() {
  const pattern = part('recordings-pattern').value;
  const answer = await tell(error, get('/api/recordings', pattern ? { pattern } : {}));
  if (!answer) return;
  const all = answer.recordings;
  say(part('recordings-none'), all.length ? '' : pattern ? 'Nothing matches.' : 'Nothing is kept yet.');
  strip.replaceChildren(...all.map((one) => element('li', {}, element('button', { type: 'button', onclick: () => open(one) },
    element('img', { src: address('thumb', one), alt: '', loading: 'lazy', width: 160, height: 90 }),
    element('span', { textContent: name(one) })))));
}

let opened = null;
function open(one) {
  opened = one;
  part('recordings-title').textContent = name(one);
  Object.assign(part('recordings-picture'), { src: address(one.kind === 'clip' ? 'play' : 'file', one), alt: name(one) });
  Object.assign(part('recordings-download'), { href: address('file', one), download: one.id.split('/').pop() });
  say(part('recordings-refused'), '');
  show.showModal();
}
// A clip that nobody looks at is played no longer.
show.addEventListener('close', () => part('recordings-picture').removeAttribute('src'));
part('recordings-close').addEventListener('click', () => show.close());
part('recordings-remove').addEventListener('click', async () => {
  const done = await tell(part('recordings-refused'), post('/api/recordings', { action: 'remove', id: opened.id }));
  if (!done) return;
  show.close();
  await list_recordings();
});

for (const [button, fields, meanwhile] of [
  [part('recordings-snapshot'), { action: 'snapshot' }, 'Keeping a snapshot …'],
  [part('recordings-clip'), { action: 'clip', seconds: 5 }, 'Recording for 5 seconds …'],
])
  button.addEventListener('click', async () => {
    button.disabled = true;
    say(part('recordings-busy'), meanwhile);
    const done = await tell(error, post('/api/recordings', fields));
    button.disabled = false;
    say(part('recordings-busy'), '');
    if (done) await list_recordings();
  });
part('recordings-find').addEventListener('submit', (event) => {
  event.preventDefault();
  list_recordings();
});
