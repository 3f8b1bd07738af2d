// Live sound, and its level.
import { attempt, byId, formatNumber, showText } from './dom.js';
import { compiled, library } from './modules.js';
import { get } from './server.js';
import { SoundBuffer } from './sound-buffer.js';
import { Scope } from './spectrum.js';
import { say } from './texts.js';

const listenButton = byId('sound-listen');
const meter = byId('sound-meter');
const error = byId('sound-error');
const formats = {
    wav: { name: 'littleEndian', bytes: 2 },
    alaw: { name: 'alaw', bytes: 1 },
    ulaw: { name: 'ulaw', bytes: 1 },
};
const state = { controller: null, gaps: 0 }; // a controller while sound is played
const scope = new Scope();
const panel = listenButton.closest('details');
const usualRate = 48000; // of a speaker, while none is known

const options = () => {
    const [rate, format, lobes] = ['rate', 'format', 'lobes'].map((name) => byId(`sound-${name}`).value);
    return { rate: Number(rate), format, lobes: Number(lobes) };
};

// ---- Players: functions that take whole samples as they come

async function playInWorklet(speaker, { rate, format, lobes }, onGap) {
    await speaker.audioWorklet.addModule('./sound-worklet.js');
    const node = new AudioWorkletNode(speaker, 'sound', {
        numberOfInputs: 0,
        outputChannelCount: [1],
        processorOptions: { module: compiled, rate, lobes, format: formats[format].name },
    });
    node.port.onmessage = onGap;
    node.connect(speaker.destination);
    return (bytes) => node.port.postMessage(bytes, [bytes.buffer]);
}

// Browsers have no worklets on pages that come neither from this computer nor by https. There the page's own thread
// converts the sound, and hands it out in pieces that are longer, as it is often late.
function playInPage(speaker, { rate, format, lobes }, onGap) {
    const resampler = library.Resampler.withLobes(speaker.sampleRate, rate, lobes);
    const buffer = new SoundBuffer(speaker.sampleRate);
    const node = speaker.createScriptProcessor(4096, 1, 1);
    node.onaudioprocess = ({ outputBuffer }) => {
        if (!buffer.read(outputBuffer.getChannelData(0))) onGap();
    };
    node.connect(speaker.destination);
    return (bytes) => buffer.write(resampler.pushBytes(bytes, formats[format].name, 'littleEndian'));
}

// ---- The stream

// Where the samples begin in a WAV file; -1 while that has not come yet.
function findSamples(bytes) {
    const data = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
    for (let at = 12; at + 8 <= bytes.length; at += 8 + data.getUint32(at + 4, true)) {
        if (data.getUint32(at) === 0x64617461) return at + 8; // "data"
    }
    return -1;
}

// Never ends but by an error.
async function receive({ rate, format, lobes }, signal, play) {
    const response = await fetch(`/api/audio/live?${new URLSearchParams({ rate, format, lobes })}`, { signal });
    if (!response.ok) throw new Error(`${response.status}`);
    const reader = response.body.getReader();
    const { bytes: sampleSize } = formats[format];
    let rest = new Uint8Array();
    let isInside = false;
    for (;;) {
        const { value, done } = await reader.read();
        if (done) throw new Error('The stream has ended.');
        const bytes = new Uint8Array(rest.length + value.length);
        bytes.set(rest);
        bytes.set(value, rest.length);
        const begin = isInside ? 0 : findSamples(bytes);
        isInside ||= begin >= 0;
        const end = isInside ? bytes.length - ((bytes.length - begin) % sampleSize) : 0;
        if (begin < end) {
            if (panel.open) scope.push(bytes.slice(begin, end), formats[format].name);
            play(bytes.slice(begin, end));
        }
        rest = bytes.slice(end);
    }
}

async function start() {
    state.controller?.abort();
    state.controller = new AbortController();
    state.gaps = 0;
    const { signal } = state.controller;
    const speaker = new AudioContext();
    const onGap = () => {
        if (!signal.aborted) ++state.gaps;
    };
    try {
        scope.begin(speaker.sampleRate, options());
        const player = speaker.audioWorklet ? playInWorklet : playInPage;
        await receive(options(), signal, await player(speaker, options(), onGap));
    } catch {
        if (signal.aborted) return;
        stop();
        showText(error, say('sound.interrupted'));
    } finally {
        speaker.close();
    }
}

function stop() {
    state.controller.abort();
    state.controller = null;
    listenButton.setAttribute('aria-pressed', 'false');
    byId('sound-levels').hidden = true;
}

// The highest level since the last question.
async function measure() {
    if (!state.controller) return;
    const answer = await attempt(error, get('/api/audio/levels', { count: 6 }));
    if (state.controller && answer) {
        const [rms, peak] = ['rms', 'peak'].map((name) => Math.max(...answer.levels.map((level) => level[name])));
        const words = say('sound.level.words', { rms: formatNumber(rms), peak: formatNumber(peak) });
        const gaps = state.gaps ? [say('sound.gaps', { count: state.gaps })] : [];
        meter.value = rms;
        byId('sound-words').textContent = [words, ...gaps].join(', ');
    }
    setTimeout(measure, 300);
}

listenButton.addEventListener('click', () => {
    if (state.controller) return stop();
    listenButton.setAttribute('aria-pressed', 'true');
    byId('sound-levels').hidden = false;
    showText(error, '');
    start();
    measure();
});

function updateLink() {
    byId('sound-download').href = `/api/audio?${new URLSearchParams(options())}`;
}
for (const name of ['rate', 'format', 'lobes']) {
    byId(`sound-${name}`).addEventListener('change', () => {
        updateLink();
        if (state.controller) start();
        else prepare();
    });
}
updateLink();

function prepare() {
    if (panel.open && !state.controller) scope.prepare(usualRate, options());
}
panel.addEventListener('toggle', prepare);
