// The editor of masks in the picture: corners are clicked, dragged, put in and removed; the camera can be turned meanwhile.
import { byId, clamp, shape, showText } from './dom.js';
import { History, useHistory } from './history.js';
import { drawButton, error, masks, round } from './masks.js';
import { overlay } from './modules.js';
import { say } from './texts.js';

const form = byId('masks-form');
const refused = byId('masks-refused');
const maxCorners = 64;
const arrows = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
// Pixels of the screen around the pointer: a finger takes what a handle of 44 pixels has under it.
export const reachOf = ({ pointerType }) => (pointerType === 'touch' ? 22 : 12);

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

class Editor {
    #live;
    #ptz;
    #modes;
    #view = null;
    #edited = null; // the mask that is changed, if it is not a new one
    #selected = null; // the corner that keys move and remove
    #drag = null; // what the pointer moves: { pointerId, move(direction), before }
    #side = null; // the side that was pressed last, and when
    #history = null;

    constructor({ live, ptz, modes }) {
        this.#live = live;
        this.#ptz = ptz;
        this.#modes = modes;
        const view = live.element;
        view.addEventListener('pointerdown', (event) => this.#press(event), { capture: true });
        view.addEventListener('pointermove', (event) => {
            if (this.#drag?.pointerId !== event.pointerId) return;
            const direction = this.#direction(this.#live.positionOf(event));
            if (direction) this.#drag.move(direction);
            this.#sketch();
        });
        for (const name of ['pointerup', 'pointercancel']) {
            view.addEventListener(name, (event) => {
                if (this.#drag?.pointerId !== event.pointerId) return;
                this.#remember(this.#drag.before);
                this.#drag = null;
                this.#update();
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
        byId('masks-back').addEventListener('click', () => this.#history.undo());
        byId('masks-cancel').addEventListener('click', () => this.#cancel());
        form.addEventListener('submit', (event) => this.#submit(event));
    }

    get #corners() {
        return masks.draft;
    }
    set #corners(corners) {
        masks.draft = corners;
        masks.changed();
    }

    lookAt(corners) {
        this.#ptz.moveTo(middleOf(corners));
    }

    begin(mask) {
        this.#modes.enter(() => this.#end());
        this.#edited = mask;
        masks.edited = mask?.id ?? null;
        this.#corners = mask ? mask.corners : [];
        this.#history = new History();
        useHistory(this.#history);
        byId('masks-name').value = mask?.name ?? '';
        if (mask) this.lookAt(mask.corners);
        form.hidden = false;
        drawButton.hidden = true;
        showText(error, '');
        showText(refused, '');
        document.body.classList.add('drawing');
        this.#live.element.classList.add('drawing');
        this.#live.element.scrollIntoView({ block: 'nearest' });
        this.#live.element.focus({ preventScroll: true });
        this.#update();
    }

    #end() {
        this.#edited = masks.edited = this.#drag = this.#selected = null;
        this.#corners = null;
        useHistory();
        form.reset();
        form.hidden = true;
        drawButton.hidden = false;
        document.body.classList.remove('drawing');
        this.#live.element.classList.remove('drawing');
        this.#sketch();
    }

    #cancel() {
        this.#modes.enter(null);
        drawButton.focus({ preventScroll: true });
    }

    async #submit(event) {
        event.preventDefault();
        const field = byId('masks-name');
        const mask = { name: field.value, corners: this.#corners };
        const where = [refused, { name: field }];
        const save = () => (this.#edited ? masks.change(this.#edited.id, mask, ...where) : masks.add(mask, ...where));
        if (await save()) this.#cancel();
    }

    // ---- Changes, each of which can be undone while the mask is drawn

    #remember(before) {
        const after = this.#corners;
        if (before === after) return;
        const use = (corners) => async () => {
            if (!this.#corners) return;
            this.#corners = corners;
            this.#selected = null;
            this.#update();
        };
        this.#history.add(use(before), use(after));
    }

    #setCorners(corners) {
        const before = this.#corners;
        this.#corners = corners;
        this.#remember(before);
        this.#update();
    }

    #add(position) {
        const direction = this.#direction(position);
        showText(refused, direction ? '' : say('masks.nowhere'));
        if (!direction || this.#corners.length >= maxCorners) return;
        this.#selected = null;
        this.#setCorners([...this.#corners, direction]);
    }

    #remove(index) {
        this.#selected = null;
        if (index in this.#corners) this.#setCorners(this.#corners.toSpliced(index, 1));
    }

    moveCorner(index, corner, isEnd) {
        this.#drag ??= { before: this.#corners };
        this.#corners = this.#corners.with(index, corner);
        if (isEnd) {
            this.#remember(this.#drag.before);
            this.#drag = null;
        }
        this.#sketch();
    }

    // By keyboard: one corner after the other is selected, and then none.
    #select(index) {
        this.#selected = index in this.#corners ? index : null;
        if (this.#selected !== null) {
            const corner = this.#corners[index];
            const at = this.#place(corner);
            const { width, height } = this.#live.size;
            if (!at || at.x < 0 || at.x > width || at.y < 0 || at.y > height) this.lookAt([corner]);
        }
        this.#update();
    }

    // ---- Places in the picture

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

    // How many pixels of the picture one of the screen is.
    get #scale() {
        return this.#live.size.width / this.#live.element.clientWidth;
    }

    // The lines of the sides from a corner on to the next.
    #linesOf(corners) {
        return overlay.projectPath(this.#view, Float64Array.from(corners.flat())) ?? [];
    }

    #cornerAt({ x, y }, reach) {
        const distances = this.#corners.map((corner) => {
            const at = this.#place(corner);
            return at ? Math.hypot(at.x - x, at.y - y) : Infinity;
        });
        const index = distances.indexOf(Math.min(...distances));
        return index >= 0 && distances[index] <= reach * this.#scale ? index : null;
    }

    #sideAt({ x, y }, reach) {
        const corners = this.#corners;
        if (corners.length < 3) return null;
        const distanceTo = (corner, i) => {
            const lines = this.#linesOf([corner, corners[(i + 1) % corners.length]]);
            let least = Infinity;
            for (let k = 0; k < lines.length; k += 4) {
                const [x1, y1, x2, y2] = lines.slice(k, k + 4);
                const [dx, dy] = [x2 - x1, y2 - y1];
                const along = clamp(0, ((x - x1) * dx + (y - y1) * dy) / (dx * dx + dy * dy || 1), 1);
                least = Math.min(least, Math.hypot(x1 + along * dx - x, y1 + along * dy - y));
            }
            return least;
        };
        const distances = corners.map(distanceTo);
        const index = distances.indexOf(Math.min(...distances));
        return distances[index] <= reach * this.#scale ? index : null;
    }

