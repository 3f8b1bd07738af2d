// The checks in Node, in a folder where the package is installed and nothing else is. Prints the digests as JSON.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { readFileSync, writeFileSync } from 'node:fs';
import { PerformanceObserver } from 'node:perf_hooks';
import * as lib from 'vela';
import { decodeByHand, encodeByHand } from './vela/src/utf8.js';
import * as overlay from 'vela/overlay';
import { checkAll, checkMasks } from './common.js';

const place = (name) => new URL(import.meta.resolve(`vela/${name}`));
const digests = {
  'Node, plain': await checkAll(lib, place('vela.wasm')),
  'Node, vectors': await checkAll(lib, readFileSync(place('vela-simd.wasm'))),
};

await checkMasks(overlay);

// Text by hand is what the host's coders make of it.
const pieces = [0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC1, 0xC2, 0xDF, 0xE0, 0xED, 0xEF, 0xF0, 0xF4, 0xF5, 0xFF];
for (let i = 0; i < pieces.length ** 4; ++i) {
  const bytes = Uint8Array.of(...[0, 1, 2, 3].map((place) => pieces[Math.floor(i / pieces.length ** place) % pieces.length]));
  assert.equal(decodeByHand(bytes), new TextDecoder('utf-8', { ignoreBOM: true }).decode(bytes), `bytes ${bytes}`);
}
for (const text of ['', 'a\0ü€😀', '\ud800a\udc00', '\udbff\udfff']) assert.deepEqual(encodeByHand(text), new TextEncoder().encode(text));

// A million calls of an audio worklet: nothing for the collector, and no block of the module's memory. What lay about
// before may be collected meanwhile, so that one of three tries must be free of it.
const vela = await lib.load(), resampler = vela.Resampler.withLobes(8000, 48000, 16);
const heard = new Float32Array(128).fill(0.25), samples = new Int16Array(128);
let collections = 0, made = 0;
const calls = (count) => {
  for (let i = 0; i < count; ++i) made += resampler.pushInto(heard, samples);
};
calls(1e5); // until it is compiled
new PerformanceObserver((list) => { collections += list.getEntries().length; }).observe({ entryTypes: ['gc'] });
const probe = () => {
  const block = vela.call('malloc', 64);
  vela.call('free', block);
  return block;
};
const block = probe(), tries = [];
let used;
do {
  collections = 0;
  const before = process.memoryUsage().heapUsed;
  calls(1e6);
  used = process.memoryUsage().heapUsed - before;
  await new Promise((done) => setTimeout(done, 10)); // the observer is told
  tries.push(`${collections} collections, ${used} bytes`);
  assert.ok(tries.length <= 3, `a million calls: ${tries.join('; ')}`);
} while (collections !== 0 || used >= 1e5);
assert.equal(probe(), block);
assert.equal(made, Math.ceil((0.1e6 + tries.length * 1e6) * 128 / 6));

// Without crypto the module throws, and load() finds Node's own.
writeFileSync('without.js', `import { compile, instantiate, load } from 'vela';
  const strict = instantiate(await compile());
  try { strict.uuid.random(); } catch (error) { console.log(error.name, typeof crypto, (await load()).uuid.random().length); }`);
const said = execFileSync(process.execPath, ['--no-experimental-global-webcrypto', 'without.js'], { encoding: 'utf8' });
assert.equal(said.trim(), 'VelaError undefined 16');

console.log(JSON.stringify({ digests, used }));
