// Times the cases natively, as WebAssembly and by their alternatives, and prints a table. Rounds of all are run in turn, and
// the best of each counts, in processor time.
// usage: node compare.mjs NATIVE-PROGRAM DIRECTORY-OF-MODULES DIRECTORY-OF-PACKAGES
import { execFileSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { cpus } from 'node:os';
import { join } from 'node:path';
import { alternatives } from './alternatives.mjs';

const [native, modules, packages] = process.argv.slice(2);

const times = new Map(); // case -> column -> seconds
function note(name, column, seconds) {
    if (!times.has(name)) times.set(name, new Map());
    const row = times.get(name);
    row.set(column, Math.min(seconds, row.get(column) ?? Infinity));
}
function time(name, column, run) {
    for (let i = 0; i < 4; ++i) {
        const start = process.cpuUsage();
        run();
        const { user, system } = process.cpuUsage(start);
        note(name, column, (user + system) / 1e6);
    }
}

function fail() {
    throw new Error('a precondition is violated');
}
const built = ['cases', 'cases-simd'].map((name) => {
    const module = new WebAssembly.Module(readFileSync(join(modules, `${name}.wasm`)));
    const { exports } = new WebAssembly.Instance(module, { env: { fail } });
    exports._initialize();
    return exports;
});
const textAt = ({ memory }, at) => {
    const bytes = Buffer.from(memory.buffer);
    return bytes.toString('latin1', at, bytes.indexOf(0, at));
};

const others = alternatives(packages);
for (let round = 0; round < 2; ++round) {
    for (const line of execFileSync(native, { encoding: 'utf8' }).trim().split('\n')) {
        const [name, seconds] = line.split('\t');
        note(name, 'native', Number(seconds));
    }
    built.forEach((module, i) => {
        for (let number = 0, at; (at = module.name(number)); ++number) {
            time(textAt(module, at), i ? 'vectors' : 'plain', () => module.run(number));
        }
    });
    for (const [name, column, run] of others) time(name, column, run);
}

console.log(`Node ${process.versions.node}, ${cpus()[0].model}; times relative to native code, less is better\n`);
console.log('| case | native | WebAssembly | with vectors | alternatives |');
console.log('|---|--:|--:|--:|---|');
for (const [name, row] of times) {
    const relative = (column) => (row.get(column) / row.get('native')).toFixed(2);
    const columns = [...row.keys()].filter((column) => !['native', 'plain', 'vectors'].includes(column));
    const rest = columns.map((column) => `${column} ${relative(column)}`).join(', ');
    const milliseconds = (row.get('native') * 1e3).toFixed(3);
    console.log(`| ${name} | ${milliseconds} ms | ${relative('plain')} | ${relative('vectors')} | ${rest} |`);
}
