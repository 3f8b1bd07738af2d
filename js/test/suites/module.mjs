// The modules as a program meets them: what they import, where random bytes come from, and what a violated precondition
// leaves behind.
// usage: node module.mjs vela.wasm
import { webcrypto as crypto } from 'node:crypto'; // no global one in Node 18
import { strict as assert } from 'node:assert';
import { readFileSync } from 'node:fs';

const module = new WebAssembly.Module(readFileSync(process.argv[2]));
assert.deepEqual(WebAssembly.Module.imports(module).map(({ module, name }) => `${module}.${name}`).sort(),
  ['env.fail', 'env.random']);

function instance(randomBytes) {
  const env = {
    fail(expression) {
      const bytes = new Uint8Array(vela.memory.buffer);
      throw new Error(new TextDecoder().decode(bytes.subarray(expression, bytes.indexOf(0, expression))));
    },
    random: (at, length) => randomBytes(new Uint8Array(vela.memory.buffer, at, length)),
  };
  const vela = new WebAssembly.Instance(module, { env }).exports;
  vela._initialize();
  return vela;
}
function uuid(vela) {
  const at = vela.malloc(16);
  vela.uuid_create(at);
  return Buffer.from(vela.memory.buffer.slice(at, at + 16)).toString('hex');
}

const fromSystem = (bytes) => crypto.getRandomValues(bytes);
assert.notEqual(uuid(instance(fromSystem)), uuid(instance(fromSystem)));
const without = instance(() => { throw new Error('no randomness'); });
for (const draw of [() => uuid(without), () => without.randint(0, 9), () => without.randbytes(without.malloc(8), 8)])
  assert.throws(draw, /no randomness/);

const vela = instance(fromSystem), stack = vela.__stack_pointer.value, text = vela.malloc(4);
for (let i = 0; i < 100000; ++i) {
  assert.throws(() => vela.chunk_split_len(text, 4, 0), /chunk > 0/);
  vela.__stack_pointer.value = stack;
}
assert.equal(vela.chunk_split_len(text, 4, 2), 5);
console.log('as it should be');
