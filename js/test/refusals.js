// Wrong arguments: what a call throws, or null for a result of null.
import { deepEqual as same, equal, ok, throws } from 'node:assert/strict';
import { test } from 'node:test';

function refuse(rows) {
    for (const [run, expected] of rows) {
        if (expected)
            throws(
                run,
                (error) => error.constructor === expected && /^[\w.(), ]+: \w/.test(error.message),
                String(run),
            );
        else equal(run(), null, String(run));
    }
}

// An array that lies about itself.
class Lying extends Uint8Array {
    get length() {
        return 60000;
    }
    get byteLength() {
        return 60000;
    }
    get [Symbol.toStringTag]() {
        return 'Int16Array';
    }
}

// A view whose width is another one each time.
const changing = (view, ...widths) => ({
    ...view,
    get width() {
        return widths.shift() ?? view.width;
    },
});

export function testRefusals(name, vela) {
    test(`${name}: what is refused`, () => {
        const none = new Uint8Array(0),
            view = { width: 1280, height: 720, panQ10: 0, tiltQ10: 0, fovQ10: 61440 },
            degrees = { width: 1280, height: 720, pan: 0, tilt: 0, fov: 60 },
            hull = vela.Hull.ofPixels(Uint8Array.of(0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255)),
            resampler = vela.Resampler.make(8000, 48000),
            freed = vela.Resampler.make(8000, 48000);
        freed.free();
        freed.free();
        refuse([
            [() => vela.base64.encode('text'), TypeError],
            [() => vela.base64.encode([1, 2]), TypeError],
            [() => vela.base64.decode('AA=A'), null],
            [() => vela.colour.fromRgb('bt2020', none), RangeError],
            [() => vela.colour.fromRgb('toString', none), RangeError],
            [() => vela.colour.toRgb('full', Uint8Array.of(1, 2)), RangeError],
            [() => vela.colour.toRgb('full', Uint8Array.of(1, 2, 3), none), RangeError],
            [() => vela.colour.unpack(new Uint8Array(7), 2, 2), RangeError],
            [() => vela.colour.unpack(new Uint8Array(8), 2, 2, 4, new Uint8Array(11)), RangeError],
            [() => vela.curve.table('line', Int16Array.of(0, 0, 1)), RangeError],
            [() => vela.curve.table('spline', Int16Array.of(1, 0, 1, 0)), RangeError],
            [() => vela.curve.table('line', [0, 0]), TypeError],
            [() => vela.curve.floatTable(Int16Array.of(2, 0, 1, 0)), RangeError],
            [() => vela.fixedpoint.intSqrt(-1), RangeError],
            [() => vela.fixedpoint.intSqrt('4'), TypeError],
            [() => vela.fixedpoint.sinQ10inQ12out(0.5), RangeError],
            [() => vela.fixedpoint.reciprocal(1, 31), RangeError],
            [() => vela.fixedpoint.sincQ15(333772), RangeError],
            [() => new vela.Hull(4, 8), TypeError],
            [() => vela.Hull.ofPoints(none, none, Uint8Array.of(1)), RangeError],
            [() => vela.Hull.ofPixels(new Uint8Array(9)), null],
            [() => vela.Hull.ofPixels(new Uint8Array(9), 2), RangeError],
            [() => hull.grow(none, none, Uint8Array.of(1)), RangeError],
            [() => hull.growByPixels(Uint8Array.of(1, 2)), RangeError],
            [() => hull.contains(1, 2), TypeError],
            [() => hull.distances(1, 2, 5256), RangeError],
            [() => hull.distances(-5001, 2, 3), RangeError],
            [() => vela.matrix.make(-1, 2), RangeError],
            [() => vela.matrix.of(2, 2, new Float32Array(3)), RangeError],
            [() => vela.matrix.transposed(null), TypeError],
            [() => vela.matrix.product(vela.matrix.make(1, 2), vela.matrix.make(1, 2)), RangeError],
            [() => vela.matrix.inverse(vela.matrix.make(25, 25)), RangeError],
            [() => vela.matrix.inverse(vela.matrix.make(2, 2)), null],
            [() => vela.matrix.inverse3x3(new Float32Array(9)), null],
            [() => vela.matrix.inverse4x4(new Float32Array(16)), null],
            [() => vela.matrix.leastSquares(vela.matrix.make(3, 2), new Float32Array(3)), null],
            [() => vela.matrix.leastSquares(vela.matrix.make(3, 2), new Float32Array(2)), RangeError],
            [() => vela.matrix.decompose({ rows: 2, cols: 2, elements: new Float32Array(5) }), RangeError],
            [() => vela.matrix.decompose(vela.matrix.of(1, 1, Float32Array.of(NaN))), null],
            [() => vela.matrix.fitPolynomial(new Float32Array(2), new Float32Array(2), 2), null],
            [() => vela.matrix.fitPolynomial(new Float32Array(2), new Float32Array(2), -1), RangeError],
            [() => vela.matrix.fitSurface(new Float32Array(9), new Float32Array(9), new Float32Array(9)), null],
            [() => vela.matrix.polyfit(new Float32Array(3), new Float32Array(3), 2), null],
            [() => vela.matrix.polyfit(new Float32Array(0), new Float32Array(0), 2), RangeError],
            [() => vela.matrix.polyfit2D(Uint16Array.of(46341), Uint16Array.of(1), Float32Array.of(1)), RangeError],
            [() => vela.matrix.polyfit2D(Uint16Array.of(1), Uint16Array.of(1), Float32Array.of(NaN)), null],
            [() => vela.matrix.poly2DValue(1, 1, new Float32Array(5)), RangeError],
            [() => new vela.Resampler(), TypeError],
            [() => vela.Resampler.make(44100, 44101), RangeError],
            [() => vela.Resampler.make(8000, 44100, 'sinc'), RangeError],
            [() => vela.Resampler.withLobes(8000, 44100, 1000), RangeError],
            [() => resampler.setRatio(1), RangeError],
            [() => resampler.follow(0, 0), RangeError],
            [() => resampler.push(new Uint8Array(4)), TypeError],
            [() => resampler.pushInto(new Int16Array(600), new Int16Array(10)), RangeError],
            [() => resampler.pushBytes(new Uint8Array(3), 'littleEndian', 'alaw'), RangeError],
            [() => freed.push(new Int16Array(6)), TypeError],
            [() => vela.spheremap.sphereToScreen(Int32Array.of(1), view), RangeError],
            [() => vela.spheremap.spherePtToScreenPt(0, 0, { ...view, fovQ10: 0 }), RangeError],
            [() => vela.spheremap.spherePtToScreenPt(0, 0, { ...view, height: 0 }), RangeError],
            [() => vela.spheremap.spherePtToScreenPt(184320, 0, view), null],
            [() => vela.spheremap.spherePtToScreenPt(0, 0, null), TypeError],
            [() => vela.spheremap.screenToSphere(Int32Array.of(1, 2), degrees), TypeError],
            [() => vela.text.hex2bin('000'), null],
            [() => vela.text.strip('a\0b'), RangeError],
            [() => vela.text.chunkSplit(none, 0), RangeError],
            [() => vela.time.balance({ seconds: 2 ** 52 + 1, microseconds: 0 }), RangeError],
            [() => vela.url.parse('://'), null],
            [() => vela.url.parse('a://b\0'), null],
            [() => vela.url.encodeForm([1]), TypeError],
            [() => vela.url.parseMac('00-1a'), null],
            [() => vela.url.formatMac(new Uint8Array(5)), RangeError],
            [() => vela.uuid.parse('00112233-4455-6677-8899-aabbccddeef'), null],
            [() => vela.uuid.parse(' 00112233-4455-6677-8899-aabbccddeeff'), null],
            [() => vela.uuid.parse('00112233445566778899aabbccddeef+'), null],
            [() => vela.uuid.toString(none), RangeError],
        ]);
        const last = [
            vela.fixedpoint.reciprocal(1, 30),
            vela.fixedpoint.sincQ15(-333771) + vela.fixedpoint.sincQ15(333771),
            hull.distances(5255, -5000, 5255),
            vela.matrix.polyfit2D(Uint16Array.of(46340), Uint16Array.of(1), Float32Array.of(1)),
            vela.spheremap.polygonOnScreen(Int32Array.of(65534, 65534), { ...view, width: 65535, height: 65535 }),
        ];
        ok(last[2] && last[4], 'the last values in range are taken');
        equal(resampler.push(new Int16Array(600)).length, 100, 'what is refused leaves the stream alone');
        hull.free();
        resampler.free();
    });

    test(`${name}: arguments that lie`, () => {
        const lying = Lying.of(1, 2, 3);
        equal(vela.base64.encode(lying), 'AQID');
        equal(vela.text.bin2hex(lying), '010203');
        same(vela.colour.fromRgb('full', lying), vela.colour.fromRgb('full', Uint8Array.of(1, 2, 3)));
        throws(() => vela.colour.fromRgb('full', Uint8Array.of(1, 2, 3, 4, 5, 6), lying), RangeError);
        equal(vela.url.encodeForm(lying), '%01%02%03');
        const matrix = { rows: 2, cols: 2, elements: Float32Array.of(1, 2, 3, 4) },
            rows = [2, 9000];
        Object.defineProperty(matrix, 'rows', { get: () => rows.shift() ?? 9000 });
        equal(vela.matrix.transposed(matrix).elements.length, 4);
        const view = { width: 4, height: 4, panQ10: 0, tiltQ10: 0, fovQ10: 61440 },
            points = Int32Array.of(1, 1);
        same(
            vela.spheremap.screenToSphere(points, changing(view, 4, 900)),
            vela.spheremap.screenToSphere(points, view),
        );
    });
}

