// The checks in a page, a worker and audio worklets. driver.mjs reads `result`.
import * as lib from './vela/index.js';
import * as overlay from './vela/overlay.js';
import { checkAll, checkMasks } from './common.js';

const modules = { plain: './vela/vela.wasm', vectors: './vela/vela-simd.wasm' };
const kinds = Object.entries(modules);

async function inWorker(source) {
  const worker = new Worker('./worker.js', { type: 'module' });
  worker.postMessage(new URL(source, location.href).href);
  const { data } = await new Promise((resolve, reject) => {
    worker.onmessage = resolve;
    worker.onerror = reject;
  });
  worker.terminate();
  if (data.error) throw new Error(data.error);
  return data.digests;
}

async function inWorklet(source) {
  const context = new OfflineAudioContext(1, 128, 48000);
  await context.audioWorklet.addModule('./worklet.js');
  const node = new AudioWorkletNode(context, 'check', { processorOptions: { module: await lib.compile(source) } });
  const said = new Promise((resolve, reject) => {
    node.port.onmessage = ({ data }) => resolve(data);
    node.onprocessorerror = () => reject(new Error('the worklet fails'));
  });
  await context.startRendering();
  const { digests, text, refused, fetched } = await said;
  if (text !== 'ü€😀' || !/random/.test(refused) || !fetched) throw new Error(`worklet: ${text}, ${refused}, ${fetched}`);
  return digests;
}

// The README's worklet, on a second of noise, gives what the page gives.
async function telephone() {
  const context = globalThis.context = new OfflineAudioContext(1, 48000, 48000), noise = context.createBuffer(1, 48000, 48000);
  noise.copyToChannel(Float32Array.from({ length: 48000 }, (_, i) => Math.sin(i * i) * 1.5), 0);
  const { node } = await import('./readme-page.js'), made = [];
  node.port.onmessage = ({ data }) => made.push(...data);
  const source = new AudioBufferSourceNode(context, { buffer: noise });
  source.connect(node).connect(context.destination);
  source.start();
  await context.startRendering();
  const resampler = (await lib.load()).Resampler.make(8000, 48000), expected = Int16Array.from(resampler.push(noise.getChannelData(0)), (one) => one * 32768);
  for (let wait = 0; made.length < expected.length && wait < 100; ++wait) await new Promise((done) => setTimeout(done, 20));
  if (made.length !== expected.length || !expected.every((one, i) => one === made[i])) throw new Error(`the worklet made ${made.length} samples`);
  return made.length;
}

async function all() {
  const digests = {};
  await checkMasks(overlay);
  for (const [kind, source] of kinds) {
    digests[`page, ${kind}`] = await checkAll(lib, source);
    digests[`worker, ${kind}`] = await inWorker(source);
    digests[`worklet, ${kind}`] = await inWorklet(source);
  }
  return { digests, telephone: await telephone(), vectors: lib.hasVectors() };
}

globalThis.result = all().catch((error) => ({ error: error.stack }));
