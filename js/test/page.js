// In a page, a worker and two worklets, of which one is the README's: what browser.mjs compares.
import { compile, hasVectors, load } from './vela/index.js';
import { load as loadOverlay } from './vela/overlay.js';
import { sample } from './sample.js';

const next = (target) => new Promise((resolve) => (target.onmessage = ({ data }) => resolve(data)));

async function inWorker(source) {
    const worker = new Worker('worker.js', { type: 'module' });
    worker.postMessage(source);
    return next(worker);
}

async function inWorklet(context) {
    await context.audioWorklet.addModule('worklet.js');
    const processorOptions = { module: await compile('vela/vela.wasm') };
    return next(new AudioWorkletNode(context, 'check', { processorOptions }).port);
}

async function run() {
    const context = new OfflineAudioContext(1, 4800, 48000),
        source = new ConstantSourceNode(context),
        { project } = await loadOverlay();
    globalThis.context = context; // as the README's program has it
    const { node } = await import('./readme-page.js'),
        worklet = inWorklet(context);
    let telephone = 0;
    node.port.onmessage = ({ data }) => (telephone += data.length);
    source.connect(node).connect(context.destination);
    source.start();
    const { sample: inAudio, ...refused } = await worklet;
    await context.startRendering();
    while (telephone < 811) await new Promise((done) => setTimeout(done, 10));
    return {
        hasVectors: hasVectors(),
        samples: {
            page: sample(await load()),
            'page, without vectors': sample(await load('vela/vela.wasm')),
            worker: await inWorker(await compile()),
            worklet: inAudio,
        },
        refused,
        telephone,
        projected: project({ width: 1280, height: 720, pan: 30, tilt: 0, fov: 60 }, 40, 5),
    };
}

run().then(
    (result) => (globalThis.result = result),
    (error) => (globalThis.result = { error: error.stack }),
);
