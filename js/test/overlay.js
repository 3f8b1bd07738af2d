// Masks, paths and pictures, against the projection's formula and half-spaces in double precision.
import { deepEqual as same, equal, ok } from 'node:assert/strict';
import { test } from 'node:test';
import { generator } from './sample.js';

const degree = Math.PI / 180;
const vector = (pan, tilt) => [
    Math.cos(tilt * degree) * Math.cos(pan * degree),
    Math.cos(tilt * degree) * Math.sin(pan * degree),
    Math.sin(tilt * degree),
];
const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
const cross = (a, b) => [0, 1, 2].map((i) => a[(i + 1) % 3] * b[(i + 2) % 3] - a[(i + 2) % 3] * b[(i + 1) % 3]);

// The position of a direction; null for one that is not in front.
function projected({ width, height, pan, tilt, fov }, to) {
    if (dot(vector(pan, tilt), to) < 0) return null;
    const scale = width / (fov * degree),
        right = Math.asin(dot(vector(pan + 90, 0), to)),
        up = Math.asin(Math.min(1, dot(vector(pan, tilt + 90), to)));
    return { x: Math.floor(width / 2) + scale * right, y: Math.floor(height / 2) - scale * up };
}

const near = (a, b, tolerance) => Math.hypot(a.x - b.x, a.y - b.y) <= tolerance;

