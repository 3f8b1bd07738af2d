// Texts in the codes of the web: a URL taken apart, percent coding, Base64.
import { element, get, part, say, tell } from './server.js';

const error = part('codes-error'), text = part('codes-text'), refused = part('codes-refused');

const rows = (pairs) => part('codes-answer').replaceChildren(...pairs.flatMap(([name, value]) =>
  [element('dt', { textContent: name }), element('dd', { textContent: value })]));

async function ask(call) {
  rows([]);
  const answer = await tell(error, get(`/api/system/${call}`, { text: text.value }), text);
  if (!answer) return;
  const { parameters = [], ...parts } = answer;
  const names = { form: 'in a form', segment: 'in a path', base64: 'Base64', decoded: 'decoded' };
  rows([
    ...Object.entries(parts).filter(([, value]) => value !== null).map(([name, value]) => [names[name] ?? name, value]),
    ...parameters.map(([name, value]) => [`${name ?? ''} =`, value ?? '']),
  ]);
}

async function snapshot() {
  const button = part('codes-snapshot');
  button.disabled = true;
  const answer = await tell(refused, get('/api/system/snapshot', { width: 320, height: 180 }));
  button.disabled = false;
  if (!answer) return;
  say(part('codes-bytes'), `A JPEG of ${answer.bytes} bytes in ${answer.base64.length} characters:`);
  part('codes-base64').value = answer.base64;
  part('codes-base64').hidden = part('codes-copy').hidden = false;
}

export function begin_codes() {
  part('codes-form').addEventListener('submit', (event) => {
    event.preventDefault();
    ask(event.submitter?.value ?? 'url');
  });
  part('codes-link').addEventListener('click', () => {
    text.value = location.href;
    ask('url');
  });
  part('codes-snapshot').addEventListener('click', snapshot);
  part('codes-copy').addEventListener('click', async () => {
    part('codes-base64').select();
    const done = await navigator.clipboard.writeText(part('codes-base64').value).then(() => true, () => document.execCommand('copy'));
    say(part('codes-bytes'), done ? 'Copied.' : 'Press Ctrl+C to copy it.');
  });
}
