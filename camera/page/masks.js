// Privacy masks: polygons of directions. Each corner becomes a direction at once, so the camera can be turned while a
// mask is drawn.
import { attempt, byId, confirmPress, element, shape, showText } from './dom.js';
import { overlay } from './modules.js';
import { get, post } from './server.js';

const list = byId('masks-list');
const form = byId('masks-form');
const drawButton = byId('masks-draw');
const error = byId('masks-error');
const maxCorners = 64;
const arrows = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };

const formatCorners = (corners) => corners.map((corner) => corner.join(',')).join(';');
const round = (degrees) => Number(degrees.toFixed(6));

// The mean direction.
function middleOf(corners) {
    const sum = [0, 0, 0];
    const radian = Math.PI / 180;
    for (const [pan, tilt] of corners) {
        sum[0] += Math.sin(pan * radian) * Math.cos(tilt * radian);
        sum[1] += Math.cos(pan * radian) * Math.cos(tilt * radian);
        sum[2] += Math.sin(tilt * radian);
    }
    return {
        pan: Math.atan2(sum[0], sum[1]) / radian,
        tilt: Math.atan2(sum[2], Math.hypot(sum[0], sum[1])) / radian,
    };
}

// ---- The list

let renderer = null;
let editor = null;

function show({ masks }) {
    renderer.setMasks(masks.filter((mask) => mask.on));
    byId('masks-none').hidden = masks.length > 0;
    list.replaceChildren(...masks.map(makeRow));
    return true;
}
const change = (fields, field) => attempt(error, post('/api/mask', fields).then(show), field);

function makeRow(mask) {
    const box = element('input', { type: 'checkbox', checked: mask.on });
    box.addEventListener('change', async () => {
        if (!(await change({ action: 'change', id: mask.id, on: box.checked ? 1 : 0 }))) box.checked = !box.checked;
        list.querySelector(`[data-id="${mask.id}"] input`)?.focus();
    });
    const remove = element('button', { type: 'button', textContent: 'Delete' });
    const removeMask = async () => {
        if (await change({ action: 'remove', id: mask.id })) drawButton.focus();
    };
    confirmPress(remove, removeMask, mask.name);
    const look = element('button', { type: 'button', textContent: 'Look', onclick: () => editor.lookAt(mask.corners) });
    look.setAttribute('aria-label', `Look at ${mask.name}`);
    const edit = element('button', { type: 'button', textContent: 'Edit', onclick: () => editor.begin(mask) });
    edit.setAttribute('aria-label', `Edit ${mask.name}`);
    const item = element('li', {}, element('label', {}, box, mask.name), look, edit, remove);
    item.dataset.id = mask.id;
    return item;
}

export const loadMasks = () => attempt(error, get('/api/mask').then(show));

// ---- Drawing a new mask, or an existing one again

class Editor {
    #live;
    #ptz;
    #modes;
    #view = null;
    #corners = null; // directions; null while nothing is drawn
    #edited = null; // the mask that is changed, if it is not a new one
    #selected = null; // the corner that the arrow keys move
    #dragged = null; // the corner under the pointer: { index, pointerId }

