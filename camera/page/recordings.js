// Snapshots and clips: made, searched, looked at, downloaded, deleted, thrown away when they are old.
import { ask_twice, element, get, part, post, say, tell } from './server.js';

const strip = part('recordings-list'), error = part('recordings-error'), show = part('recordings-show');
const address = (call, { id }) => `/api/recordings/${call}?${new URLSearchParams({ id })}`;
const kind_of = ({ kind }) => (kind === 'clip' ? 'Clip' : 'Snapshot');
const time_of = ({ time }) => new Date(time * 1000).toLocaleString('en-GB', { dateStyle: 'medium', timeStyle: 'medium' });
const name = (one) => `${kind_of(one)}, ${time_of(one)}`;

export async function list_recordings() {
  const field = part('recordings-pattern'), pattern = field.value;
  const answer = await tell(part('recordings-refusal'), get('/api/recordings', pattern ? { pattern } : {}), field);
  if (!answer) return;
  const all = answer.recordings, bytes = all.reduce((sum, one) => sum + one.bytes, 0);
  say(part('recordings-none'), !all.length ? pattern ? 'Nothing matches.' : 'Nothing is kept yet.' :
    `${all.length} ${pattern ? 'found' : `of at most ${answer.most}`}, ${(bytes / 1e6).toFixed(1)} MB`);
  strip.replaceChildren(...all.map((one) => element('li', {}, element('button', { type: 'button', onclick: () => open(one) },
    element('img', { src: address('thumb', one), alt: '', loading: 'lazy', width: 160, height: 90 }),
    element('strong', { textContent: kind_of(one) }), element('span', { textContent: time_of(one) })))));
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
ask_twice(part('recordings-remove'), async () => {
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
    const done = await tell(error, post('/api/recordings', fields, 30000));
    button.disabled = false;
    say(part('recordings-busy'), '');
    if (done) await list_recordings();
  });
const more = part('recordings-more'), tools = part('recordings-tools');
more.addEventListener('click', () => {
  tools.hidden = !tools.hidden;
  more.setAttribute('aria-expanded', !tools.hidden);
  if (!tools.hidden) return part('recordings-pattern').focus();
  // What is no longer seen doesn't choose what is listed.
  if (part('recordings-pattern').value) {
    part('recordings-pattern').value = '';
    list_recordings();
  }
});
part('recordings-find').addEventListener('submit', (event) => {
  event.preventDefault();
  list_recordings();
});

async function throw_away() {
  const days = part('recordings-days');
  const done = await tell(part('recordings-old'), post('/api/recordings', { action: 'expire', days: days.value }), days);
  if (done) await list_recordings();
}
ask_twice(part('recordings-drop'), throw_away);
part('recordings-expire').addEventListener('submit', (event) => {
  event.preventDefault();
  part('recordings-drop').focus();
  part('recordings-drop').click();
});
