// Finds, compiles and starts the module. What it offers is put together in src/vela.js.
import { VelaError } from './src/core.js';
import { vela } from './src/vela.js';

export { VelaError };

// A function that gives the sum of no vector, as eight bytes of code: valid where the host has 16-byte vectors.
const withVectors = new Uint8Array([
  0, 0x61, 0x73, 0x6d, 1, 0, 0, 0, // magic and version
  1, 5, 1, 0x60, 0, 1, 0x7b, // one type: () -> v128
  3, 2, 1, 0, // one function of it
  10, 10, 1, 8, 0, 0x41, 0, 0xfd, 15, 0xfd, 98, 11, // i32.const 0, i8x16.splat, i8x16.popcnt
]);

export const hasVectors = () => WebAssembly.validate(withVectors);

const isNode = () => typeof process !== 'undefined' && Boolean(process.versions?.node);

// Written out one by one, so that tools that follow `new URL(..., import.meta.url)` find both.
const ownModule = () => hasVectors() ? new URL('./vela-simd.wasm', import.meta.url) : new URL('./vela.wasm', import.meta.url);

const isBytes = (source) => ArrayBuffer.isView(source) || Object.prototype.toString.call(source) === '[object ArrayBuffer]';

async function compileAt(place) {
  const url = new URL(place, globalThis.location?.href);
  if (url.protocol === 'file:' && isNode()) {
    const { readFile } = await import(/* webpackIgnore: true */ /* @vite-ignore */ 'node:fs/promises');
    return WebAssembly.compile(await readFile(url));
  }
  const response = await fetch(url);
  if (!response.ok) throw new VelaError(`${url}: ${response.status} ${response.statusText}`);
  // Servers that don't know the type are common enough.
  return response.headers.get('Content-Type')?.startsWith('application/wasm')
    ? WebAssembly.compileStreaming(response) : WebAssembly.compile(await response.arrayBuffer());
}

export async function compile(source) {
  if (source instanceof WebAssembly.Module) return source;
  if (isBytes(source)) return WebAssembly.compile(source);
  if (typeof fetch === 'undefined' || typeof URL === 'undefined') throw new VelaError('nothing is fetched here: instantiate() takes a compiled module');
  if (source === undefined) return compileAt(ownModule());
  if (typeof source === 'string' || source instanceof URL) return compileAt(source);
  throw new TypeError('source: a URL, bytes or a WebAssembly.Module is wanted');
}

export function instantiate(module, options) {
  if (!(module instanceof WebAssembly.Module)) throw new TypeError('module: a WebAssembly.Module is wanted');
  return vela(module, options);
}

export async function load(source, options = {}) {
  const module = await compile(source);
  if (options.random || typeof crypto !== 'undefined' || !isNode()) return instantiate(module, options);
  const { webcrypto } = await import(/* webpackIgnore: true */ /* @vite-ignore */ 'node:crypto'); // no global in Node 18
  return instantiate(module, { ...options, random: (bytes) => webcrypto.getRandomValues(bytes) });
}
