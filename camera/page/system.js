// What the camera is, and what each part of the library computes on its processor.
import { element, get, part, post, tell } from './server.js';

const error = part('system-error');

function show(system) {
  const facts = {
    Name: system.name, Version: system.version, Processor: system.architecture, MAC: system.mac, UUID: system.uuid, Clock: system.local,
  };
  part('system-facts').replaceChildren(...Object.entries(facts).flatMap(([name, value]) =>
    [element('dt', { textContent: name }), element('dd', { textContent: value })]));
  document.title = system.name;
  return true;
}
export const load_system = () => tell(error, get('/api/system').then(show));

part('system-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  const done = await tell(error, post('/api/system', { action: 'rename', name: part('system-name').value }).then(show));
  if (done) event.target.reset();
});
part('system-digests').addEventListener('click', async () => {
  const answer = await tell(error, get('/api/system/digests'));
  if (!answer) return;
  part('system-table').hidden = false;
  part('system-rows').replaceChildren(...answer.modules.map(({ name, work, digest }) =>
    element('tr', {}, element('th', { scope: 'row', textContent: name, title: work }), element('td', { textContent: digest }))));
});
