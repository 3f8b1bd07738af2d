// The package as others get it: its README's programs, its declarations, its size, and a bundle. Run like node.mjs;
// VELA_ROOT is where esbuild is installed.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { cpSync, mkdirSync, readFileSync, readdirSync } from 'node:fs';
import { test } from 'node:test';
import { brotliCompressSync } from 'node:zlib';

const run = (...command) => execFileSync(command[0], command.slice(1), { encoding: 'utf8' });
const programs = ['first.mjs', 'masks.mjs'];

test("the README's programs run", () => {
    const [first, masks] = programs.map((program) => run(process.execPath, program).trim().split('\n'));
    assert.match(first[0], /^\{ x: \d+, y: \d+ \}$/);
    assert.match(first[1], /^\d+ (true|false)$/);
    assert.equal(first[2], '8017'); // a second, and half of the kernel
    assert.match(masks.join(), /^19[567]$/); // rows 263 to 457, and up to 1.5 pixels off
});

test('declarations are valid, and fit them', () => {
    const options = '--noEmit --strict --target es2022 --lib es2022,dom --module node16 --typeRoots none'.split(' ');
    run('tsc', ...options, 'vela/index.d.ts', 'vela/overlay.d.ts');
    run('tsc', ...options, '--allowJs', '--checkJs', ...programs);
});

test('it holds what it should, in at most 68 KiB a module', () => {
    const files = 'CHANGELOG.md README.md index.d.ts index.js overlay.d.ts overlay.js package.json src';
    const modules = ['vela-overlay.wasm', 'vela-simd.wasm', 'vela.wasm'];
    assert.deepEqual(readdirSync('vela').sort(), [...files.split(' '), ...modules].sort());
    for (const name of modules) {
        const size = brotliCompressSync(readFileSync(`vela/${name}`)).length;
        console.log(`${name}: ${size} bytes as Brotli`);
        assert.ok(size <= 68 * 1024, `${name}: ${size} bytes`);
    }
    assert.equal(JSON.parse(readFileSync('vela/package.json')).version, process.env.VELA_VERSION);
});

test('esbuild bundles it for browsers', () => {
    mkdirSync('bundle');
    const esbuild = `${process.env.VELA_ROOT}/node_modules/.bin/esbuild`;
    const source = ['bundle', 'platform=browser', 'format=esm', 'outfile=bundle/first.mjs', 'log-level=warning'];
    const said = execFileSync(esbuild, ['first.mjs', ...source.map((option) => `--${option}`)], {
        encoding: 'utf8',
        stdio: 'pipe',
    });
    assert.equal(said, '');
    for (const name of ['vela.wasm', 'vela-simd.wasm']) cpSync(`vela/${name}`, `bundle/${name}`);
    assert.equal(run(process.execPath, 'bundle/first.mjs'), run(process.execPath, 'first.mjs'));
});
