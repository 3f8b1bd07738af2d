// Requests to the camera, and where on the page their refusals are shown.

export class Refusal extends Error {}

// What the server answers, or throws: a Refusal with its reason in words, or TypeError where it can't be reached.
async function answer_of(reply) {
  if (reply.ok) return reply.json();
  const plain = (reply.headers.get('Content-Type') ?? '').startsWith('text/plain');
  const reason = plain ? (await reply.text()).trim().split('\n').pop() : '';
  throw Object.assign(new Refusal(reason || `The camera answers ${reply.status}.`), { status: reply.status });
}

// A request that hangs is a lost connection too.
const most = 10000;

export const get = async (path, fields = {}) =>
  answer_of(await fetch(`${path}?${new URLSearchParams(fields)}`, { cache: 'no-store', signal: AbortSignal.timeout(most) }));

let token = null;

export async function post(path, fields, longest = most) {
  for (let again = false; ; again = true) {
    token ??= (await get('/api/ptz/token')).token;
    try {
      return await answer_of(await fetch(path, {
        method: 'POST',
        headers: { 'X-Camera-Token': token },
        body: new URLSearchParams(fields),
        signal: AbortSignal.timeout(longest),
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

// Waits for some work; says in `place` why it was refused, and marks the field that it's about. Resolves to undefined then.
export async function tell(place, work, field) {
  field?.removeAttribute('aria-invalid');
  try {
    const result = await work;
    say(place, '');
    return result;
  } catch (error) {
    say(place, error instanceof Refusal ? error.message : 'The camera can’t be reached.');
    if (error instanceof Refusal) field?.setAttribute('aria-invalid', 'true');
  }
}

// What can't be taken back is asked for twice: the first press turns the words into a question.
export function ask_twice(button, act, about = '') {
  const words = button.textContent;
  let asking = false;
  const label = (now) => {
    asking = now;
    button.textContent = now ? `${words}?` : words;
    if (about) button.setAttribute('aria-label', now ? `${words} ${about}? Press again.` : `${words} ${about}`);
  };
  label(false);
  button.addEventListener('blur', () => label(false));
  button.addEventListener('click', () => {
    label(!asking);
    if (!asking) act();
  });
}

// Runs one call at a time: of those that come meanwhile the newest follows, the others are left out.
export function newest(run) {
  let waiting = null, running = false;
  return async (...wanted) => {
    waiting = wanted;
    if (running) return;
    running = true;
    try {
      while (waiting) {
        const now = waiting;
        waiting = null;
        await run(...now);
      }
    } finally {
      running = false;
    }
  };
}

// A number as people read it: a real minus, and no "-0".
export function digits(value, decimals = 0) {
  const text = Math.abs(value).toFixed(decimals);
  return (value < 0 && Number(text) !== 0 ? '−' : '') + text;
}

const drawing = 'http://www.w3.org/2000/svg';
export function shape(name, attributes = {}, ...children) {
  const one = document.createElementNS(drawing, name);
  for (const [key, value] of Object.entries(attributes)) one.setAttribute(key, value);
  one.append(...children);
  return one;
}

export function element(name, properties = {}, ...children) {
  const one = Object.assign(document.createElement(name), properties);
  one.append(...children);
  return one;
}