    constructor({ live, ptz, modes }) {
        this.#live = live;
        this.#ptz = ptz;
        this.#modes = modes;
        const view = live.element;
        view.addEventListener('pointerdown', (event) => this.#press(event), { capture: true });
        view.addEventListener('pointermove', (event) => {
            if (this.#dragged?.pointerId !== event.pointerId) return;
            this.#moveCorner(this.#dragged.index, this.#live.positionOf(event));
        });
        for (const name of ['pointerup', 'pointercancel']) {
            view.addEventListener(name, (event) => {
                if (this.#dragged?.pointerId === event.pointerId) this.#dragged = null;
            });
        }
        view.addEventListener('point', ({ detail }) => {
            if (this.#corners) this.#add(detail);
        });
        view.addEventListener('keydown', (event) => this.#key(event));
        view.addEventListener('viewchange', ({ detail }) => {
            const hasMoved = ['pan', 'tilt', 'fov'].some((name) => this.#view?.[name] !== detail[name]);
            this.#view = detail;
            if (this.#corners && hasMoved) this.#sketch();
        });
        drawButton.addEventListener('click', () => this.begin(null));
        byId('masks-corner').addEventListener('click', () => this.#add(this.#centre));
        byId('masks-back').addEventListener('click', () => this.#removeLast());
        byId('masks-cancel').addEventListener('click', () => this.#cancel());
        form.addEventListener('submit', (event) => this.#submit(event));
    }

    lookAt(corners) {
        this.#ptz.moveTo(middleOf(corners));
    }

    begin(mask) {
        this.#modes.enter(() => this.#end());
        this.#edited = mask;
        this.#corners = mask ? [...mask.corners] : [];
        byId('masks-name').value = mask?.name ?? '';
        if (mask) this.lookAt(mask.corners);
        form.hidden = false;
        drawButton.hidden = true;
        showText(error, '');
        this.#live.element.classList.add('drawing');
        this.#live.element.focus();
        this.#update();
    }

    #end() {
        this.#corners = this.#edited = this.#dragged = this.#selected = null;
        form.reset();
        form.hidden = true;
        drawButton.hidden = false;
        this.#live.element.classList.remove('drawing');
        this.#sketch();
    }

    #cancel() {
        this.#modes.enter(null);
        drawButton.focus();
    }

    async #submit(event) {
        event.preventDefault();
        const name = byId('masks-name');
        const fields = { name: name.value, corners: formatCorners(this.#corners) };
        const action = this.#edited ? { action: 'change', id: this.#edited.id } : { action: 'add' };
        if (await change({ ...action, ...fields }, name)) this.#cancel();
    }

    // The pixel of the view's own direction.
    get #centre() {
        const { width, height } = this.#live.size;
        return { x: width / 2, y: height / 2 };
    }

    #place([pan, tilt]) {
        return this.#view && overlay.project(this.#view, pan, tilt);
    }
    #direction({ x, y }) {
        const found = this.#view && overlay.unproject(this.#view, x, y);
        return found && [round(found.pan), round(found.tilt)];
    }

    #add(position) {
        const direction = this.#direction(position);
        showText(error, direction ? '' : 'There is no direction at this point.');
        if (direction && this.#corners.length < maxCorners) this.#corners.push(direction);
        this.#update();
    }

    #moveCorner(index, position) {
        const direction = this.#direction(position);
        if (direction) this.#corners[index] = direction;
        this.#sketch();
    }

    #removeLast() {
        this.#selected = null;
        this.#corners.pop();
        this.#update();
    }

    // By keyboard: one corner after the other is selected, and then none.
    #select(index) {
        this.#selected = index < this.#corners.length ? index : null;
        if (this.#selected !== null) {
            const corner = this.#corners[index];
            const at = this.#place(corner);
            const { width, height } = this.#live.size;
            if (!at || at.x < 0 || at.x > width || at.y < 0 || at.y > height) this.lookAt([corner]);
        }
        this.#update();
    }

    // A press on a corner takes it; elsewhere the camera has it.
    #press(event) {
        if (!this.#corners || event.button !== 0) return;
        const { x, y } = this.#live.positionOf(event);
        const reach = event.pointerType === 'touch' ? 24 : 12;
        const scale = this.#live.element.clientWidth / this.#live.size.width;
        const distances = this.#corners.map((corner) => {
            const at = this.#place(corner);
            return at ? Math.hypot(at.x - x, at.y - y) * scale : Infinity;
        });
        const index = distances.indexOf(Math.min(...distances));
        if (index < 0 || distances[index] > reach) return;
        event.preventDefault();
        event.stopImmediatePropagation();
        this.#live.element.setPointerCapture(event.pointerId);
        this.#live.element.focus();
        this.#dragged = { index, pointerId: event.pointerId };
    }

    #key(event) {
        if (!this.#corners || event.ctrlKey || event.altKey || event.metaKey) return;
        const isSelected = this.#selected !== null;
        const actions = {
            Enter: () => (isSelected ? this.#select(Infinity) : this.#add(this.#centre)),
            ' ': () => this.#select(isSelected ? this.#selected + 1 : 0),
            Backspace: () => this.#removeLast(),
            Escape: () => this.#cancel(),
        };
        const arrow = isSelected && arrows[event.key];
        if (!arrow && (event.repeat || !actions[event.key])) return;
        event.preventDefault();
        event.stopImmediatePropagation();
        if (!arrow) return actions[event.key]();
        const at = this.#place(this.#corners[this.#selected]);
        const step = event.shiftKey ? 50 : 5;
        if (at) this.#moveCorner(this.#selected, { x: at.x + step * arrow[0], y: at.y + step * arrow[1] });
    }

    #update() {
        const count = this.#corners.length;
        const text = `${count === 1 ? 'One corner' : `${count || 'No'} corners`} so far`;
        byId('masks-count').textContent =
            this.#selected !== null
                ? `Corner ${this.#selected + 1} of ${count}: the arrow keys move it, Enter releases it.`
                : `${text}${count < 3 ? '; a mask has at least 3.' : '.'}`;
        byId('masks-keep').disabled = count < 3;
        byId('masks-back').disabled = count === 0;
        byId('masks-corner').disabled = count >= maxCorners;
        this.#sketch();
    }

    #sketch() {
        if (!this.#corners || !this.#view) return byId('sketch').replaceChildren();
        const { x, y } = this.#centre;
        const cross = `M${x} ${y - 24}v48M${x - 24} ${y}h48`;
        const handles = this.#corners.flatMap((corner, i) => {
            const at = this.#place(corner);
            const name = i === this.#selected ? 'corner selected' : 'corner';
            return at ? [shape('circle', { class: name, cx: at.x, cy: at.y, r: 8 })] : [];
        });
        byId('sketch').replaceChildren(shape('path', { class: 'cross', d: cross }), ...this.#outline(), ...handles);
    }

    // What would be hidden, and its sides.
    #outline() {
        if (this.#corners.length === 0) return [];
        const path = Float64Array.from([...this.#corners, this.#corners[0]].flat());
        const mask = this.#corners.length > 2 ? overlay.Mask.make(path) : null;
        const runs = mask?.runs(this.#view) ?? [];
        const lines = overlay.projectPath(this.#view, path) ?? [];
        mask?.free();
        let area = '';
        for (let i = 0; i < runs.length; i += 3) {
            const [y, begin, end] = runs.subarray(i, i + 3);
            area += `M${begin - 0.5} ${y - 0.5}H${end - 0.5}v1H${begin - 0.5}z`;
        }
        let sides = '';
        for (let i = 0; i < lines.length; i += 4) {
            sides += `M${lines[i]} ${lines[i + 1]}L${lines[i + 2]} ${lines[i + 3]}`;
        }
        return [shape('path', { class: 'area', d: area }), shape('path', { d: sides })];
    }
}

export function initMasks(page) {
    renderer = page.live.renderer;
    editor = new Editor(page);
}
