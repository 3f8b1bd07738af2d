// What the ear would have to tell: the sound's waveform, its spectrum before and after the resampler, and what filters
// of 2, 16 and more lobes let through, measured with an impulse.
import { byId, element, formatNumber } from './dom.js';
import { library } from './modules.js';
import { say } from './texts.js';

const size = 2048; // samples of a spectrum
const floor = -100; // dB
const kept = 2 * size; // samples of the sound that are shown
const best = 'best';
const filters = [2, 16, best];
const colours = { 2: '#d9822b', 16: '#2b83c9', best: '#2e9e5b' };

// ---- Spectra

// A complex transform of 2^n values in place.
function transform(real, imaginary) {
    const count = real.length;
    for (let i = 1, j = 0; i < count; ++i) {
        let bit = count >> 1;
        for (; j & bit; bit >>= 1) j ^= bit;
        j ^= bit;
        if (i < j) {
            [real[i], real[j]] = [real[j], real[i]];
            [imaginary[i], imaginary[j]] = [imaginary[j], imaginary[i]];
        }
    }
    for (let length = 2; length <= count; length *= 2) {
        for (let k = 0; k < length / 2; ++k) {
            const [cosine, sine] = [Math.cos((-2 * Math.PI * k) / length), Math.sin((-2 * Math.PI * k) / length)];
            for (let i = k, j = k + length / 2; i < count; i += length, j += length) {
                const [x, y] = [real[j] * cosine - imaginary[j] * sine, real[j] * sine + imaginary[j] * cosine];
                [real[j], imaginary[j]] = [real[i] - x, imaginary[i] - y];
                [real[i], imaginary[i]] = [real[i] + x, imaginary[i] + y];
            }
        }
    }
}

// Levels in dB from 0 to half of the rate. A window of Blackman's keeps a tone from spreading; a response has none.
function levelsOf(samples, isResponse = false) {
    const real = new Float64Array(size);
    const turn = (i) => (2 * Math.PI * i) / (size - 1);
    for (let i = 0; i < Math.min(size, samples.length); ++i) {
        real[i] = samples[i] * (isResponse ? 1 : 0.42 - 0.5 * Math.cos(turn(i)) + 0.08 * Math.cos(2 * turn(i)));
    }
    const imaginary = new Float64Array(size);
    transform(real, imaginary);
    const scale = isResponse ? 1 : 0.42 * (size / 2);
    return Float64Array.from({ length: size / 2 }, (_, i) =>
        Math.max(floor, 20 * Math.log10(Math.hypot(real[i], imaginary[i]) / scale + 1e-9)),
    );
}

function makeResampler(speaker, rate, lobes) {
    if (lobes !== best) return library.Resampler.withLobes(speaker, rate, lobes);
    try {
        return library.Resampler.make(speaker, rate, best);
    } catch {
        return null; // rates that it has no filter for
    }
}

// What a filter lets through, at each frequency of the speaker's. An impulse in numbers from -1 to 1 would be rounded to
// 16 bits after it, which is where the lines end.
export function responseOf(speaker, rate, lobes) {
    const resampler = makeResampler(speaker, rate, lobes);
    if (!resampler) return null;
    const impulse = new Float32Array(Math.ceil((size * rate) / speaker));
    impulse[Math.floor(impulse.length / 2)] = 0.9;
    const samples = resampler.push(impulse);
    resampler.free();
    return levelsOf(samples, true).map((level) => level - 20 * Math.log10((0.9 * speaker) / rate));
}

// ---- The scope

export class Scope {
    #before = [];
    #after = [];
    #rates = [1, 1];
    #resampler = null;
    #decoder = null;
    #responses = [];
    #isDrawing = false;

    // For sound of a rate that is heard at the speaker's.
    begin(speaker, { rate, format, lobes }) {
        this.#rates = [rate, speaker];
        this.#resampler?.free();
        this.#decoder?.free();
        this.#resampler = library.Resampler.withLobes(speaker, rate, lobes);
        this.#decoder = library.Resampler.make(1, 1, 'bilinear');
        this.#before = this.#after = [];
        this.format = format;
        this.chosen = lobes;
        this.#measure();
    }

    // The filters alone, before anything is heard.
    prepare(speaker, { rate, lobes }) {
        this.#rates = [rate, speaker];
        this.chosen = lobes;
        this.#before = this.#after = [];
        this.#measure();
    }

