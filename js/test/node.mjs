// All tests of the package under Node, in one process so that uncalled functions show. Run in a directory where the
// package is installed; VELA_MODELS is the module of the models.
import { webcrypto } from 'node:crypto';
import { deepEqual as same, equal, ok, throws, match, rejects, notDeepEqual } from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { readFileSync, writeFileSync } from 'node:fs';
import { test } from 'node:test';
import * as lib from 'vela';
import * as overlay from 'vela/overlay';
import { Core } from './vela/src/core.js';
import { decodeByHand, encodeByHand } from './vela/src/utf8.js';
import { callsOf, publicNames, uncalled, uncalledBindings, watchBindings, watched } from './calls.js';
import { testOverlayRefusals, testRefusals } from './refusals.js';
import { testOverlay } from './overlay.js';
import { generator } from './sample.js';
import { testNumbers } from './numbers.js';
import { testPictures } from './pictures.js';
import { testStreams } from './streams.js';
import { testTexts } from './texts.js';

globalThis.crypto ??= webcrypto; // Node 18 has none of its own
const { VelaError } = lib;
const compiled = (path) => new WebAssembly.Module(readFileSync(path));
const models = new Core(compiled(process.env.VELA_MODELS));
watchBindings();
const urlOf = (name) => new URL(import.meta.resolve(`vela/${name}.wasm`));

for (const name of ['vela', 'vela-simd']) {
    const vela = watched(await lib.load(urlOf(name)), 'vela');
    const check = (title, run) => test(`${name}: ${title}`, () => run(generator()));
    for (const part of [testNumbers, testPictures, testStreams, testTexts]) part(check, vela, models);
    testRefusals(name, vela);
}
const masks = watched(await overlay.load(), 'overlay');
testOverlay(masks);
testOverlayRefusals(masks);

test('every public function and every binding is called, and the functions are declared', () => {
    same([uncalled(), uncalledBindings()], [[], []]);
    const names = publicNames().filter((name) => name !== 'nodejs' && name !== 'Symbol'),
        declared = ['index.d.ts', 'overlay.d.ts'].map((file) => readFileSync(`vela/${file}`, 'utf8')).join('\n');
    for (const name of names) match(declared, new RegExp(`^ {4}(readonly )?${name}[(<:]`, 'm'));
    const functions = [...declared.matchAll(/^ {4}(\w+)[(<]/gm)].map(([, name]) => name);
    same(
        functions.filter((name) => !names.includes(name) && name !== 'random'),
        [],
    );
    ok(names.length > 80, `${names.length} names`);
});

test('modules from URLs, bytes and compiled; with and without vectors', async () => {
    equal(lib.hasVectors(), true);
    const bytes = readFileSync(urlOf('vela'));
    for (const source of [
        urlOf('vela'),
        urlOf('vela').href,
        bytes,
        bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length),
        compiled(urlOf('vela')),
        undefined,
    ]) {
        equal((await lib.load(source)).fixedpoint.intSqrt(17), 4);
        ok((await lib.compile(source)) instanceof WebAssembly.Module);
    }
    ok((await overlay.compile()) instanceof WebAssembly.Module);
    await rejects(lib.load(5), TypeError);
    throws(() => lib.instantiate({}), TypeError);
    throws(() => overlay.instantiate({}), TypeError);
    const imports = ['vela', 'vela-simd', 'vela-overlay'].flatMap((name) =>
        WebAssembly.Module.imports(compiled(urlOf(name))),
    );
    same([...new Set(imports.map(({ module, name }) => `${module}.${name}`))].sort(), ['env.fail', 'env.random']);
});

test('random numbers come from the host, in pieces that crypto fills, or not at all', () => {
    const sizes = [],
        module = compiled(urlOf('vela')),
        own = lib.instantiate(module, { random: (bytes) => sizes.push(bytes.fill(7).length) });
    same(own.uuid.randBytes(140000), new Uint8Array(140000).fill(7));
    same(sizes, [65536, 65536, 8928]);
    equal(own.uuid.toString(own.uuid.random()), '07070707-0707-4707-8707-070707070707');
    const [a, b] = [0, 1].map(() => lib.instantiate(module).uuid);
    notDeepEqual(a.random(), b.random());
    const program = `import { compile, instantiate, load } from 'vela';
        try { instantiate(await compile()).uuid.random(); } catch (error) { console.log(error.name, error.message); }
        console.log((await load()).uuid.random().length);`;
    writeFileSync('without.mjs', program);
    const said = execFileSync(process.execPath, ['--no-experimental-global-webcrypto', 'without.mjs'], {
        encoding: 'utf8',
    });
    equal(said, 'VelaError no random source available: pass { random }\n16\n');
});

