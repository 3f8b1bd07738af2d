// Elements of the page: found, made and labelled; and where errors are shown.
import { RequestError } from './server.js';
import { explain, say } from './texts.js';

export const byId = (id) => document.getElementById(id);

export function element(name, properties = {}, ...children) {
    const made = Object.assign(document.createElement(name), properties);
    made.append(...children);
    return made;
}

export function shape(name, attributes = {}, ...children) {
    const made = document.createElementNS('http://www.w3.org/2000/svg', name);
    for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
    made.append(...children);
    return made;
}

// A text in its place, which is hidden while it is empty.
export function showText(place, text) {
    place.textContent = text;
    place.hidden = !text;
}

const labelOf = (field) => field?.labels?.[0]?.textContent.trim() || field?.getAttribute('aria-label') || undefined;

// Waits for a promise. An error is shown in `place`, and marks the field that it is about, which gets the focus; the
// result is undefined then. `fields`: that field, or several by the names of their parameters.
export async function attempt(place, work, fields) {
    const all = fields instanceof Element ? { '': fields } : (fields ?? {});
    for (const each of Object.values(all)) each.removeAttribute('aria-invalid');
    try {
        const result = await work;
        showText(place, '');
        return result;
    } catch (error) {
        if (!(error instanceof RequestError)) return showText(place, say('error.unreachable'));
        const field = all[error.field] ?? all[/^\w+/.exec(error.message)?.[0]] ?? all[''];
        showText(place, explain(error.message, labelOf(field)));
        field?.setAttribute('aria-invalid', 'true');
        field?.focus();
    }
}

// For what must not happen by accident: the first press turns the label into a question, the second one acts.
export function confirmPress(button, act, name = '') {
    let isAsking = false;
    const ask = (asking) => {
        isAsking = asking;
        button.textContent = say(asking ? 'delete.ask' : 'delete');
        if (name) button.setAttribute('aria-label', say(asking ? 'delete.name.ask' : 'delete.name', { name }));
    };
    ask(false);
    button.addEventListener('blur', () => ask(false));
    button.addEventListener('click', () => {
        ask(!isAsking);
        if (!isAsking) act();
    });
}

export const clamp = (low, value, high) => Math.min(Math.max(value, low), high);

// From 0 to the whole of a circle.
export const turned = (degrees) => ((degrees % 360) + 360) % 360;

// A number for people: with a minus sign, and no "-0".
export function formatNumber(value, decimals = 0) {
    const text = Math.abs(value).toFixed(decimals);
    return (value < 0 && Number(text) !== 0 ? '−' : '') + text;
}
export const formatDegrees = (value) => `${formatNumber(value, 1)}°`;