    #measure() {
        const [rate, speaker] = this.#rates;
        this.#responses = filters
            .map((lobes) => ({ lobes, levels: responseOf(speaker, rate, lobes) }))
            .filter(({ levels }) => levels);
        const key = (name, colour) => {
            const made = element('span', { className: 'key', textContent: name });
            made.style.setProperty('--key', colour);
            return made;
        };
        byId('sound-legend').replaceChildren(
            ...this.#responses.map(({ lobes }) =>
                key(say(lobes === best ? 'sound.best' : 'sound.filter', { lobes }), colours[lobes]),
            ),
            key(say('sound.before'), '#8a93a0'),
            key(say('sound.after'), '#5b636d'),
        );
        byId('sound-spectrum-words').textContent = say('sound.spectrum.words', {
            rate: formatNumber(rate / 1000),
            speaker: formatNumber(speaker / 1000, speaker % 1000 ? 1 : 0),
        });
        this.#draw();
    }

    // Samples as they come, in the format of the stream.
    push(bytes, name) {
        const keep = (old, more) => [...old, ...more].slice(-kept);
        const decoded = new Int16Array(this.#decoder.pushBytes(bytes, name, 'littleEndian').buffer);
        const samples = Float32Array.from(decoded, (value) => value / 32768);
        this.#before = keep(this.#before, samples);
        this.#after = keep(this.#after, this.#resampler.push(samples));
        if (this.#isDrawing) return;
        this.#isDrawing = true;
        requestAnimationFrame(() => {
            this.#isDrawing = false;
            this.#draw();
        });
    }

    #draw() {
        this.#drawSpectrum();
        this.#drawWave();
    }

    #pen(id) {
        const canvas = byId(id);
        const pen = canvas.getContext('2d');
        pen.clearRect(0, 0, canvas.width, canvas.height);
        return { pen, ...this.#colours(), width: canvas.width, height: canvas.height };
    }
    #colours() {
        const style = getComputedStyle(document.documentElement);
        return Object.fromEntries(
            ['line', 'quiet', 'edge', 'accent'].map((name) => [name, style.getPropertyValue(`--${name}`)]),
        );
    }

    #drawSpectrum() {
        const [rate, speaker] = this.#rates;
        const highest = Math.max(rate, speaker) / 2;
        const { pen, line, quiet, edge, width, height } = this.#pen('sound-spectrum');
        const bottom = height - 26;
        const xOf = (hertz) => (hertz / highest) * width;
        const yOf = (level) => (bottom * -level) / -floor;
        pen.font = '18px system-ui, sans-serif';
        pen.fillStyle = quiet;
        pen.strokeStyle = line;
        pen.lineWidth = 1;
        const step = highest > 12000 ? 4000 : 2000;
        for (let hertz = 0; hertz < highest; hertz += step) {
            pen.strokeRect(xOf(hertz), 0, 0.01, bottom);
            pen.fillText(hertz ? `${hertz / 1000}` : 'kHz', xOf(hertz) + 3, height - 6);
        }
        for (let level = -20; level > floor; level -= 20) {
            pen.strokeRect(0, yOf(level), width, 0.01);
            if (level % 40 === 0) pen.fillText(`${formatNumber(level)} dB`, 3, yOf(level) - 4);
        }
        const trace = (levels, half, isFilled) => {
            pen.beginPath();
            if (isFilled) pen.moveTo(0, bottom);
            levels.forEach((level, i) => pen.lineTo(xOf((i * half) / levels.length), yOf(level)));
            if (isFilled) {
                pen.lineTo(xOf(half), bottom);
                pen.fill();
            } else pen.stroke();
        };
        for (const [samples, half, colour] of [
            [this.#after, speaker / 2, quiet],
            [this.#before, rate / 2, edge],
        ]) {
            if (samples.length < size) continue;
            pen.fillStyle = colour;
            pen.globalAlpha = 0.45;
            trace(levelsOf(samples.slice(-size)), half, true);
            pen.globalAlpha = 1;
        }
        for (const { lobes, levels } of this.#responses) {
            pen.strokeStyle = colours[lobes];
            pen.lineWidth = lobes === this.chosen ? 3.5 : 2;
            trace(levels, speaker / 2, false);
        }
        // Where nothing belongs.
        pen.setLineDash([5, 5]);
        pen.strokeStyle = quiet;
        pen.strokeRect(xOf(Math.min(rate, speaker) / 2), 0, 0.01, bottom);
        pen.setLineDash([]);
    }

    // The same moment before, as dots where it was sampled, and after.
    #drawWave() {
        const [rate, speaker] = this.#rates;
        const { pen, quiet, accent, width, height } = this.#pen('sound-wave');
        if (this.#after.length < size) return;
        const seconds = 0.012;
        const shown = (samples, perSecond) => samples.slice(-Math.round(seconds * perSecond));
        const peak = Math.max(0.05, ...this.#before.map(Math.abs));
        const yOf = (value) => height / 2 - (0.46 * height * value) / peak;
        const after = shown(this.#after, speaker);
        pen.strokeStyle = accent;
        pen.lineWidth = 2.5;
        pen.beginPath();
        after.forEach((value, i) => pen.lineTo((i / (after.length - 1)) * width, yOf(value)));
        pen.stroke();
        // The filter's delay of its lobes lies between the two.
        const delay = Math.round(this.#resampler.latency * (rate / speaker));
        const before = shown(this.#before.slice(0, this.#before.length - delay), rate);
        pen.fillStyle = quiet;
        before.forEach((value, i) => {
            pen.beginPath();
            pen.arc((i / (before.length - 1)) * width, yOf(value), 3.5, 0, 7);
            pen.fill();
        });
    }
}
