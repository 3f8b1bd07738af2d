// Requests to the camera, and where on the page their refusals are shown.

export class Refusal extends Error {}

// What the server answers, or throws: a Refusal with its reason in words, or TypeError where it can't be reached.
async function answer_of(reply) {
  if (reply.ok) return reply.json();
  const plain = (reply.headers.get('Content-Type') ?? '').startsWith('text/plain');
  const reason = plain ? (await reply.text()).trim().split('\n').pop() : '';
  throw Object.assign(new Refusal(reason || `The camera answers ${reply.status}.`), { status: reply.status });
}

export const get = async (path, fields = {}) =>
  answer_of(await fetch(`${path}?${new URLSearchParams(fields)}`, { cache: 'no-store' }));

let token = null;

export async function post(path, fields) {
  for (let again = false; ; again = true) {
    token ??= (await get('/api/ptz/token')).token;
    try {
      return await answer_of(await fetch(path, {
        method: 'POST',
        headers: { 'X-Camera-Token': token },
        body: new URLSearchParams(fields),
      }));
    } catch (error) {
      // A camera that was set up anew has another token.
      if (error.status !== 403 || again) throw error;
      token = null;
    }
  }
}

export const part = (id) => document.getElementById(id);

export function say(place, text) {
  place.textContent = text;
  place.hidden = !text;
}

// Waits for some work; says in `place` why it was refused. Resolves to undefined then.
export async function tell(place, work) {
  try {
    const result = await work;
    say(place, '');
    return result;
  } catch (error) {
    say(place, error instanceof Refusal ? error.message : 'The camera can’t be reached.');
  }
}

export function element(name, properties = {}, ...children) {
  const one = Object.assign(document.createElement(name), properties);
  one.append(...children);
  return one;
}
