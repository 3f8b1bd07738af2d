// Privacy masks, which are polygons of directions: those of the camera, their list, and their changes, which can be undone.
import { attempt, byId, confirmPress, element } from './dom.js';
import { history } from './history.js';
import { getNewest, post } from './server.js';
import { say } from './texts.js';

const list = byId('masks-list');
export const drawButton = byId('masks-draw');
export const error = byId('masks-error');
export const round = (degrees) => Number(degrees.toFixed(6));
const formatCorners = (corners) => corners.map((corner) => corner.join(',')).join(';');

// ---- The masks of the camera, and that which is drawn; "change" says that one of them is another

class Masks extends EventTarget {
    all = [];
    editor = null;
    draft = null; // the corners of the mask that is drawn
    edited = null; // its id, if it is not a new one
    #places = new Map(); // ids of masks that were deleted and are there again, by the ids that they had
    #renderer = null;

    set renderer(renderer) {
        this.#renderer = renderer;
    }

    changed() {
        this.dispatchEvent(new Event('change'));
    }

    #show({ masks }) {
        if (JSON.stringify(masks) === JSON.stringify(this.all)) return true;
        this.all = masks;
        this.#renderer.setMasks(masks.filter((mask) => mask.on));
        byId('masks-none').hidden = masks.length > 0;
        list.replaceChildren(...masks.map(makeRow));
        this.changed();
        return true;
    }

    load() {
        const show = (answer) => !answer || this.#show(answer);
        return attempt(error, getNewest('/api/mask').then(show));
    }

    #idOf = (id) => (this.#places.has(id) ? this.#idOf(this.#places.get(id)) : id);
    #find = (id) => this.all.find((mask) => mask.id === this.#idOf(id));

    async #post(fields, place = error, marked = undefined) {
        const answer = await attempt(place, post('/api/mask', fields), marked);
        if (answer) this.#show(answer);
        return answer;
    }
    #change(id, fields, ...where) {
        return this.#post({ action: 'change', id: this.#idOf(id), ...fields }, ...where);
    }

    // Each says whether it was done.
    add({ name, corners }, ...where) {
        const put = () => this.#post({ action: 'add', name, corners: formatCorners(corners) }, ...where);
        return history.change(async () => {
            const answer = await put();
            if (!answer) return undefined;
            const id = answer.added;
            return [
                () => this.#post({ action: 'remove', id: this.#idOf(id) }),
                async () => this.#places.set(this.#idOf(id), (await put())?.added),
                say('masks.added', { name }),
            ];
        });
    }

    change(id, { name, corners }, ...where) {
        const use = (mask, ...place) =>
            this.#change(id, { name: mask.name, corners: formatCorners(mask.corners) }, ...place);
        return history.change(async () => {
            const before = this.#find(id);
            if (!(await use({ name, corners }, ...where))) return undefined;
            return [() => use(before), () => use({ name, corners }), say('masks.changed', { name })];
        });
    }

    switch(id, on) {
        const use = (value) => this.#change(id, { on: value ? 1 : 0 });
        return history.change(async () => {
            if (!(await use(on))) return undefined;
            return [() => use(!on), () => use(on), say('masks.changed', { name: this.#find(id).name })];
        });
    }

    remove(id) {
        const take = () => this.#post({ action: 'remove', id: this.#idOf(id) });
        return history.change(async () => {
            const before = this.#find(id);
            if (!(await take())) return undefined;
            const { name, corners, on } = before;
            const put = async () => {
                const answer = await this.#post({ action: 'add', name, corners: formatCorners(corners) });
                if (!answer) return;
                this.#places.set(this.#idOf(id), answer.added);
                if (!on) await this.#change(id, { on: 0 });
            };
            return [put, take, say('masks.removed', { name })];
        });
    }

    // A corner that is dragged on the map: of the mask that is drawn, or of one that is there, which is saved at the end.
    moveCorner({ id, index }, direction, isEnd) {
        const corner = direction.map(round);
        if (id === null || id === this.edited) return this.editor.moveCorner(index, corner, isEnd);
        const mask = this.all.find((each) => each.id === id);
        if (!mask) return;
        const corners = mask.corners.with(index, corner);
        this.moved = isEnd ? null : { ...mask, corners };
        if (isEnd) this.change(id, { name: mask.name, corners });
        this.changed();
    }
    moved = null; // the mask of which a corner is dragged on the map
}
export const masks = new Masks();
export const loadMasks = () => masks.load();

function makeRow(mask) {
    const { id, name } = mask;
    const box = element('input', { type: 'checkbox', checked: mask.on });
    box.addEventListener('change', async () => {
        if (!(await masks.switch(id, box.checked))) box.checked = !box.checked;
        list.querySelector(`[data-id="${id}"] input`)?.focus();
    });
    const remove = element('button', { type: 'button' });
    confirmPress(
        remove,
        async () => {
            if (await masks.remove(id)) (drawButton.hidden ? byId('masks-title').parentNode : drawButton).focus();
        },
        name,
    );
    const button = (key, act) => {
        const made = element('button', { type: 'button', textContent: say(key), onclick: act });
        made.setAttribute('aria-label', say(`${key}.name`, { name }));
        return made;
    };
    const look = button('masks.look', () => masks.editor.lookAt(mask.corners));
    const edit = button('masks.edit', () => masks.editor.begin(mask));
    const item = element('li', {}, element('label', {}, box, name), look, edit, remove);
    item.dataset.id = id;
    return item;
}
