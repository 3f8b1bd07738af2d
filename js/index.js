// Finds, compiles and starts the module.
import { compileFrom, importOfNode, isNode } from './src/compile.js';
import { VelaError } from './src/core.js';
import { vela } from './src/vela.js';

export { VelaError };

// A module with a function that counts bits in a vector: valid if the host has 16-byte vectors.
const withVectors = new Uint8Array([
    0,
    0x61,
    0x73,
    0x6d,
    1,
    0,
    0,
    0, // magic and version
    1,
    5,
    1,
    0x60,
    0,
    1,
    0x7b, // one type: () -> v128
    3,
    2,
    1,
    0, // one function of it
    10,
    10,
    1,
    8,
    0,
    0x41,
    0,
    0xfd,
    15,
    0xfd,
    98,
    11, // i32.const 0, i8x16.splat, i8x16.popcnt
]);

export const hasVectors = () => WebAssembly.validate(withVectors);

// Two literal expressions, for bundlers that follow `new URL(..., import.meta.url)`.
const ownModule = () =>
    hasVectors() ? new URL('./vela-simd.wasm', import.meta.url) : new URL('./vela.wasm', import.meta.url);

export const compile = (source) => compileFrom(source, ownModule);

export function instantiate(module, options) {
    if (!(module instanceof WebAssembly.Module)) throw new TypeError('module: expected a WebAssembly.Module');
    return vela(module, options);
}

export async function load(source, options = {}) {
    const module = await compile(source);
    if (options.random || typeof crypto !== 'undefined' || !isNode()) return instantiate(module, options);
    const { webcrypto } = await importOfNode('node:crypto'); // not global in Node 18
    return instantiate(module, { ...options, random: (bytes) => webcrypto.getRandomValues(bytes) });
}
