// One instance of the module: its memory, calls into it, what it asks of its host, and the checks of arguments.
import { decodeUtf8, encodeUtf8 } from './utf8.js';

export class VelaError extends Error {
  constructor(message, { expression = null, file = null, line = null, function: name = null } = {}) {
    super(message);
    Object.assign(this, { name: 'VelaError', expression, file, line, function: name });
  }
}

// crypto gives that many bytes at once.
const mostRandom = 65536;

function systemRandom(bytes) {
  if (typeof crypto === 'undefined') throw new VelaError('there are no random numbers here: instantiate() takes a source of them');
  crypto.getRandomValues(bytes);
}

// Memory as numbers of each kind.
class Heap {
  constructor(buffer) {
    this.buffer = buffer;
    this.u8 = new Uint8Array(buffer);
    this.i16 = new Int16Array(buffer);
    this.u16 = new Uint16Array(buffer);
    this.i32 = new Int32Array(buffer);
    this.u32 = new Uint32Array(buffer);
    this.i64 = new BigInt64Array(buffer);
    this.f32 = new Float32Array(buffer);
    this.f64 = new Float64Array(buffer);
  }
}

export class Core {
  #heap;
  #stack;

  constructor(module, { random = systemRandom } = {}) {
    const fail = (expression, file, line, name) => {
      const said = { expression: this.textAt(expression), file: this.textAt(file), line, function: this.textAt(name) };
      throw new VelaError(`${said.file}:${line}: ${said.function}: assertion failed: ${said.expression}`, said);
    };
    const fill = (at, length) => {
      for (const end = (at >>>= 0) + (length >>> 0); at < end; at += mostRandom) {
        random(this.heap.u8.subarray(at, Math.min(end, at + mostRandom)));
      }
    };
    this.exports = new WebAssembly.Instance(module, { env: { fail, random: fill } }).exports;
    this.#heap = new Heap(this.exports.memory.buffer);
    this.#stack = this.exports.__stack_pointer;
    this.exports._initialize?.();
  }

  // Made anew when memory has grown: to be asked for after every call.
  get heap() {
    const { buffer } = this.exports.memory;
    return this.#heap.buffer === buffer ? this.#heap : (this.#heap = new Heap(buffer));
  }

  room(size) {
    const at = size < 0x100000000 ? this.exports.malloc(size || 1) >>> 0 : 0;
    if (at === 0) throw new VelaError('out of memory');
    return at;
  }

  free(at) { this.exports.free(at); }

  // Runs what needs blocks of memory: they are released behind it. An exception out of the module leaves its frames on
  // the stack, which are taken off here.
  use(run) {
    const blocks = [], before = this.#stack.value;
    const room = (size) => {
      const at = this.room(size);
      blocks.push(at);
      return at;
    };
    const put = (array) => {
      const at = room(array.byteLength);
      this.heap.u8.set(new Uint8Array(array.buffer, array.byteOffset, array.byteLength), at);
      return at;
    };
    try {
      return run(room, put);
    } finally {
      this.#stack.value = before;
      for (const at of blocks) this.free(at);
    }
  }

  call(name, ...args) {
    if (typeof this.exports[name] !== 'function') throw new TypeError(`there is no function ${name}`);
    return this.use(() => this.exports[name](...args));
  }

  copy(Type, at, length) { return new Type(this.heap.buffer.slice(at, at + length * Type.BYTES_PER_ELEMENT)); }

  // A copy in an array that the caller gave, if it did.
  copyInto(to, at, length) {
    if (to === undefined) return this.copy(Uint8Array, at, length);
    to.set(this.heap.u8.subarray(at, at + length));
    return to;
  }

  putText(put, text) { return put(encodeUtf8(text + '\0')); }

  textAt(at) { return decodeUtf8(this.heap.u8.slice(at >>>= 0, this.heap.u8.indexOf(0, at))); }

  textOrNull(at) { return at === 0 ? null : this.textAt(at); }
}

// Ends with its owner's free(), at the end of a block of `using` as well.
export class Owner {
  #release;

  constructor(release) { this.#release = release; }

  free() {
    this.#release?.();
    this.#release = null;
  }

  get freed() { return this.#release === null; }
}
Object.defineProperty(Owner.prototype, Symbol.dispose ?? Symbol.for('Symbol.dispose'), { value() { this.free(); } });

// Arrays are known by their kind, since those of another window or context are of other classes.
export const kindOf = (value) => ArrayBuffer.isView(value) ? value[Symbol.toStringTag] : null;

export function array(name, value, ...kinds) {
  if (!kinds.includes(kindOf(value))) throw new TypeError(`${name}: ${kinds.join(' or ')} is wanted`);
  return value;
}

export const octets = (name, value) => array(name, value, 'Uint8Array', 'Uint8ClampedArray');

export function roomFor(name, value, size) {
  if (value !== undefined && octets(name, value).length < size) throw new RangeError(`${name}: ${size} bytes are wanted`);
}

export function integer(name, value, least, most) {
  if (typeof value !== 'number') throw new TypeError(`${name}: a number is wanted`);
  if (!Number.isInteger(value) || value < least || value > most) {
    throw new RangeError(`${name}: an integer from ${least} to ${most} is wanted`);
  }
  return value;
}

export const int32 = (name, value) => integer(name, value, -0x80000000, 0x7FFFFFFF);
export const uint32 = (name, value) => integer(name, value, 0, 0xFFFFFFFF);

export function real(name, value) {
  if (typeof value !== 'number') throw new TypeError(`${name}: a number is wanted`);
  if (!Number.isFinite(value)) throw new RangeError(`${name}: a finite number is wanted`);
  return value;
}

export function string(name, value) {
  if (typeof value !== 'string') throw new TypeError(`${name}: a string is wanted`);
  return value;
}

export function pick(name, value, choices) {
  if (typeof value !== 'string') throw new TypeError(`${name}: a string is wanted`);
  if (!Object.hasOwn(choices, value)) throw new RangeError(`${name}: one of ${Object.keys(choices).join(', ')} is wanted`);
  return choices[value];
}

// Numbers that stand in groups, such as points.
export function groups(name, value, size, least = 0) {
  if (value.length % size !== 0 || value.length < least * size) {
    throw new RangeError(`${name}: groups of ${size} are wanted${least ? `, ${least} of them or more` : ''}`);
  }
  return value.length / size;
}
