// Colours, hulls and the sphere map, against the models of the library's tests and what a hull must satisfy.
import { deepEqual as same, equal, ok } from 'node:assert/strict';
import { near } from './numbers.js';

export function testPictures(check, vela, models) {
    check('colour', (random) => {
        const { colour } = vela;
        ['full', 'bt601', 'bt709'].forEach((variant, i) => {
            const pixels = random.array(Uint8Array, 3 * 5000);
            const [encoded, decoded] = [2 * i, 2 * i + 1].map((one) =>
                models.array(Uint8Array, 'colour_convert', one, pixels),
            );
            same([colour.fromRgb(variant, pixels), colour.toRgb(variant, pixels)], [encoded, decoded]);
            const to = new Uint8ClampedArray(pixels.length + 1).fill(7);
            equal(colour.toRgb(variant, pixels, to), to);
            same([...to], [...decoded, 7]);
            equal(colour.fromRgb(variant, pixels, pixels), pixels);
            same(pixels, encoded);
            same(colour.encodingMatrix(variant), models.array(Int32Array, 'colour_matrix', 2 * i));
            same(colour.decodingMatrix(variant), models.array(Int32Array, 'colour_matrix', 2 * i + 1));
        });
        const from = random.array(Uint8Array, 1000);
        for (const [width, height, stride] of [
            [1, 2, 5],
            [64, 3],
            [33, 4],
            [33, 4, 80],
            [0, 9, 4],
        ]) {
            const read = stride ?? 2 * width + (width % 2);
            const expected = models.array(Uint8Array, 'colour_unpack', from, width, height, read);
            const to = new Uint8Array(3 * width * height);
            const exact = from.subarray(0, width && read * (height - 1) + 2 * width + (width % 2));
            same(colour.unpack(from, width, height, stride), expected);
            equal(colour.unpack(exact, width, height, stride, to), to);
            same(to, expected);
        }
    });

    check('hulls', (random) => {
        for (let round = 0; round < 40; ++round) {
            const count = random.between(4, 200);
            const planes = [2, 1, 0].map((bits) =>
                random.array(Uint8Array, count).map((one) => one >> random.below(bits + 1)),
            );
            const pixels = Uint8Array.from({ length: 4 * count }, (_, i) => planes[i % 4]?.[i >> 2]);
            const hull = vela.Hull.ofPoints(...planes);
            const twin = vela.Hull.ofPixels(pixels.subarray(0, 4 * (count >> 1)), 4);
            if (!hull || !twin) continue;
            checkHull(hull, planes, random, models);
            hull.vertexNumbers().forEach((number, i) =>
                same(
                    planes.map((one) => one[number]),
                    [...hull.vertices().subarray(3 * i, 3 * i + 3)],
                ),
            );
            twin.growByPixels(pixels.subarray(4 * (count >> 1)), 4);
            checkHull(twin, planes, random, models);
            const more = [Uint8Array.of(255, 0), Uint8Array.of(255, 0), Uint8Array.of(255, 255)];
            hull.grow(...more);
            checkHull(
                hull,
                planes.map((plane, i) => Uint8Array.of(...plane, ...more[i])),
                random,
                models,
            );
            hull.free();
            twin[Symbol.dispose ?? Symbol.for('Symbol.dispose')]();
            ok(hull.freed && twin.freed);
        }
        const cube = vela.Hull.ofPixels(Uint8Array.from({ length: 24 }, (_, i) => ((i / 3) >> i % 3) & 1 && 10));
        same([cube.volume, cube.vertexCount, cube.edgeCount, cube.faceCount], [1000, 8, 18, 12]);
        same(cube.distances(5, 5, 14), { nearest: 16, farthest: 196 });
        cube.free();
    });

    check('sphere map', (random) => {
        const { spheremap: map } = vela;
        for (let i = 0; i < 3000; ++i) {
            const [width, height, fovQ10] = [2000, 2000, 184320].map((max) => random.between(1, max));
            const [panQ10, tiltQ10] = [random.word(), random.word() >> 8];
            const view = { width, height, panQ10, tiltQ10, fovQ10 };
            const around = () => random.between(-9999, 9999);
            const directions = Int32Array.of(random.word(), random.word(), panQ10 + around(), tiltQ10 + around());
            const pixels = Int32Array.of(random.below(2000), random.below(2000), around(), random.below(99));
            const [p, q] = [directions, pixels];
            const what = JSON.stringify([view, p, q]);
            const model = (name, a, b) => models.array(Int32Array, name, a, b, width, height, panQ10, tiltQ10, fovQ10);

            const [first, second] = [model('onto_screen', p[0], p[1]), model('onto_screen', p[2], p[3])];
            const points = Int32Array.of(first[0], first[1], second[0], second[1]);
            same(map.sphereToScreen(p, view), { points, inFront: first[2] + second[2] === 2 }, what);
            same(map.spherePtToScreenPt(p[2], p[3], view), second[2] ? { x: second[0], y: second[1] } : null, what);

            const shown = Int32Array.of(...model('onto_sphere', q[0], q[1]), ...model('onto_sphere', q[2], q[3]));
            same(map.screenToSphere(q, view), shown, what);
            same(map.screenPtToSpherePt(q[0], q[1], view), { panQ10: shown[0], tiltQ10: shown[1] }, what);
            const [pan, tilt] = models.array(Int32Array, 'clipped', p[0], p[1]);
            same(map.clipPanTilt(p[0], p[1]), { panQ10: pan, tiltQ10: tilt }, what);
            const meets = (a, b, size) => Math.min(a, b) < size && Math.max(a, b) >= 0;
            equal(map.polygonOnScreen(q, view), meets(q[0], q[2], width) && meets(q[1], q[3], height), what);
        }
        const ahead = { width: 9, height: 9, panQ10: 0, tiltQ10: 0, fovQ10: 61440 };
        equal(map.sphereToScreen(Int32Array.of(0, 0, 184320, 0), ahead).inFront, false);
        same(map.clipPanTilt(-1, 100000), { panQ10: 184319, tiltQ10: 84320 });
        same(map.clipPanTiltBounds(-1, 100000), { panQ10: 368639, tiltQ10: 100000 });
        same(map.clipPanTiltBounds(368640, 184321), { panQ10: 0, tiltQ10: -184319 });
    });
}