export function testOverlay({ Mask, Picture, project, unproject, projectPath, unprojectPolygon }) {
    const view = { width: 320, height: 180, pan: 350, tilt: 40, fov: 90 },
        turned = { width: 321, height: 181, pan: 20, tilt: 20, fov: 70 };
    const pixels = (of, run) => {
        for (let i = 0; i < of.width * of.height; ++i) run(i % of.width, Math.floor(i / of.width), i);
    };

    test('overlay: projection there and back', () => {
        const random = generator();
        for (let i = 0; i < 3000; ++i) {
            const seen = {
                    width: random.between(1, 3000),
                    height: random.between(1, 2000),
                    pan: random.real(500),
                    tilt: random.real(90),
                    fov: 1 + random.below(179),
                },
                [pan, tilt] = [random.real(180) + seen.pan, random.real(90)],
                expected = projected(seen, vector(pan, tilt)),
                found = project(seen, pan, tilt);
            equal(found === null, expected === null);
            if (!found) continue;
            ok(near(found, expected, 0.05), JSON.stringify([seen, pan, tilt, found, expected]));
            const back = unproject(seen, found.x, found.y);
            if (back)
                ok(dot(vector(back.pan, back.tilt), vector(pan, tilt)) > 1 - 1e-9 && back.pan >= 0 && back.pan <= 360);
        }
        equal(unproject(view, 1e6, 0), null);
    });

    test('overlay: masks', () => {
        const corners = [
                [340, 30],
                [375, 35],
                [10, 55],
                [345, 50],
            ],
            sides = corners.map((corner, i) => cross(vector(...corner), vector(...corners[(i + 1) % 4]))),
            depth = (pan, tilt) => Math.max(...sides.map((side) => dot(side, vector(pan, tilt)) * -1)), // below 0 inside
            mask = Mask.make(Float64Array.from(corners.flat())),
            sets = ['centres', 'conservative', undefined].map((coverage) => {
                const covered = new Uint8Array(view.width * view.height),
                    runs = mask.runs(view, coverage);
                for (let i = 0; i < runs.length; i += 3) {
                    const [y, begin, end] = runs.subarray(i, i + 3);
                    covered.fill(1, y * view.width + begin, y * view.width + end);
                }
                return covered;
            });
        same(sets[2], sets[1]);
        pixels(view, (x, y, i) => {
            const { pan, tilt } = unproject(view, x, y),
                d = depth(pan, tilt);
            if (Math.abs(d) < 1e-6) return;
            equal(mask.contains(pan, tilt), d < 0, `contains ${x}, ${y}`);
            equal(sets[0][i] === 1, d < 0, `centre of ${x}, ${y}`);
            const square = [-0.5, 0.5].flatMap((dx) => [-0.5, 0.5].map((dy) => unproject(view, x + dx, y + dy)));
            if (square.some((at) => depth(at.pan, at.tilt) < -1e-6)) equal(sets[1][i], 1, `${x}, ${y} is touched`);
            if (d > 0.02) equal(sets[1][i], 0, `${x}, ${y} is far off`);
        });
        mask.free();
    });

    test('overlay: pictures', () => {
        // Red and green rise evenly, so that each pixel tells its position.
        const picture = new Uint8Array(4 * turned.width * turned.height),
            drawn = new Uint8ClampedArray(4 * view.width * view.height + 1).fill(9),
            [right, bottom] = [turned.width - 1, turned.height - 1];
        pixels(turned, (x, y, i) => picture.set([(255 * x) / right, (255 * y) / bottom, (x * y) % 7, 255], 4 * i));
        const one = Picture.make(turned, picture);
        one.draw(view, drawn, 0xfedcba);
        equal(drawn.at(-1), 9);
        let seen = 0,
            empty = 0;
        pixels(view, (x, y, i) => {
            const { pan, tilt } = unproject(view, x, y),
                at = project(turned, pan, tilt),
                [red, green, blue, opacity] = drawn.subarray(4 * i, 4 * i + 4);
            equal(opacity, 255);
            if (at && at.x > 0 && at.y > 0 && at.x < right && at.y < bottom) {
                ok(
                    Math.abs(red - (255 * at.x) / right) < 1.6 && Math.abs(green - (255 * at.y) / bottom) < 1.9,
                    `pixel ${i}`,
                );
                ++seen;
            } else if (!at || at.x < -0.6 || at.y < -0.6 || at.x > right + 0.6 || at.y > bottom + 0.6) {
                same([red, green, blue], [0xfe, 0xdc, 0xba], `pixel ${i}`);
                ++empty;
            }
        });
        ok(seen > 1000 && empty > 1000);
        const again = new Uint8Array(picture.length);
        one.draw(turned, again);
        same(again, picture);
        // Half a pixel beyond its border belongs to it.
        const border = { width: 2, height: 2, pan: 0, tilt: 0, fov: 2 },
            tiny = Picture.make(border, new Uint8Array(16).fill(200)),
            near = new Uint8Array(4 * 8 * 8);
        tiny.draw({ ...border, width: 8, height: 8 }, near);
        pixels({ width: 8, height: 8 }, (x, y, i) => equal(near[4 * i], x < 7 && y < 7 ? 200 : 0, `${x}, ${y}`));
        // Half a pixel higher, where positions are as far apart as pixels: between two rows.
        const narrow = { width: 32, height: 32, pan: 0, tilt: 0, fov: 0.032 },
            rows = new Uint8Array(4 * 32 * 32);
        pixels(narrow, (x, y, i) => rows.fill(8 * y, 4 * i, 4 * i + 4));
        const higher = Picture.make(narrow, rows);
        higher.draw({ ...narrow, tilt: 0.0005 }, rows);
        pixels(narrow, (x, y, i) => y && equal(rows[4 * i], 8 * y - 4, `${x}, ${y}`));
        higher.free();
        [one, tiny].forEach((owner) => owner.free());
    });

    test('overlay: paths and polygons', () => {
        const square = Float64Array.of(10, 10, 300, 10, 300, 170),
            corners = unprojectPolygon(view, square),
            back = [];
        ok(corners.length > 6);
        for (let i = 0; i < corners.length; i += 2) back.push(project(view, corners[i], corners[i + 1]));
        const distance = ({ x, y }) =>
            Math.min(
                Math.abs(y - 10),
                Math.abs(x - 300),
                Math.abs((x - 10) * 160 - (y - 10) * 290) / Math.hypot(160, 290),
            );
        for (const at of back) ok(distance(at) < 0.05, JSON.stringify(at));
        const lines = projectPath(view, Float64Array.of(330, 30, 20, 30));
        ok(lines.length >= 8 && lines.length % 4 === 0);
        ok(near({ x: lines[0], y: lines[1] }, project(view, 330, 30), 0.01));
        ok(near({ x: lines.at(-2), y: lines.at(-1) }, project(view, 20, 30), 0.01));
        const plane = cross(vector(330, 30), vector(20, 30));
        for (let i = 0; i < lines.length; i += 4) {
            if (i) ok(near({ x: lines[i - 2], y: lines[i - 1] }, { x: lines[i], y: lines[i + 1] }, 1e-9), 'lines join');
            const { pan, tilt } = unproject(view, (lines[i] + lines[i + 2]) / 2, (lines[i + 1] + lines[i + 3]) / 2);
            ok(Math.abs(dot(plane, vector(pan, tilt))) < 0.004, 'half a pixel from the arc at most');
        }
        const long = Float64Array.from({ length: 8000 }, (_, i) => (i % 2 ? 40 + (i % 3) : 350));
        ok(projectPath({ ...view, width: 4000, height: 4000 }, long).length > 4096);
    });
}
