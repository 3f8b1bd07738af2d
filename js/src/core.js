// One instance of a module: its memory, calls of its bindings, what it imports, and the checks of arguments.
import { decodeUtf8, encodeUtf8 } from './utf8.js';

export class VelaError extends Error {
    constructor(message, { expression = null, file = null, line = null, function: name = null } = {}) {
        super(message);
        Object.assign(this, { name: 'VelaError', expression, file, line, function: name });
    }
}

// The largest array that crypto fills at once.
const maxRandom = 65536;

function systemRandom(bytes) {
    if (typeof crypto === 'undefined') throw new VelaError('no random source available: pass { random }');
    crypto.getRandomValues(bytes);
}

// What typed arrays say of themselves cannot be overridden by subclasses, and holds for those of other realms, too.
const typedArray = Object.getPrototypeOf(Uint8Array.prototype);
const getter = (property) => {
    const { get } = Object.getOwnPropertyDescriptor(typedArray, property);
    return (value) => get.call(value);
};
export const kindOf = getter(Symbol.toStringTag); // undefined for anything else
export const lengthOf = getter('length');
const setElements = (to, from, offset) => typedArray.set.call(to, from, offset);

const views = [Uint8Array, Int16Array, Uint16Array, Int32Array, Uint32Array, Float32Array, Float64Array];

class Heap {
    constructor(buffer) {
        this.buffer = buffer;
        for (const View of views) this[View.name] = new View(buffer);
        this.Uint8ClampedArray = this.Uint8Array;
    }
}

// The elements of a returned block follow its size.
const blockHeader = 8;

export class Core {
    #exports;
    #heap;

    constructor(module, { random = systemRandom } = {}) {
        const fail = (expression, file, line, name) => {
            const [text, where, caller] = [expression, file, name].map((address) => this.#textAt(address >>> 0));
            if (where === null) throw new VelaError(text);
            const details = { expression: text, file: where, line, function: caller };
            throw new VelaError(`${where}:${line}: ${caller}: assertion failed: ${text}`, details);
        };
        const fill = (address, length) => {
            const end = (address >>> 0) + (length >>> 0);
            for (let at = address >>> 0; at < end; at += maxRandom) {
                const bytes = new Uint8Array(Math.min(end - at, maxRandom));
                random(bytes);
                setElements(this.heap.Uint8Array, bytes, at);
            }
        };
        this.#exports = new WebAssembly.Instance(module, { env: { fail, random: fill } }).exports;
        this.#heap = new Heap(this.#exports.memory.buffer);
        this.#exports._initialize();
    }

    // Replaced when memory grows, which every call may do.
    get heap() {
        const { buffer } = this.#exports.memory;
        return this.#heap.buffer === buffer ? this.#heap : (this.#heap = new Heap(buffer));
    }

    // A binding as it is, for calls that allocate nothing.
    binding(name) {
        return this.#exports[`vela_${name}`];
    }

    // Calls a binding. Arrays and strings are copied into blocks of memory, and passed as address and length. An
    // exception leaves the module's frames on its stack, which are taken off here.
    call(name, ...args) {
        const numbers = [],
            blocks = [],
            stack = this.#exports.__stack_pointer,
            before = stack.value;
        try {
            for (const arg of args) {
                if (typeof arg === 'number') {
                    numbers.push(arg);
                    continue;
                }
                const array = typeof arg === 'string' ? encodeUtf8(arg) : arg;
                blocks.push(this.allocate(array));
                numbers.push(blocks.at(-1), lengthOf(array));
            }
            return this.#exports[`vela_${name}`](...numbers);
        } finally {
            stack.value = before;
            for (const block of blocks) this.#exports.free(block);
        }
    }

    // The address of a new block, for functions that take it alone: a copy of an array, or a number of bytes to write.
    allocate(content) {
        const isArray = typeof content !== 'number',
            kind = isArray ? kindOf(content) : 'Uint8Array',
            size = this.heap[kind].BYTES_PER_ELEMENT,
            bytes = isArray ? lengthOf(content) * size : content,
            block = bytes < 0x100000000 ? this.#exports.malloc(bytes || 1) >>> 0 : 0;
        if (block === 0) throw new VelaError('out of memory');
        if (isArray) setElements(this.heap[kind], content, block / size);
        return block;
    }

    free(block) {
        this.#exports.free(block);
    }

    // A copy of a number of bytes at an address, as an array of a type.
    read(Type, address, size) {
        return new Type(this.heap.Uint8Array.slice(address, address + size).buffer);
    }

    // The same, into an array of bytes.
    readInto(to, address, size) {
        setElements(to, this.heap.Uint8Array.subarray(address, address + size));
    }

    // The array that a binding returns as a block; null for none.
    array(Type, name, ...args) {
        return this.#take(this.call(name, ...args), (bytes) => new Type(bytes.slice().buffer));
    }

    // The same, into an array of bytes where there is one.
    bytes(to, name, ...args) {
        if (to === undefined) return this.array(Uint8Array, name, ...args);
        return this.#take(this.call(name, ...args), (bytes) => {
            setElements(to, bytes);
            return to;
        });
    }

    text(name, ...args) {
        const bytes = this.array(Uint8Array, name, ...args);
        return bytes && decodeUtf8(bytes);
    }

    #take(address, read) {
        const at = address >>> 0;
        if (at === 0) return null;
        try {
            const begin = at + blockHeader;
            return read(this.heap.Uint8Array.subarray(begin, begin + this.heap.Uint32Array[at >>> 2]));
        } finally {
            this.#exports.free(at);
        }
    }

    #textAt(address) {
        const { Uint8Array: bytes } = this.heap;
        return address === 0 ? null : decodeUtf8(bytes.slice(address, bytes.indexOf(0, address)));
    }
}

