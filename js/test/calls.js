// Which public functions and which bindings the tests call: each notes its name. What is never called is untested.
const names = new Set(),
    called = new Set();

function note(owner, target, key) {
    const name = `${owner}.${String(key.description ?? key)}`,
        descriptor = Object.getOwnPropertyDescriptor(target, key);
    if (names.has(name)) return;
    for (const part of ['value', 'get']) {
        const run = descriptor[part];
        if (typeof run !== 'function') continue;
        names.add(name);
        descriptor[part] = function (...args) {
            called.add(name);
            const result = Reflect.apply(run, this, args);
            if (/[.]fit/.test(name)) watchClass(result?.constructor);
            return result;
        };
    }
    Object.defineProperty(target, key, descriptor);
}

function watchClass(type) {
    if (!type) return;
    const own = (target) => Reflect.ownKeys(target).filter((key) => !['constructor', 'prototype'].includes(key));
    for (const key of own(type.prototype)) note(type.name, type.prototype, key);
    for (const key of own(type)) note(type.name, type, key);
    const base = Object.getPrototypeOf(type);
    if (base !== Function.prototype) watchClass(base);
}

const isClass = (value) => typeof value === 'function' && String(value).startsWith('class');

// An instance whose calls are noted.
export function watched(api, name) {
    for (const [key, value] of Object.entries(api)) {
        if (isClass(value)) watchClass(value);
        else if (typeof value === 'function') note(name, api, key);
        else watched(value, key);
    }
    return api;
}

export const publicNames = () => [...names].map((name) => name.split('.')[1]);
export const uncalled = () => [...names].filter((name) => !called.has(name));

// How often each binding was called; from watchBindings() on, each new instance counts.
const bindings = new Map();

export function watchBindings() {
    const { Instance } = WebAssembly;
    WebAssembly.Instance = function (module, imports) {
        const exports = { ...new Instance(module, imports).exports };
        for (const [name, run] of Object.entries(exports)) {
            if (!/^vela_|^free$/.test(name)) continue;
            bindings.set(name, bindings.get(name) ?? 0);
            exports[name] = (...args) => {
                bindings.set(name, bindings.get(name) + 1);
                return run(...args);
            };
        }
        return { exports };
    };
}

export const callsOf = (binding) => bindings.get(binding);
export const uncalledBindings = () => [...bindings.keys()].filter((name) => bindings.get(name) === 0);
