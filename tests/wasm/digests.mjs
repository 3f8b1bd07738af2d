// Prints the digests of a module (tests/digests).
// usage: node digests.mjs digests.wasm [UNIT]
import { readFileSync } from 'node:fs';

const [path, unit = 255] = process.argv.slice(2);
const module = new WebAssembly.Module(readFileSync(path));
const env = { fail() { throw new Error('a precondition does not hold'); } };
const { digests, memory, _initialize } = new WebAssembly.Instance(module, { env }).exports;
_initialize();
const start = digests(Number(unit)), bytes = new Uint8Array(memory.buffer);
process.stdout.write(new TextDecoder().decode(bytes.subarray(start, bytes.indexOf(0, start))));
