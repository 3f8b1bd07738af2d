// Which panels are open, and what is chosen in them, is remembered for the next visit. A picture that is scrolled away
// goes on in a corner, where the window is made for it.
import { byId } from './dom.js';

const key = 'panels';

function read() {
    try {
        return JSON.parse(localStorage.getItem(key)) ?? {};
    } catch {
        return {};
    }
}

function remember(name, value) {
    try {
        localStorage.setItem(key, JSON.stringify({ ...read(), [name]: value }));
    } catch {
        // A browser that keeps nothing has every panel as on the first visit.
    }
}

export function initPanels() {
    const known = read();
    for (const details of document.querySelectorAll('details')) {
        const name = details.querySelector('summary > *').id;
        details.open = known[name] ?? details.open;
        details.addEventListener('toggle', () => remember(name, details.open));
    }
    const picture = byId('picture');
    new IntersectionObserver(
        (changes) => {
            const { isIntersecting, boundingClientRect } = changes.at(-1);
            picture.classList.toggle('away', !isIntersecting && boundingClientRect.top < 0);
        },
        { threshold: 0 },
    ).observe(picture);
    for (const select of document.querySelectorAll('select')) {
        if (known[select.id]) select.value = known[select.id];
        select.addEventListener('change', () => remember(select.id, select.value));
    }
}
