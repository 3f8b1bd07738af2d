// Finds, compiles and starts the module of masks and paths.
import { compileFrom } from './src/compile.js';
import { overlay } from './src/overlay.js';

export const compile = (source) => compileFrom(source, () => new URL('./vela-overlay.wasm', import.meta.url));

export function instantiate(module) {
    if (!(module instanceof WebAssembly.Module)) throw new TypeError('module: expected a WebAssembly.Module');
    return overlay(module);
}

export const load = async (source) => instantiate(await compile(source));
