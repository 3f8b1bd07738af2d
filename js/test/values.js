// Each function's answers, against the models of the library's tests and against what the host has of its own.
import { deepEqual as same, equal, ok, throws, match, notEqual } from 'node:assert/strict';
import { randomUUID } from 'node:crypto';
import { test } from 'node:test';
import { generator } from './generator.js';

const times = (count, run) => Array.from({ length: count }, (_, i) => run(i));
const near = (actual, expected, tolerance, what) =>
    ok(Math.abs(actual - expected) <= tolerance, `${what}: ${actual}, expected ${expected}`);

const q10Views = (random) => ({
    width: random.between(1, 2000),
    height: random.between(1, 2000),
    panQ10: random.word(),
    tiltQ10: random.word() >> 8,
    fovQ10: random.between(1, 184320),
});

// `models` has the models by the names of their bindings.
export function testValues(name, vela, models) {
    const check = (title, run) => test(`${name}: ${title}`, () => run(generator()));

    check('Base64', (random) => {
        const { encode, decode } = vela.base64;
        for (let length = 0; length < 300; ++length) {
            const bytes = random.array(Uint8Array, length),
                text = encode(bytes);
            equal(text, models.text('base64_encode', bytes));
            same(decode(text.replace(/(.{7})/g, '$1\r\n ')), bytes);
        }
        for (let i = 0; i < 3000; ++i) {
            const text = times(random.below(9), () => 'AZaz09+/Q== \n-\u0100'[random.below(14)]).join('');
            same(decode(text), models.array(Uint8Array, 'base64_decode', text), JSON.stringify(text));
        }
        const large = random.array(Uint8Array, 3500000);
        same(decode(encode(large)), large);
    });

    check('colour', (random) => {
        const { colour } = vela;
        ['full', 'bt601', 'bt709'].forEach((variant, i) => {
            const pixels = random.array(Uint8Array, 3 * 5000),
                [encoded, decoded] = [0, 1].map((side) =>
                    models.array(Uint8Array, 'colour_convert', 2 * i + side, pixels),
                );
            same(colour.fromRgb(variant, pixels), encoded);
            same(colour.toRgb(variant, pixels), decoded);
            const to = new Uint8ClampedArray(pixels.length + 1).fill(7);
            equal(colour.toRgb(variant, pixels, to), to);
            same([...to], [...decoded, 7]);
            equal(colour.fromRgb(variant, pixels, pixels), pixels);
            same(pixels, encoded);
            same(colour.encodingMatrix(variant), models.array(Int32Array, 'colour_matrix', 2 * i));
            same(colour.decodingMatrix(variant), models.array(Int32Array, 'colour_matrix', 2 * i + 1));
        });
        for (const [width, height, stride] of [
            [1, 2, 5],
            [64, 3, undefined],
            [33, 4, 67],
            [33, 4, 80],
            [0, 9, 4],
        ]) {
            const from = random.array(Uint8Array, 1000),
                read = stride ?? 2 * width + (width % 2),
                expected = models.array(Uint8Array, 'colour_unpack', from, width, height, read);
            same(colour.unpack(from, width, height, stride), expected);
            const to = new Uint8Array(3 * width * height);
            equal(colour.unpack(from, width, height, stride, to), to);
            same(to, expected);
        }
    });

    check('curves', (random) => {
        const { curve } = vela;
        for (let round = 0; round < 300; ++round) {
            const rising = [],
                staying = [];
            for (let x = random.between(-40, 0); x < 250; x += random.between(1, 60)) {
                rising.push(x, random.between(-300, 300));
                staying.push(x, random.between(-300, 300), ...(random.below(4) ? [] : [x, random.between(-9, 9)]));
            }
            const knots = Int16Array.from(rising),
                steps = Int16Array.from(staying),
                spline = models.array(Float32Array, 'curve_spline', knots);
            same(curve.table('line', steps), models.array(Int16Array, 'curve_line', steps));
            same(curve.table('fixedSpline', knots), models.array(Int16Array, 'curve_fixed_spline', knots));
            same(curve.floatTable(knots), spline);
            // To the nearest integer; halves away from 0.
            same(
                curve.table('spline', knots),
                Int16Array.from(spline, (value) => Math.sign(value) * Math.floor(Math.abs(value) + 0.5)),
            );
        }
        const halves = Int16Array.of(0, -3, 2, 2); // -3, -0.5, 2
        same([...curve.table('spline', halves)], [-3, -1, 2]);
        const limits = curve.table('spline', Int16Array.of(0, -32768, 1, 32767, 40, 32767, 41, -32768));
        same([limits[0], Math.max(...limits)], [-32768, 32767]);
        for (const method of ['line', 'spline', 'fixedSpline']) {
            same([...curve.table(method, Int16Array.of(3, -7))], [-7]);
        }
        same([...curve.floatTable(Int16Array.of(3, -7))], [-7]);
    });

    check('fixed point', (random) => {
        const { fixedpoint: fixed } = vela;
        same(
            fixed.sines(),
            Int32Array.from({ length: 1441 }, (_, i) => models.call('sine_entry', i)),
        );
        same(
            fixed.arcsines(),
            Int32Array.from({ length: 2049 }, (_, i) => models.call('arcsine_entry', i - 1024)),
        );
        for (let i = 0; i < 3000; ++i) {
            const x = random.word(),
                bits = random.below(31),
                small = random.between(-333771, 333771),
                square = random.below(2 ** 31 + 1);
            equal(fixed.sinQ10inQ12out(x), models.call('sine_q12', x), `sinQ10inQ12out(${x})`);
            equal(fixed.sinQ15(x >> 8), models.call('sine_q15', x >> 8), `sinQ15(${x >> 8})`);
            equal(fixed.sincQ15(small), models.call('sinc_q15', small), `sincQ15(${small})`);
            for (const a of [-1, 0, 1, 2, 3, 8, 9]) {
                equal(fixed.lanczosQ15(a, small), models.call('lanczos_q15', a, small), `lanczosQ15(${a}, ${small})`);
            }
            const root = fixed.sqrtQ20ToQ10(square);
            equal(root, Math.min(2048, Math.ceil(Math.sqrt(square))), `sqrtQ20ToQ10(${square})`);
            equal(fixed.intSqrt(x >>> 0), Math.floor(Math.sqrt(x >>> 0)), `intSqrt(${x >>> 0})`);
            equal(fixed.ceilLog2(x >>> bits), 32 - Math.clz32(x >>> bits), `ceilLog2(${x >>> bits})`);
            const divisor = (x % 1000) + 2000;
            equal(fixed.reciprocal(divisor, bits % 20), Math.trunc(2 ** (bits % 20) / divisor));
        }
        same([fixed.reciprocal(3, 10), fixed.reciprocal(-3, 10), fixed.reciprocal(1, 30)], [341, -341, 2 ** 30]);
        same([0, 1, 2 ** 31, 2 ** 32 - 1].map(fixed.ceilLog2), [0, 1, 32, 32]);
    });

    check('hulls', (random) => {
        for (let round = 0; round < 40; ++round) {
            const count = 4 + random.below(200),
                planes = times(3, () => random.array(Uint8Array, count).map((one) => one >> random.below(3))),
                pixels = new Uint8Array(4 * count).map((_, i) => planes[i % 4]?.[i >> 2] ?? random.below(256)),
                hull = vela.Hull.ofPoints(...planes),
                twin = vela.Hull.ofPixels(pixels.subarray(0, 4 * (count >> 1)), 4);
            if (!hull || !twin) continue;
            twin.growByPixels(pixels.subarray(4 * (count >> 1)), 4);
            checkHull(hull, planes, random, models);
            const extra = [Uint8Array.of(255, 0), Uint8Array.of(255, 0), Uint8Array.of(255, 255)];
            hull.grow(...extra);
            ok(twin.volume > 0);
            for (let i = 0; i < count; ++i) ok(twin.contains(...planes.map((plane) => plane[i])));
            checkHull(
                hull,
                planes.map((plane, i) => Uint8Array.of(...plane, ...extra[i])),
                random,
                models,
                true,
            );
            hull.free();
            twin[Symbol.dispose ?? Symbol.for('Symbol.dispose')]();
            ok(hull.freed && twin.freed);
        }
        const cube = vela.Hull.ofPixels(Uint8Array.from({ length: 24 }, (_, i) => ((i / 3) >> i % 3) & 1 && 10));
        equal(cube.volume, 1000);
        same([cube.vertexCount, cube.edgeCount, cube.faceCount], [8, 18, 12]);
        same(cube.distances(5, 5, 14), { nearest: 16, farthest: 196 });
        cube.free();
    });

    check('matrices', (random) => {
        const { matrix } = vela;
        same(matrix.make(2, 3), { rows: 2, cols: 3, elements: new Float32Array(6) });
        for (let round = 0; round < 60; ++round) {
            const [rows, cols, others] = times(3, () => 1 + random.below(9)),
                values = random.floats(rows * cols, 100),
                a = matrix.of(rows, cols, values),
                b = matrix.of(cols, others, random.floats(cols * others, 100));
            same(a, { rows, cols, elements: values });
            notEqual(a.elements, values);
            const product = models.array(Float32Array, 'matrix_product', rows, cols, a.elements, others, b.elements);
            same(matrix.product(a, b), { rows, cols: others, elements: product });
            const transposed = new Float32Array(rows * cols).map(
                (_, i) => values[(i % rows) * cols + Math.floor(i / rows)],
            );
            same(matrix.transposed(a), { rows: cols, cols: rows, elements: transposed });
            checkDecomposition(matrix, a);

            const square = random.floats(rows * rows, 10),
                inverse = models.array(Float32Array, 'matrix_inverse', rows, square);
            same(matrix.inverse(matrix.of(rows, rows, square))?.elements, inverse ?? undefined);
            const three = random.floats(9, 10),
                four = random.floats(16, 10);
            same(matrix.inverse3x3(three), models.array(Float32Array, 'matrix_inverse_3x3', three));
            const unit = matrix.product(matrix.of(4, 4, four), matrix.of(4, 4, matrix.inverse4x4(four)));
            unit.elements.forEach((one, i) => near(one, i % 5 ? 0 : 1, 0.01, `element ${i} of a 4x4 unit`));
        }
        const line = Float32Array.of(1, 0, 1, 1, 1, 2);
        const [first, second] = matrix.leastSquares(matrix.of(3, 2, line), Float32Array.of(1, 3, 5));
        (near(first, 1, 1e-5, 'intercept'), near(second, 2, 1e-5, 'slope'));
    });

    check('fits', (random) => {
        const { matrix } = vela,
            xs = Float32Array.from({ length: 40 }, (_, i) => 1000 + 25 * i),
            cubic = (x) => 3 - x + x * x * (x - 900) * 1e-3,
            fit = matrix.fitPolynomial(xs, xs.map(cubic), 3);
        for (const x of [1000, 1333, 1975]) near(fit.value(x), cubic(x), 10, `the cubic at ${x}`); // up to 4 million
        equal(fit.coefficients().length, 4);
        near(
            fit.value(1000),
            fit.coefficients().reduce((sum, one, i) => sum + one * (-1) ** i, 0),
            1,
            'at the left end',
        );
        fit.free();
        throws(() => fit.value(1), TypeError);

        const surface = (x, y) => 5 + 2 * x - 3 * y + 0.5 * x * x - x * y + 0.25 * y * y,
            [us, vs] = times(2, () => random.floats(200, 1)),
            wide = us.map((u) => 960 * (1 + u)),
            high = vs.map((v) => 540 * (1 + v)),
            plane = matrix.fitSurface(
                wide,
                high,
                us.map((u, i) => surface(u, vs[i])),
            );
        for (const [u, v] of [
            [0, 0],
            [0.9, -0.8],
            [-0.5, 0.25],
        ]) {
            near(plane.value(960 * (1 + u), 540 * (1 + v)), surface(u, v), 1e-3, `the surface at ${u}, ${v}`);
        }
        near(matrix.poly2DValue(1, -1, plane.coefficients()), surface(1, -1), 0.2, 'the surface in its own units');
        plane.free();

        const small = times(2, () => Uint16Array.from({ length: 30 }, () => random.below(16))),
            c = matrix.polyfit2D(
                ...small,
                Float32Array.from(small[0], (x, i) => surface(x, small[1][i])),
            );
        [5, -3, 2, 0.25, -1, 0.5].forEach((one, i) => near(c[i], one, 0.01, `coefficient ${i}`));
        near(matrix.poly2DValue(3, 4, c), surface(3, 4), 0.05, 'the small surface');
        const t = Float32Array.of(0, 1, 2, 3);
        [
            ...matrix.polyfit(
                t,
                t.map((x) => 7 - 2 * x),
                2,
            ),
        ].forEach((one, i) => near(one, [7, -2][i], 1e-4, `power ${i}`));
    });

    check('streams', (random) => {
        const tags = {
                bilinear: 'BILI',
                lanczos: 'LANC',
                lanczos2: 'LAN2',
                littleEndian: 'LEND',
                bigEndian: 'BEND',
                alaw: 'ALAW',
                ulaw: 'ULAW',
            },
            tag = (name) => new Uint32Array(new TextEncoder().encode(tags[name]).buffer)[0],
            all = random.array(Int16Array, 9000),
            { Resampler } = vela;
        for (const [outRate, inRate, kernel] of [
            [8000, 44100, 16],
            [48000, 44100, 'lanczos2'],
            [48000, 8000, 'lanczos'],
            [8000, 8000, 3],
            [16000, 1, 'bilinear'],
            [1, 16000, 'lanczos'],
            [9, 7, 'bilinear'],
        ]) {
            const input = all.subarray(0, inRate === 1 ? 3 : all.length),
                bytes = new Uint8Array(input.buffer, 0, input.byteLength),
                type = typeof kernel === 'number' ? kernel : tag(kernel),
                expected = models.array(
                    Int16Array,
                    'resampled',
                    outRate,
                    inRate,
                    type,
                    tag('littleEndian'),
                    tag('littleEndian'),
                    bytes,
                ),
                one =
                    typeof kernel === 'number'
                        ? Resampler.withLobes(outRate, inRate, kernel)
                        : Resampler.make(outRate, inRate, kernel),
                what = `${inRate} to ${outRate}, ${kernel}`;
            equal(one.latency, models.call('resampler_latency', outRate, inRate, type), what);
            same(Int16Array.of(...one.push(input), ...one.flush()), expected, what);

            // In pieces of either kind, into either kind.
            const made = [];
            for (let at = 0; at < input.length; ) {
                const piece = input.subarray(at, (at += random.below(6000))),
                    samples = random.below(2) ? piece : Float32Array.from(piece, (sample) => sample / 32768),
                    To = random.below(2) ? Int16Array : Float32Array,
                    to = new To(one.outputCount(piece.length) + 1).fill(0.5);
                equal(one.pushInto(samples, to), to.length - 1, what);
                equal(to.at(-1), To === Int16Array ? 0 : 0.5, 'the element after the last one');
                made.push(...to.subarray(0, -1).map((sample) => (To === Int16Array ? sample : sample * 32768)));
            }
            one.reset();
            one.push(input.subarray(0, 100));
            one.reset();
            same(made, [...expected.subarray(0, made.length)], what);
            same(
                [...one.push(Float32Array.from(input, (sample) => sample / 32768))],
                made.map((sample) => sample / 32768),
                what,
            );
            one.reset();

            for (const from of ['littleEndian', 'bigEndian', 'alaw', 'ulaw']) {
                for (const to of ['littleEndian', 'bigEndian', 'alaw', 'ulaw']) {
                    const converted = [...one.pushBytes(bytes, from, to), ...one.flushBytes(to)];
                    same(
                        Uint8Array.from(converted),
                        models.array(Uint8Array, 'resampled', outRate, inRate, type, tag(from), tag(to), bytes),
                        `${what}: ${from} to ${to}`,
                    );
                }
            }
            one.free();
        }
        const loud = Resampler.make(1, 1, 'bilinear');
        same([...loud.push(Float32Array.of(2, -2, 0.5)), ...loud.flush()].slice(0, 3), [32767 / 32768, -1, 0.5]);
        loud.free();
    });

    check('sphere map', (random) => {
        const { spheremap: map } = vela;
        for (let i = 0; i < 3000; ++i) {
            const view = q10Views(random),
                fields = Object.values(view),
                directions = Int32Array.of(
                    random.word(),
                    random.word(),
                    view.panQ10 + random.between(-9999, 9999),
                    view.tiltQ10 + random.between(-9999, 9999),
                ),
                pixels = Int32Array.of(
                    random.below(2000),
                    random.below(2000),
                    random.between(-9999, 9999),
                    random.below(99),
                ),
                what = JSON.stringify([view, directions, pixels]);
            const screen = [0, 2].map((at) =>
                    models.array(Int32Array, 'onto_screen', directions[at], directions[at + 1], ...fields),
                ),
                sphere = [0, 2].map((at) =>
                    models.array(Int32Array, 'onto_sphere', pixels[at], pixels[at + 1], ...fields),
                );
            const inFront = screen.every(([, , one]) => one === 1);
            same(
                map.sphereToScreen(directions, view),
                { points: Int32Array.from(screen.flatMap(([x, y]) => [x, y])), inFront },
                what,
            );
            same(map.screenToSphere(pixels, view), Int32Array.of(...sphere[0], ...sphere[1]), what);
            const [x, y, isSeen] = screen[1];
            same(map.spherePtToScreenPt(directions[2], directions[3], view), isSeen ? { x, y } : null, what);
            same(
                map.screenPtToSpherePt(pixels[0], pixels[1], view),
                { panQ10: sphere[0][0], tiltQ10: sphere[0][1] },
                what,
            );
            const [panQ10, tiltQ10] = models.array(Int32Array, 'clipped', directions[0], directions[1]);
            same(map.clipPanTilt(directions[0], directions[1]), { panQ10, tiltQ10 }, what);
            const box = [
                Math.min(pixels[0], pixels[2]),
                Math.max(pixels[0], pixels[2]),
                Math.min(pixels[1], pixels[3]),
                Math.max(pixels[1], pixels[3]),
            ];
            const overlaps = box[0] < view.width && box[1] >= 0 && box[2] < view.height && box[3] >= 0;
            equal(map.polygonOnScreen(pixels, view), overlaps, what);
        }
        same(map.clipPanTiltBounds(-1, 100000), { panQ10: 368639, tiltQ10: 100000 });
        same(map.clipPanTilt(-1, 100000), { panQ10: 184319, tiltQ10: 84320 });
        same(map.clipPanTiltBounds(368640, 184321), { panQ10: 0, tiltQ10: -184319 });
    });

    check('text', (random) => {
        const { text } = vela;
        for (let length = 0; length < 200; ++length) {
            const bytes = random.array(Uint8Array, length),
                digits = Buffer.from(bytes).toString('hex'),
                chunk = 1 + random.below(9);
            equal(text.bin2hex(bytes), digits.toUpperCase());
            same(text.hex2bin(random.below(2) ? digits : digits.toUpperCase()), bytes);
            const chunks = times(Math.ceil(length / chunk), (i) => [...bytes.subarray(i * chunk, (i + 1) * chunk)]);
            same(
                [...text.chunkSplit(bytes, chunk)],
                chunks.flatMap((one, i) => (i ? [10, ...one] : one)),
            );
            const words = times(random.below(8), () => [' ', '\t', '\n', '\r', 'ü', '€', 'a'][random.below(7)]).join(
                '',
            );
            equal(text.strip(words), words.replace(/^[\t-\r ]+|[\t-\r ]+$/g, ''), JSON.stringify(words));
            equal(text.chomp(words), words.replace(/\n$/, '').replace(/\r$/, ''), JSON.stringify(words));
        }
    });

    check('times', (random) => {
        const { time } = vela,
            any = () => ({ seconds: random.word(), microseconds: random.below(2) ? random.word() : 0 }),
            whole = ({ seconds, microseconds }) => BigInt(seconds) * 1000000n + BigInt(microseconds),
            balanced = (actual, expected) => {
                equal(whole(actual), expected);
                ok(actual.microseconds >= 0 && actual.microseconds < 1e6, JSON.stringify(actual));
            };
        for (let i = 0; i < 500; ++i) {
            const a = any(),
                b = random.below(9) ? any() : { seconds: a.seconds + 1, microseconds: a.microseconds - 1000000 };
            balanced(time.balance(a), whole(a));
            balanced(time.add(a, b), whole(a) + whole(b));
            balanced(time.sub(a, b), whole(a) - whole(b));
            equal(time.compare(a, b), whole(a) < whole(b) ? -1 : Number(whole(a) > whole(b)));
        }
        const far = { seconds: 2 ** 52, microseconds: -1 };
        balanced(time.balance(far), whole(far));
    });

    check('URLs', (random) => {
        const { url } = vela,
            none = {
                scheme: 'a',
                user: null,
                password: null,
                host: null,
                port: null,
                path: null,
                query: null,
                fragment: null,
            };
        for (const [text, parts] of [
            [
                'a://u:p@h:80/x/y?q=1#f',
                { user: 'u', password: 'p', host: 'h', port: '80', path: '/x/y', query: 'q=1', fragment: 'f' },
            ],
            ['a://ü@[::1]/?#', { user: 'ü', host: '[::1]', path: '/', query: '', fragment: '' }],
            ['a://h#b#c', { host: 'h', fragment: 'b#c' }],
            [' a://h', { host: 'h' }],
        ]) {
            same(url.parse(text), { ...none, ...parts }, text);
        }
        for (let i = 0; i < 300; ++i) {
            const text = times(random.below(12), () => 'aZ9-._~ +%&=/?:@!€ü😀'[random.below(19)])
                    .join('')
                    .replace(/[\ud800-\udfff]/g, ''),
                form = encodeURIComponent(text)
                    .replace(/[!'()*]/g, (one) => `%${one.charCodeAt().toString(16).toUpperCase()}`)
                    .replaceAll('%20', '+'),
                segment = encodeURIComponent(text).replace(/%(24|26|2B|2C|3A|3B|3D|40)/g, decodeURIComponent);
            equal(url.encodeForm(text), form);
            equal(url.encodeForm(Buffer.from(text)), form);
            equal(url.encodeSegment(text), segment);
            equal(url.decodeForm(form), text);
            equal(url.decode(segment), text);
            same(url.decodeBytes(segment), new TextEncoder().encode(text));
        }
        equal(url.decode('a+b%2'), 'a+b%2');
        equal(url.decodeForm('%FF+%c3%bc'), '\ufffd ü');
        same(url.parseMac('00:1a:2B:3c:4d:5e and more'), Uint8Array.of(0, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e));
        equal(url.formatMac(Uint8Array.of(0, 0x1a, 0x2b, 0x3c, 0x4d, 0xfe)).toLowerCase(), '00:1a:2b:3c:4d:fe');
    });

    check('UUIDs and random numbers', () => {
        const { uuid } = vela;
        for (let i = 0; i < 300; ++i) {
            const dashed = randomUUID(),
                plain = dashed.replaceAll('-', ''),
                bytes = new Uint8Array(Buffer.from(plain, 'hex'));
            for (const text of [dashed, `{${dashed}}`, plain, plain.toUpperCase(), `{${dashed.toUpperCase()}}`]) {
                same(uuid.parse(text), bytes, text);
            }
            const written = ['braced', 'dashed', 'plain'].map((form) => uuid.toString(bytes, form));
            same([uuid.toString(bytes), ...written], [dashed, `{${dashed}}`, dashed, plain]);
            match(uuid.toString(uuid.random()), /^.{14}4.{4}[89ab].{16}$/);
        }
        const bytes = uuid.randBytes(100000);
        equal(bytes.length, 100000);
        ok(
            bytes.subarray(-16).some((one) => one !== 0),
            'the last bytes are random, too',
        );
        const drawn = new Set(times(300, () => uuid.randInt(-2, 3)));
        same(
            [...drawn].sort((a, b) => a - b),
            [-2, -1, 0, 1, 2, 3],
        );
    });
}

// A hull as its own faces describe it: closed, convex, around all points.
function checkHull(hull, planes, random, models, isGrown = false) {
    const vertices = hull.vertices(),
        faces = hull.faces(),
        edges = hull.edges(),
        numbers = hull.vertexNumbers(),
        point = (i) => [...vertices.subarray(3 * i, 3 * i + 3)],
        minus = (a, b) => a.map((one, i) => one - b[i]),
        cross = (a, b) => [0, 1, 2].map((i) => a[(i + 1) % 3] * b[(i + 2) % 3] - a[(i + 2) % 3] * b[(i + 1) % 3]),
        dot = (a, b) => a.reduce((sum, one, i) => sum + one * b[i], 0),
        triangles = times(faces.length / 3, (i) => [0, 1, 2].map((k) => point(faces[3 * i + k]))),
        height = ([a, b, c], p) => dot(cross(minus(b, a), minus(c, a)), minus(p, a)); // above 0 outside
    same([vertices.length / 3, edges.length / 2, triangles.length], [hull.vertexCount, hull.edgeCount, hull.faceCount]);
    equal(hull.vertexCount - hull.edgeCount + hull.faceCount, 2);
    const ends = (a, b) => (a < b ? `${a}-${b}` : `${b}-${a}`),
        sides = times(faces.length, (i) => ends(faces[i], faces[i % 3 < 2 ? i + 1 : i - 2]));
    same(
        [...new Set(times(edges.length / 2, (i) => ends(edges[2 * i], edges[2 * i + 1])))].sort(),
        [...new Set(sides)].sort(),
    );
    near(hull.volume, triangles.reduce((sum, [a, b, c]) => sum + dot(a, cross(b, c)), 0) / 6, 1e-6, 'volume');
    for (let i = 0; i < planes[0].length; ++i) {
        const p = planes.map((plane) => plane[i]);
        ok(hull.contains(...p), `(${p}) is inside`);
        ok(
            triangles.every((face) => height(face, p) <= 0),
            `(${p}) is behind each face`,
        );
    }
    if (!isGrown)
        numbers.forEach((number, i) =>
            same(
                planes.map((plane) => plane[number]),
                point(i),
                `vertex ${i} is point ${number}`,
            ),
        );
    for (let i = 0; i < 20; ++i) {
        const p = [0, 1, 2].map(() => random.between(-20, 275)),
            all = triangles.map((face) => models.call('hull_distance', Int32Array.from(face.flat()), ...p) >>> 0);
        equal(
            hull.contains(...p),
            triangles.every((face) => height(face, p) <= 0),
            `contains(${p})`,
        );
        same(hull.distances(...p), { nearest: Math.min(...all), farthest: Math.max(...all) }, `distances(${p})`);
    }
}

// a = u diag(values) v^T, with v orthogonal.
function checkDecomposition(matrix, a) {
    const { u, values, v } = matrix.decompose(a);
    same([u.rows, u.cols, values.length, v.rows, v.cols], [a.rows, a.cols, a.cols, a.cols, a.cols]);
    ok(values.every((one) => one >= 0));
    const scaled = matrix.of(
            u.rows,
            u.cols,
            u.elements.map((one, i) => one * values[i % u.cols]),
        ),
        back = matrix.product(scaled, matrix.transposed(v)),
        unit = matrix.product(v, matrix.transposed(v));
    back.elements.forEach((one, i) => near(one, a.elements[i], 1e-3, `element ${i} of u w v^T`));
    unit.elements.forEach((one, i) => near(one, i % (v.cols + 1) ? 0 : 1, 1e-5, `element ${i} of v v^T`));
}
