// Finds, compiles and starts the module of masks and marks.
import { compileFrom } from './src/compile.js';
import { overlay } from './src/overlay.js';

export const compile = (source) => compileFrom(source, () => new URL('./vela-overlay.wasm', import.meta.url));

export function instantiate(module) {
  if (!(module instanceof WebAssembly.Module)) throw new TypeError('module: a WebAssembly.Module is wanted');
  return overlay(module);
}

export const load = async (source) => instantiate(await compile(source));
