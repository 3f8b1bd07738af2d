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

// The position of a direction; null for one that is not in front, which a fisheye sees as well.
function projected({ width, height, pan, tilt, roll = 0, fov, lens }, to) {
    const ahead = dot(vector(pan, tilt), to),
        [sideways, up] = [dot(vector(pan + 90, 0), to), dot(vector(pan, tilt + 90), to)],
        x = sideways * Math.cos(roll * degree) - up * Math.sin(roll * degree),
        y = -sideways * Math.sin(roll * degree) - up * Math.cos(roll * degree);
    if (ahead < 0 && lens?.model !== 'fisheye') return null;
    if (!lens) {
        const scale = width / (fov * degree),
            angle = (u) => Math.asin(Math.max(-1, Math.min(1, u)));
        return { x: Math.floor(width / 2) + scale * angle(x), y: Math.floor(height / 2) + scale * angle(y) };
    }
    const { fx, fy, cx, cy, k1 = 0, k2 = 0, p1 = 0, p2 = 0, k3 = 0, k4 = 0 } = lens,
        placed = (a, b) => ({ x: fx * a + cx, y: fy * b + cy });
    if (lens.model === 'fisheye') {
        const theta = Math.atan2(Math.hypot(x, y), ahead),
            t2 = theta * theta,
            scale = (theta * (1 + t2 * (k1 + t2 * (k2 + t2 * (k3 + t2 * k4))))) / Math.hypot(x, y);
        return placed(x * scale, y * scale);
    }
    const [a, b] = [x / ahead, y / ahead],
        r2 = a * a + b * b,
        radial = 1 + r2 * (k1 + r2 * (k2 + r2 * k3));
    return placed(
        a * radial + 2 * p1 * a * b + p2 * (r2 + 2 * a * a),
        b * radial + p1 * (r2 + 2 * b * b) + 2 * p2 * a * b,
    );
}

const near = (a, b, tolerance) => Math.hypot(a.x - b.x, a.y - b.y) <= tolerance;

// Which pixels some runs have.
function covered({ width, height }, runs) {
    const all = new Uint8Array(width * height);
    for (let i = 0; i < runs.length; i += 3) {
        const [y, begin, end] = runs.subarray(i, i + 3);
        all.fill(1, y * width + begin, y * width + end);
    }
    return all;
}
const sum = (all) => all.reduce((a, b) => a + b, 0);

export function testOverlay({ Mask, Picture, hide, lensOfFov, project, unproject, projectPath, unprojectPolygon }) {
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
            sets = ['centres', 'conservative', undefined].map((coverage) => covered(view, mask.runs(view, coverage)));
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
        // Within a margin: what is near a corner is, what is far from each side isn't.
        const margin = 4,
            wide = covered(view, mask.runsWithin(view, margin));
        pixels(view, (x, y, i) => {
            const { pan, tilt } = unproject(view, x, y),
                cosines = corners.map((corner) => dot(vector(...corner), vector(pan, tilt)));
            if (sets[1][i] || Math.max(...cosines) > Math.cos(margin * degree)) equal(wide[i], 1, `${x}, ${y} is near`);
            if (depth(pan, tilt) > Math.sin((margin + 1) * degree)) equal(wide[i], 0, `${x}, ${y} is far`);
        });
        mask.free();
    });

    test('overlay: lenses of real cameras', () => {
        const random = generator(),
            scales = { fx: 210, fy: 190, cx: 170, cy: 85 },
            lenses = [
                { model: 'pinhole', ...scales, k1: -0.2, k2: 0.05, p1: 0.003, p2: -0.004, k3: 0.01 },
                { model: 'fisheye', ...scales, k1: 0.03, k2: -0.01, k3: 0.002, k4: -0.0005 },
                lensOfFov('pinhole', 320, 180, 70),
                lensOfFov('fisheye', 320, 180, 220),
            ];
        ok(Math.abs(lenses[2].fx * Math.tan(35 * degree) - 160) < 1e-9 && lenses[2].cy === 90);
        ok(Math.abs(lenses[3].fy * 220 * degree - 320) < 1e-9 && lenses[3].cx === 160);
        for (const lens of lenses) {
            const seen = { width: 320, height: 180, pan: 350, tilt: 40, roll: 25, lens };
            for (let i = 0; i < 1000; ++i) {
                const at = { x: random.below(320), y: random.below(180) },
                    { pan, tilt } = unproject(seen, at.x, at.y);
                for (const found of [projected(seen, vector(pan, tilt)), project(seen, pan, tilt)])
                    ok(near(found, at, 0.05), JSON.stringify([seen, at, found]));
            }
        }
        equal(project({ ...view, fov: undefined, lens: lenses[2] }, 170, -40), null);
    });

    test('overlay: a mask in motion', () => {
        const mask = Mask.make(Float64Array.of(340, 30, 375, 35, 10, 55, 345, 50)),
            lens = { model: 'pinhole', fx: 160, fy: 160, cx: 160, cy: 90, k1: -0.1 },
            from = { width: 320, height: 180, pan: 352, tilt: 38, lens },
            to = { ...from, pan: 370, tilt: 44 },
            swept = covered(from, mask.runsBetween(from, to)),
            union = new Uint8Array(swept.length);
        for (let part = 0; part <= 1; part += 1 / 128) {
            const at = { ...from, pan: 352 + 18 * part, tilt: 38 + 6 * part };
            covered(at, mask.runs(at)).forEach((is, i) => (union[i] |= is));
        }
        union.forEach((is, i) => ok(!is || swept[i], `pixel ${i}`));
        ok(sum(union) > 5000 && sum(swept) < 1.05 * sum(union), `${sum(swept)} and ${sum(union)} pixels`);
        mask.free();
    });

    test('overlay: pixels under a cover', () => {
        const [width, height] = [7, 5],
            runs = Int32Array.of(1, 2, 4, 3, -9, 1, 9, 0, 7),
            is = covered({ width, height }, Int32Array.of(1, 2, 4, 3, 0, 1)),
            bytes = generator().array(Uint8Array, 140),
            rgba = Uint8ClampedArray.from(bytes),
            nv12 = bytes.slice(0, 35 + 24);
        hide({ data: rgba, width, height }, runs, { colour: 0xfedcba });
        pixels({ width, height }, (x, y, i) =>
            same(
                [...rgba.subarray(4 * i, 4 * i + 4)],
                is[i] ? [0xfe, 0xdc, 0xba, 255] : [...bytes.subarray(4 * i, 4 * i + 4)],
            ),
        );
        hide({ data: nv12, width, height, format: 'nv12', colours: 'bt709Studio' }, runs);
        const chroma = (i) => ((i - 35) >> 3) * 4 + (((i - 35) & 7) >> 1); // the sample of 4 x 3
        nv12.forEach((byte, i) => {
            const hidden = i < 35 ? (is[i] ? 16 : bytes[i]) : [1, 4].includes(chroma(i)) ? 128 : bytes[i];
            equal(byte, hidden, `byte ${i}`);
        });
        for (const style of ['blocks', 'blur']) {
            const grey = Uint8Array.from({ length: 64 }, (_, i) => (i & 1) * 100);
            hide({ data: grey, width: 8, height: 8, format: 'grey' }, Int32Array.of(0, 2, 6), { style, size: 4 });
            same([...grey.subarray(0, 8)], [0, 100, 50, 50, 50, 50, 0, 100], style);
        }
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