    // A press takes a corner, a side or the whole; elsewhere the camera has it.
    #press(event) {
        if (!this.#corners || event.button !== 0) return;
        const position = this.#live.positionOf(event);
        const take = this.#takeCorner(event, position) ?? this.#takeWhole(event, position);
        if (!take) return;
        event.preventDefault();
        event.stopImmediatePropagation();
        this.#live.element.setPointerCapture(event.pointerId);
        this.#live.element.focus({ preventScroll: true });
        this.#drag = { before: this.#corners, pointerId: event.pointerId, move: take };
        this.#update();
    }

    #takeCorner(event, position) {
        const index = this.#cornerAt(position, reachOf(event));
        if (index === null) return null;
        this.#selected = index;
        return (direction) => {
            this.#corners = this.#corners.with(index, direction);
        };
    }

    // The inside and the sides move all corners, as they are seen from the direction that was taken hold of. A second
    // press on a side puts a corner there, which moves on with the pointer.
    #takeWhole(event, position) {
        const from = this.#direction(position);
        const corners = this.#corners;
        if (!from || corners.length < 3) return null;
        const side = this.#sideAt(position, reachOf(event));
        const mask = overlay.Mask.make(Float64Array.from(corners.flat()));
        const isInside = mask?.contains(...from);
        mask?.free();
        if (side === null && !isInside) return null;
        this.#selected = null;
        const isDouble = this.#side?.index === side && event.timeStamp - this.#side.time < 500;
        this.#side = side === null ? null : { index: side, time: event.timeStamp };
        if (side !== null && isDouble && corners.length < maxCorners) {
            this.#setCorners(corners.toSpliced(side + 1, 0, from));
            this.#side = null;
            return this.#takeCorner(event, position);
        }
        const seenFrom = ([pan, tilt]) => ({ width: 1000, height: 1000, fov: 90, pan, tilt });
        const places = corners.map((corner) => overlay.project(seenFrom(from), ...corner));
        return (direction) => {
            const moved = places.map((at) => at && overlay.unproject(seenFrom(direction), at.x, at.y));
            if (moved.every((each) => each)) this.#corners = moved.map(({ pan, tilt }) => [round(pan), round(tilt)]);
        };
    }

    #key(event) {
        if (!this.#corners || event.ctrlKey || event.altKey || event.metaKey) return;
        const isSelected = this.#selected !== null;
        const last = this.#corners.length - 1;
        const actions = {
            Enter: () => (isSelected ? this.#select(null) : this.#add(this.#centre)),
            ' ': () => this.#select(isSelected ? this.#selected + 1 : 0),
            Backspace: () => this.#remove(this.#selected ?? last),
            Delete: () => this.#remove(this.#selected),
            Escape: () => this.#cancel(),
        };
        const arrow = isSelected && arrows[event.key];
        if (!arrow && (event.repeat || !actions[event.key])) return;
        event.preventDefault();
        event.stopImmediatePropagation();
        if (!arrow) return actions[event.key]();
        const at = this.#place(this.#corners[this.#selected]);
        const step = event.shiftKey ? 50 : 5;
        const direction = at && this.#direction({ x: at.x + step * arrow[0], y: at.y + step * arrow[1] });
        if (direction) this.#setCorners(this.#corners.with(this.#selected, direction));
    }

    // ---- What is shown

    #update() {
        const count = this.#corners.length;
        byId('masks-count').textContent =
            this.#selected !== null
                ? say('masks.selected', { number: this.#selected + 1, count })
                : say(count === 0 ? 'masks.begin' : count < 3 ? 'masks.count.few' : 'masks.count', { count });
        byId('masks-keep').disabled = count < 3;
        byId('masks-back').disabled = this.#history.counts[0] === 0;
        byId('masks-corner').disabled = count >= maxCorners;
        this.#sketch();
    }

    #sketch() {
        if (!this.#corners || !this.#view) return byId('sketch').replaceChildren();
        const { x, y } = this.#centre;
        const cross = `M${x} ${y - 24}v48M${x - 24} ${y}h48`;
        const isCoarse = matchMedia('(pointer: coarse)').matches;
        const handles = this.#corners.flatMap((corner, i) => {
            const at = this.#place(corner);
            if (!at) return [];
            const circle = (name, r) => shape('circle', { class: name, cx: at.x, cy: at.y, r: r * this.#scale });
            const name = i === this.#selected ? 'corner selected' : 'corner';
            return [...(isCoarse ? [circle('reach', 22)] : []), circle(name, isCoarse ? 9 : 6)];
        });
        byId('sketch').replaceChildren(shape('path', { class: 'cross', d: cross }), ...this.#outline(), ...handles);
    }

    // What would be hidden, and its sides.
    #outline() {
        const corners = this.#corners;
        if (corners.length === 0) return [];
        const lines = this.#linesOf([...corners, corners[0]]);
        const mask = corners.length > 2 ? overlay.Mask.make(Float64Array.from(corners.flat())) : null;
        const runs = mask?.runs(this.#view) ?? [];
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
    masks.renderer = page.live.renderer;
    masks.editor = new Editor(page);
}