// What owners hold, which nobody outside can read or forge.
const handles = new WeakMap();

export function handleOf(owner) {
    const handle = handles.get(owner);
    if (handle === undefined) throw new TypeError(`${owner.constructor.name}: used after free()`);
    return handle;
}

// An object of the module, until free() or the end of a block that declares it by `using`.
export class Owner {
    #release;

    // `type` is the prefix of its bindings; without one the handle is a block.
    constructor(core, handle, type) {
        if (!(core instanceof Core)) throw new TypeError(`${new.target.name}: made by its static functions only`);
        handles.set(this, handle);
        this.#release = () => (type ? core.call(`${type}_free`, handle) : core.free(handle));
    }

    free() {
        if (!this.freed) this.#release();
        handles.delete(this);
    }

    get freed() {
        return !handles.has(this);
    }

    [Symbol.dispose ?? Symbol.for('Symbol.dispose')]() {
        this.free();
    }
}

export function array(name, value, ...kinds) {
    if (!kinds.includes(kindOf(value))) throw new TypeError(`${name}: expected ${kinds.join(' or ')}`);
    return value;
}

export const octets = (name, value) => array(name, value, 'Uint8Array', 'Uint8ClampedArray');

// An optional array of bytes that receives a result.
export function target(name, value, size) {
    if (value !== undefined && lengthOf(octets(name, value)) < size)
        throw new RangeError(`${name}: expected ${size} bytes`);
    return value;
}

export function sameLengths(names, ...arrays) {
    if (arrays.some((one) => lengthOf(one) !== lengthOf(arrays[0])))
        throw new RangeError(`${names}: expected equal lengths`);
}

export function object(name, value) {
    if (typeof value !== 'object' || value === null) throw new TypeError(`${name}: expected an object`);
    return value;
}

export function integer(name, value, min, max) {
    if (typeof value !== 'number') throw new TypeError(`${name}: expected a number`);
    if (!Number.isInteger(value) || value < min || value > max) {
        throw new RangeError(`${name}: expected an integer from ${min} to ${max}`);
    }
    return value;
}

export const int32 = (name, value) => integer(name, value, -0x80000000, 0x7fffffff);
export const uint32 = (name, value) => integer(name, value, 0, 0xffffffff);

export function real(name, value) {
    if (typeof value !== 'number') throw new TypeError(`${name}: expected a number`);
    if (!Number.isFinite(value)) throw new RangeError(`${name}: expected a finite number`);
    return value;
}

export function string(name, value) {
    if (typeof value !== 'string') throw new TypeError(`${name}: expected a string`);
    return value;
}

// The index of one of some names.
export function pick(name, value, choices) {
    if (!choices.includes(string(name, value))) throw new RangeError(`${name}: expected one of ${choices.join(', ')}`);
    return choices.indexOf(value);
}

// The number of groups, such as points, in an array of numbers.
export function groups(name, value, size, min = 0) {
    const count = lengthOf(value) / size;
    if (!Number.isInteger(count) || count < min) {
        throw new RangeError(`${name}: expected groups of ${size}${min ? `, at least ${min}` : ''}`);
    }
    return count;
}
