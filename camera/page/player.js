// What is recorded: pictures and films by the browser itself; AVI files of JPEGs, which no browser plays, by a player
// like its own, without their sound.
import { byId, element, formatNumber } from './dom.js';
import { say } from './texts.js';

// From each marker of a start to that of an end: neither occurs inside.
function findPictures(bytes) {
    const all = [];
    let begin = -1;
    for (let i = 0; i + 1 < bytes.length; ++i) {
        if (bytes[i] !== 0xff) continue;
        if (begin < 0 && bytes[i + 1] === 0xd8 && bytes[i + 2] === 0xff) begin = i;
        else if (begin >= 0 && bytes[i + 1] === 0xd9) {
            all.push(new Blob([bytes.subarray(begin, i + 2)], { type: 'image/jpeg' }));
            begin = -1;
        }
    }
    return all;
}

class Sequence {
    #pictures;
    #image = element('img', { alt: '' });
    #button = element('button', { type: 'button' });
    #line = element('input', { type: 'range', min: 0, step: 1, value: 0 });
    #words = element('output');
    #rate; // pictures a second
    #timer = null;

    constructor(place, bytes, title) {
        this.#pictures = findPictures(bytes);
        const header = 32; // RIFF, AVI, LIST, hdrl, avih and their sizes, before microseconds a picture
        this.#rate = 1e6 / new DataView(bytes.buffer).getUint32(header, true);
        this.#image.alt = title;
        this.#line.max = this.#pictures.length - 1;
        this.#line.setAttribute('aria-label', say('recordings.timeline'));
        this.#line.addEventListener('input', () => {
            this.pause();
            this.#show();
        });
        this.#button.addEventListener('click', () => (this.#timer ? this.pause() : this.play()));
        place.replaceChildren(
            this.#image,
            element('div', { className: 'row tight' }, this.#button, this.#line, this.#words),
        );
        this.play();
    }

    play() {
        if (Number(this.#line.value) >= this.#pictures.length - 1) this.#line.value = 0;
        const begun = performance.now() - (1000 * Number(this.#line.value)) / this.#rate;
        this.#timer = setInterval(() => {
            this.#line.value = Math.floor(((performance.now() - begun) * this.#rate) / 1000);
            if (Number(this.#line.value) >= this.#pictures.length - 1) this.pause();
            this.#show();
        }, 1000 / this.#rate);
        this.#button.textContent = say('recordings.pause');
        this.#show();
    }

    pause() {
        clearInterval(this.#timer);
        this.#timer = null;
        this.#button.textContent = say('recordings.play');
    }

    #show() {
        const [at, length] = [Number(this.#line.value), this.#pictures.length];
        URL.revokeObjectURL(this.#image.src);
        this.#image.src = URL.createObjectURL(this.#pictures[at]);
        this.#words.textContent = say('recordings.position', {
            at: formatNumber((at + 1) / this.#rate, 1),
            length: formatNumber(length / this.#rate, 1),
        });
    }

    end() {
        this.pause();
        URL.revokeObjectURL(this.#image.src);
    }
}

let playing = null;

export async function show(address, type, title) {
    end();
    const place = byId('recordings-picture');
    if (type.startsWith('image/')) return place.replaceChildren(element('img', { src: address, alt: title }));
    const film = element('video', { src: address, controls: true, autoplay: true, title });
    if (film.canPlayType(type)) return place.replaceChildren(film);
    const reply = await fetch(address, { cache: 'no-store' });
    playing = new Sequence(place, new Uint8Array(await reply.arrayBuffer()), title);
}

// A clip that nobody looks at is not played on.
export function end() {
    playing?.end();
    playing = null;
    byId('recordings-picture').replaceChildren();
}