const minus = (a, b) => a.map((one, i) => one - b[i]);
const cross = (a, b) => [0, 1, 2].map((i) => a[(i + 1) % 3] * b[(i + 2) % 3] - a[(i + 2) % 3] * b[(i + 1) % 3]);
const dot = (a, b) => a.reduce((sum, one, i) => sum + one * b[i], 0);
const height = ([a, b, c], p) => dot(cross(minus(b, a), minus(c, a)), minus(p, a)); // above 0 outside

// A hull as its own faces describe it: closed, convex, around all points.
function checkHull(hull, planes, random, models) {
    const [vertices, edges, faces] = [hull.vertices(), hull.edges(), hull.faces()];
    same([vertices.length / 3, edges.length / 2, faces.length / 3], [hull.vertexCount, hull.edgeCount, hull.faceCount]);
    equal(hull.vertexCount - hull.edgeCount + hull.faceCount, 2);
    const side = (a, b) => `${Math.min(a, b)}-${Math.max(a, b)}`;
    const sides = Array.from(faces, (one, i) => side(one, faces[i % 3 < 2 ? i + 1 : i - 2]));
    same(
        Array.from({ length: hull.edgeCount }, (_, i) => side(edges[2 * i], edges[2 * i + 1])).sort(),
        [...new Set(sides)].sort(),
    );

    const corner = (i) => [...vertices.subarray(3 * faces[i], 3 * faces[i] + 3)];
    const triangles = Array.from({ length: hull.faceCount }, (_, i) => [
        corner(3 * i),
        corner(3 * i + 1),
        corner(3 * i + 2),
    ]);
    const sixfold = triangles.reduce((sum, [a, b, c]) => sum + dot(a, cross(b, c)), 0);
    near(hull.volume, sixfold / 6, 1e-6, 'volume');
    for (let i = 0; i < planes[0].length; ++i) {
        const p = planes.map((plane) => plane[i]);
        ok(hull.contains(...p) && triangles.every((face) => height(face, p) <= 0), `(${p}) is inside`);
    }
    for (let i = 0; i < 20; ++i) {
        const p = [1, 1, 1].map(() => random.between(-20, 275));
        const all = triangles.map((face) => models.call('hull_distance', Int32Array.from(face.flat()), ...p) >>> 0);
        equal(
            hull.contains(...p),
            triangles.every((face) => height(face, p) <= 0),
            `contains(${p})`,
        );
        same(hull.distances(...p), { nearest: Math.min(...all), farthest: Math.max(...all) }, `distances(${p})`);
    }
}
