// What can be undone and done again, by buttons, Ctrl+Z and Ctrl+Shift+Z.
import { byId } from './dom.js';

const offered = 8000; // milliseconds that the last change can be undone at the bottom of the window

export class History extends EventTarget {
    #done = [];
    #undone = [];
    #queue = Promise.resolve();

    // A change that was made, as functions that take it back and make it again, and words for it.
    add(undo, redo, words = '') {
        this.#done.push({ undo, redo });
        this.#undone = [];
        this.dispatchEvent(new CustomEvent('change', { detail: words }));
    }

    // The same for a change that `make` has yet to ask the camera for: its result is what add() takes, or nothing if the
    // change was not made, and then so is this function's. What is undone meanwhile waits, and undoes this change.
    change(make) {
        return this.#enqueue(async () => {
            const made = await make();
            if (made) this.add(...made);
            return made;
        });
    }

    // One after another, whether or not the one before has failed.
    #enqueue(work) {
        this.#queue = this.#queue.catch(() => {}).then(work);
        return this.#queue;
    }

    #step(from, to, name) {
        return this.#enqueue(async () => {
            const change = from().pop();
            if (!change) return;
            await change[name]();
            to().push(change);
            this.dispatchEvent(new CustomEvent('change', { detail: '' }));
        });
    }
    undo() {
        return this.#step(
            () => this.#done,
            () => this.#undone,
            'undo',
        );
    }
    redo() {
        return this.#step(
            () => this.#undone,
            () => this.#done,
            'redo',
        );
    }
    get counts() {
        return [this.#done.length, this.#undone.length];
    }
}

export const history = new History();
// A mask that is being drawn has a history of its own.
let current = history;

let hiding = null;
function show(words) {
    const [done, undone] = current.counts;
    byId('undo').disabled = done === 0;
    byId('redo').disabled = undone === 0;
    clearTimeout(hiding);
    byId('toast-words').textContent = words;
    byId('toast').hidden = !words;
    if (words) hiding = setTimeout(() => show(''), offered);
}
export function useHistory(other = history) {
    current = other;
    if (other !== history) other.addEventListener('change', () => show(''));
    show('');
}
history.addEventListener('change', ({ detail }) => show(detail));

byId('undo').addEventListener('click', () => current.undo());
byId('redo').addEventListener('click', () => current.redo());
byId('toast-undo').addEventListener('click', () => current.undo());
addEventListener('keydown', (event) => {
    const isText = event.target.matches('textarea, input:not([type=radio], [type=checkbox], [type=range])');
    if (isText || event.altKey || !(event.ctrlKey || event.metaKey)) return;
    const key = event.key.toLowerCase();
    if (key !== 'z' && key !== 'y') return;
    event.preventDefault();
    if (key === 'y' || event.shiftKey) current.redo();
    else current.undo();
});