export function testOverlayRefusals({ Mask, Picture, hide, lensOfFov, ...rest }) {
    const { project, unproject, projectPath, unprojectPolygon } = rest,
        lens = { model: 'pinhole', fx: 200, fy: 200, cx: 160, cy: 90 },
        seenBy = (change) => project({ ...view, fov: undefined, lens: { ...lens, ...change } }, 350, 40),
        view = { width: 320, height: 180, pan: 350, tilt: 40, fov: 90 },
        corners = Float64Array.of(340, 30, 375, 35, 10, 55),
        pixels = new Uint8Array(4 * 320 * 180);

    test('overlay: what is refused', () => {
        const mask = Mask.make(corners),
            picture = Picture.make(view, pixels),
            runs = Int32Array.of(0, 0, 320);
        refuse([
            [() => Mask.make(Float64Array.of(0, 0, 1, 1)), RangeError],
            [() => Mask.make(Float64Array.of(0, 0, 1, 1, NaN, 1)), null],
            [() => Mask.make([0, 0, 1, 1, 2, 1]), TypeError],
            [() => mask.runs({ ...view, fov: 0 }), RangeError],
            [() => mask.runs({ width: 320, height: 180, panQ10: 0, tiltQ10: 0, fovQ10: 61440 }), TypeError],
            [() => mask.runs(view, 'all'), RangeError],
            [() => mask.contains(NaN, 0), RangeError],
            [() => unproject(view, 1e6, 0), null],
            [() => project(view, 170, -40), null],
            [() => project({ ...view, width: 0 }, 170, -40), RangeError],
            [() => project({ ...view, fov: 1e-7 }, 350, 40), RangeError],
            [() => project({ ...view, tilt: 91 }, 350, 40), RangeError],
            [() => project({ ...view, roll: 1 }, 350, 40), RangeError],
            [() => project({ ...view, roll: 'left' }, 350, 40), TypeError],
            [() => project({ ...view, lens }, 350, 40), TypeError],
            [() => project({ ...view, fov: undefined }, 350, 40), TypeError],
            [() => seenBy({ model: 'fish' }), RangeError],
            [() => seenBy({ fx: undefined }), TypeError],
            [() => seenBy({ fx: 0 }), RangeError],
            [() => seenBy({ k1: NaN }), RangeError],
            [() => seenBy({ k4: 0 }), RangeError],
            [() => seenBy({ model: 'fisheye', p1: 0 }), RangeError],
            [() => lensOfFov('axes', 320, 180, 90), RangeError],
            [() => lensOfFov('pinhole', 320, 180, 180), RangeError],
            [() => lensOfFov('fisheye', 320, 0, 180), RangeError],
            [() => mask.runsBetween(view), TypeError],
            [() => mask.runsWithin(view, NaN), RangeError],
            [() => hide({ data: pixels, width: 320, height: 181 }, runs), RangeError],
            [() => hide({ data: pixels, width: 320, height: 180, format: 'nv12' }, runs), RangeError],
            [() => hide({ data: pixels, width: 65535, height: 65535 }, runs), RangeError],
            [() => hide({ data: [...pixels], width: 320, height: 180 }, runs), TypeError],
            [() => hide({ data: pixels, width: 320, height: 180 }, Int32Array.of(1, 2)), RangeError],
            [() => hide({ data: pixels, width: 320, height: 180 }, runs, { style: 'blur', size: 1 }), RangeError],
            [() => projectPath(view, Float64Array.of(0, 0, 180, 0)), null],
            [() => projectPath(view, Float64Array.of(0, 0, 180)), RangeError],
            [() => unprojectPolygon(view, Float64Array.of(0, 0, 1e6, 0)), null],
            [() => Picture.make(view, new Uint8Array(4)), RangeError],
            [() => new Picture(view, pixels), TypeError],
            [() => picture.draw(view), TypeError],
            [() => picture.draw(view, pixels, 0x1000000), RangeError],
        ]);
        ok(!pixels.includes(255), 'what is refused writes nothing');
        ok(mask.runs({ ...view, fov: 180 }).length > 0, 'the last field of view is taken');
        picture.draw(view, pixels, 0xffffff);
        for (const owner of [mask, picture]) owner.free();
        refuse([
            [() => mask.runs(view), TypeError],
            [() => picture.draw(view, pixels), TypeError],
        ]);
    });

    test('overlay: arguments that lie', () => {
        const one = { ...view, width: 1, height: 1 };
        Picture.make(changing(one, 1, 60000), Uint8Array.of(1, 2, 3, 4)).draw(
            changing(one, 1, 60000),
            new Uint8Array(4),
        );
        throws(() => Picture.make({ ...one, width: 15000 }, Lying.of(1, 2, 3, 4)), RangeError);
        throws(() => hide({ data: Lying.of(1, 2, 3, 4), width: 15000, height: 1 }, new Int32Array(0)), RangeError);
    });
}