test('violated preconditions and exceptions of the host leave the stack as it was', () => {
    const core = new Core(compiled(urlOf('vela')), {
        random() {
            throw new VelaError('none');
        },
    });
    // A frame for each failure would overflow the stack of 64 KiB.
    for (let i = 0; i < 2e4; ++i) {
        throws(
            () => core.call('text_chunk_split', new Uint8Array(4), 0),
            (error) =>
                error instanceof VelaError &&
                error.expression === 'chunk > 0' &&
                error.file.endsWith('text.cpp') &&
                error.line > 0 &&
                error.function === 'chunk_split_len',
        );
        for (const name of ['uuid_rand_int', 'uuid_random']) throws(() => core.call(name, 1, 6), /^VelaError: none$/);
    }
    equal(core.text('text_strip', ' a '), 'a');
});

// Memory grows by pages of 64 KiB: what is called often enough shows even the smallest block that is not freed.
test('no call leaks memory', () => {
    const { Instance } = WebAssembly,
        memories = [];
    WebAssembly.Instance = function (...args) {
        const made = new Instance(...args);
        memories.push(made.exports.memory);
        return made;
    };
    const vela = lib.instantiate(compiled(urlOf('vela'))),
        { Mask, Picture, ...rest } = overlay.instantiate(compiled(urlOf('vela-overlay')));
    WebAssembly.Instance = Instance;
    const view = { width: 8, height: 8, panQ10: 0, tiltQ10: 0, fovQ10: 61440 },
        degrees = { width: 8, height: 8, pan: 0, tilt: 0, fov: 60 },
        bytes = generator().array(Uint8Array, 48),
        floats = generator().floats(9, 9),
        pixels = new Uint8Array(256),
        triangle = Float64Array.of(0, 0, 3, 3, -3, 3),
        resampler = vela.Resampler.make(8, 6),
        hull = vela.Hull.ofPixels(bytes),
        owned = (owner, ...runs) => (runs.forEach((run) => run(owner)), owner?.free());
    const calls = [
        () => vela.base64.decode(vela.base64.encode(bytes)),
        () => vela.base64.decode('A'),
        () => vela.colour.toRgb('full', bytes, bytes),
        () => vela.colour.unpack(bytes, 4, 4),
        () => throws(() => vela.colour.unpack(bytes, 9, 9)),
        () => vela.curve.table('spline', Int16Array.of(1, 2, 3, 4)),
        () => throws(() => vela.curve.table('line', Int16Array.of(2, 2, 1, 4))),
        () => owned(vela.Hull.ofPixels(bytes), (one) => one.growByPixels(bytes)),
        () => vela.Hull.ofPixels(new Uint8Array(9)),
        () => [hull.edges(), hull.faces(), hull.vertices(), hull.vertexNumbers(), hull.distances(1, 2, 3)],
        () => vela.matrix.inverse(vela.matrix.of(3, 3, floats)),
        () => vela.matrix.inverse(vela.matrix.make(3, 3)),
        () => vela.matrix.decompose(vela.matrix.product(vela.matrix.of(3, 3, floats), vela.matrix.of(3, 3, floats))),
        () => vela.matrix.leastSquares(vela.matrix.of(3, 3, floats), floats.subarray(0, 3)),
        () => owned(vela.matrix.fitPolynomial(floats, floats, 2), (one) => one.coefficients()),
        () => owned(vela.matrix.fitSurface(floats, floats.map(Math.sin), floats), (one) => one?.value(1, 2)),
        () => vela.matrix.polyfit(floats, floats, 2),
        () => [
            resampler.push(floats),
            resampler.flush(),
            resampler.pushBytes(bytes, 'alaw', 'ulaw'),
            resampler.flushBytes('alaw'),
        ],
        () => owned(vela.Resampler.withLobes(3, 2, 2)),
        () => throws(() => vela.Resampler.withLobes(30000, 7, 20)),
        () => vela.spheremap.sphereToScreen(Int32Array.of(1, 2), view),
        () => vela.text.chunkSplit(bytes, 3),
        () => vela.text.strip(' a '),
        () => vela.time.add({ seconds: 1, microseconds: 2 }, { seconds: 1, microseconds: 2 }),
        () => vela.url.parse('a://u:p@h:1/p?q#f'),
        () => vela.url.parse('nothing'),
        () => vela.url.encodeForm('a b'),
        () => vela.uuid.toString(vela.uuid.random()),
        () => vela.uuid.parse('none'),
        () =>
            owned(Mask.make(triangle), (one) => {
                one.runs(degrees, 'centres');
                one.runsBetween(degrees, { ...degrees, pan: 1 });
                one.runsWithin(degrees, 1);
            }),
        () => Mask.make(Float64Array.of(0, 0, 0, 0, 0, 0)),
        () => owned(Picture.make(degrees, pixels), (one) => one.draw(degrees, pixels)),
        () => rest.hide({ data: pixels, width: 8, height: 8 }, Int32Array.of(1, 2, 3)),
        () => throws(() => rest.hide({ data: pixels, width: 8, height: 9 }, new Int32Array(0)), RangeError),
        () => throws(() => rest.project({ ...degrees, fov: 1e-7 }, 0, 0), RangeError),
        () => [
            rest.lensOfFov('pinhole', 8, 8, 60),
            rest.project(degrees, 1, 2),
            rest.unproject(degrees, 1, 2),
            rest.projectPath(degrees, triangle),
            rest.unprojectPolygon(degrees, Float64Array.of(0, 0, 1, 1)),
        ],
    ];
    const size = () => memories.reduce((sum, memory) => sum + memory.buffer.byteLength, 0);
    for (const call of calls) {
        for (let i = 0; i < 100; ++i) call();
        const before = size();
        for (let i = 0; i < 5000; ++i) call();
        equal(size(), before, String(call));
    }
});

