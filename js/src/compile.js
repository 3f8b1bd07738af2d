// Compiles a module wherever it comes from.
import { VelaError } from './core.js';

export const isNode = () => typeof process !== 'undefined' && Boolean(process.versions?.node);

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

// `own` gives the place of the module that is meant where none is named.
export async function compileFrom(source, own) {
  if (source instanceof WebAssembly.Module) return source;
  if (isBytes(source)) return WebAssembly.compile(source);
  if (typeof fetch === 'undefined' || typeof URL === 'undefined') throw new VelaError('nothing is fetched here: instantiate() takes a compiled module');
  if (source === undefined) return compileAt(own());
  if (typeof source === 'string' || source instanceof URL) return compileAt(source);
  throw new TypeError('source: a URL, bytes or a WebAssembly.Module is wanted');
}

