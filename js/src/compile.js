// Compiles a module from any source.
import { VelaError } from './core.js';

export const isNode = () => typeof process !== 'undefined' && Boolean(process.versions?.node);

// A module of Node's, hidden from bundlers, which would look for it when they build for a browser.
export const importOfNode = (name) => import(/* webpackIgnore: true */ /* @vite-ignore */ name);

const isBytes = (source) =>
    ArrayBuffer.isView(source) || Object.prototype.toString.call(source) === '[object ArrayBuffer]';

async function compileAt(location) {
    const url = new URL(location, globalThis.location?.href);
    if (url.protocol === 'file:' && isNode()) {
        const { readFile } = await importOfNode('node:fs/promises');
        return WebAssembly.compile(await readFile(url));
    }
    const response = await fetch(url);
    if (!response.ok) throw new VelaError(`${url}: ${response.status} ${response.statusText}`);
    // Many servers don't know the type.
    return response.headers.get('Content-Type')?.startsWith('application/wasm')
        ? WebAssembly.compileStreaming(response)
        : WebAssembly.compile(await response.arrayBuffer());
}

// `own` returns the URL of the package's own module, the default.
export async function compileFrom(source, own) {
    if (source instanceof WebAssembly.Module) return source;
    if (isBytes(source)) return WebAssembly.compile(source);
    if (typeof fetch === 'undefined' || typeof URL === 'undefined')
        throw new VelaError('fetch is not available: pass a compiled module to instantiate()');
    if (source === undefined) return compileAt(own());
    if (typeof source === 'string' || source instanceof URL) return compileAt(source);
    throw new TypeError('source: expected a URL, bytes or a WebAssembly.Module');
}
