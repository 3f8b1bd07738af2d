// Elements of the page: found, made and labelled; and where errors are shown.
import { RequestError } from './server.js';

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

// Waits for a promise. An error is shown in `place` and marks the field that it is about; the result is undefined then.
export async function attempt(place, work, field) {
    field?.removeAttribute('aria-invalid');
    try {
        const result = await work;
        showText(place, '');
        return result;
    } catch (error) {
        const isRefused = error instanceof RequestError;
        showText(place, isRefused ? error.message : 'The camera cannot be reached.');
        if (isRefused) field?.setAttribute('aria-invalid', 'true');
    }
}

// For what cannot be undone: the first press turns the label into a question, the second one acts.
export function confirmPress(button, act, subject = '') {
    const label = button.textContent;
    let isAsking = false;
    const ask = (asking) => {
        isAsking = asking;
        button.textContent = asking ? `${label}?` : label;
        if (subject) {
            button.setAttribute('aria-label', asking ? `${label} ${subject}? Press again.` : `${label} ${subject}`);
        }
    };
    ask(false);
    button.addEventListener('blur', () => ask(false));
    button.addEventListener('click', () => {
        ask(!isAsking);
        if (!isAsking) act();
    });
}

export const clamp = (low, value, high) => Math.min(Math.max(value, low), high);

// A number for people: with a minus sign, and no "-0".
export function formatNumber(value, decimals = 0) {
    const text = Math.abs(value).toFixed(decimals);
    return (value < 0 && Number(text) !== 0 ? '−' : '') + text;
}