test('an object is released once, however often that is asked for', () => {
    const random = generator(),
        { Hull, Resampler, matrix } = lib.instantiate(compiled(urlOf('vela'))),
        [xs, ys, zs] = [1, 2, 3].map(() => random.floats(20, 9)),
        view = { width: 8, height: 8, pan: 0, tilt: 0, fov: 60 },
        owners = {
            hull: Hull.ofPixels(random.array(Uint8Array, 48)),
            polynomial: matrix.fitPolynomial(xs, ys, 2),
            surface: matrix.fitSurface(xs, ys, zs),
            resampler: Resampler.make(8, 6),
            mask: masks.Mask.make(Float64Array.of(0, 0, 3, 3, -3, 3)),
            picture: masks.Picture.make(view, new Uint8Array(256)),
        };
    for (const [type, owner] of Object.entries(owners)) {
        const binding = type === 'picture' ? 'free' : `vela_${type}_free`,
            before = callsOf(binding);
        for (const name of ['free', 'free', Symbol.dispose ?? Symbol.for('Symbol.dispose')]) owner[name]();
        same([callsOf(binding) - before, owner.freed], [1, true], type);
    }
});

test('owners survive the growth of memory, and a lack of it', () => {
    const random = generator(),
        [colours, sound] = [random.array(Uint8Array, 3000), random.array(Int16Array, 3000)],
        vela = lib.instantiate(compiled(urlOf('vela'))),
        hull = vela.Hull.ofPixels(colours),
        [resampler, other] = [0, 1].map(() => vela.Resampler.withLobes(8000, 44100, 16)),
        faces = hull.faces(),
        expected = other.push(sound),
        made = [...resampler.push(sound.subarray(0, 1000))];
    equal(vela.uuid.randBytes(1e8).length, 1e8); // more than all memory so far
    made.push(...resampler.push(sound.subarray(1000)));
    same(hull.faces(), faces);
    same(Int16Array.from(made), expected);
    throws(() => vela.uuid.randBytes(2 ** 32 - 1), /^VelaError: out of memory$/);
    hull.growByPixels(Uint8Array.of(255, 255, 255, 0, 0, 0));
    ok(hull.contains(255, 255, 255));
});

test('text by hand is that of the coders that worklets lack', () => {
    const bytes = [
            0x00, 0x41, 0x7f, 0x80, 0x8f, 0x90, 0x9f, 0xa0, 0xbf, 0xc1, 0xc2, 0xdf, 0xe0, 0xed, 0xef, 0xf0, 0xf4, 0xf5,
            0xff,
        ],
        count = bytes.length,
        decoder = new TextDecoder('utf-8', { ignoreBOM: true });
    for (let i = 0; i < count ** 4; ++i) {
        const four = Uint8Array.from([0, 1, 2, 3], (place) => bytes[Math.floor(i / count ** place) % count]);
        equal(decodeByHand(four), decoder.decode(four), `bytes ${four}`);
    }
    for (const text of ['', 'a\0\x7f\x80\u07ff\u0800\uffff\u{10000}😀', '\ud800a\udc00', '\udbff\udfff'])
        same(encodeByHand(text), new TextEncoder().encode(text));
});
