// The hull that the page computes is the camera's for the same colours; it follows the picture, and is turned by keys.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { eventually, get, ofElement, openPanel, page, post, textOf, untilText, wait } from './harness.mjs';

const shareIn = (text) => Number.parseFloat(/[\d.]+/.exec(text)?.[0]);
const share = async () => shareIn(await textOf('#hull-words'));

// Runs in the page: both hulls of the pixels of a picture that did not change meanwhile.
async function computeBoth() {
    const { hullOf } = await import('/hull.js');
    const size = { width: 64, height: 36 };
    const read = async (call, fields) => fetch(`/api/${call}?${new URLSearchParams({ ...size, ...fields })}`);
    const raw = async () => new Uint8Array(await (await read('video/raw')).arrayBuffer());
    for (let attempt = 0; attempt < 50; ++attempt) {
        const before = await raw();
        const off = await (await read('gamut/off', { points: 2304 })).text();
        const after = await raw();
        if (!before.every((value, i) => value === after[i])) continue;
        const pixels = Uint8Array.from({ length: 4 * 2304 }, (_, i) =>
            i % 4 < 3 ? before[3 * (i >> 2) + (i % 4)] : 255,
        );
        const { vertices, faces } = hullOf(pixels);
        return { off, vertices, faces };
    }
}

// Sets, since the order is of no meaning.
function parseOff(text) {
    const [, [vertexCount, faceCount], ...lines] = text
        .trim()
        .split('\n')
        .map((line) => line.trim().split(/\s+/).map(Number));
    const vertices = lines.slice(0, vertexCount);
    return { vertices, faces: lines.slice(vertexCount, vertexCount + faceCount).map(([, ...face]) => face) };
}
const describe = ({ vertices, faces }) =>
    faces
        .map((face) =>
            face
                .map((i) => vertices[i].join())
                .sort()
                .join(' '),
        )
        .sort();

test("the hull is the camera's", async () => {
    await post('/api/video', { stamp: 0, grid: 0 });
    const { off, ...here } = await page.evaluate(computeBoth);
    const there = parseOff(off);
    assert.ok(there.vertices.length > 20 && there.faces.length === 2 * there.vertices.length - 4);
    assert.deepEqual(describe(here), describe(there));
});

test('it follows the picture', async () => {
    const { curve } = await get('/api/video/settings');
    await openPanel('hull');
    await untilText('hull-words', / faces/);
    const before = await share();
    // Colours of equal brightness are in a plane, but for compression.
    await post('/api/video', { curve: '0,128;255,128' });
    await eventually(async () => (await share()) < 0.5, 'equal brightness has a volume');
    await post('/api/video', { curve: curve.join(';') });
    await eventually(async () => (await share()) > before / 2, 'the colours are not back');
});

test('of a still picture the figure does not flicker', async () => {
    await post('/api/ptz', { action: 'move', pan: 100, tilt: 10, fov: 30 }); // where nothing drives
    await wait(6000);
    const shares = [];
    for (let i = 0; i < 20; ++i, await wait(250)) shares.push(await share());
    const range = Math.max(...shares) - Math.min(...shares);
    console.log(`hull: from ${Math.min(...shares)} to ${Math.max(...shares)} % in 5 s`);
    assert.ok(range <= 0.5, shares.join(' '));
});

test('arrow keys turn it', async () => {
    // The same colours again and again, so that only keys change it.
    await page.evaluate(() => {
        const prototype = OffscreenCanvasRenderingContext2D.prototype;
        const { getImageData } = prototype;
        let first = null;
        prototype.getImageData = function (...area) {
            const isSample = area.slice(2).join() === '64,36';
            return isSample ? (first ??= getImageData.apply(this, area)) : getImageData.apply(this, area);
        };
    });
    const drawn = () => ofElement('#hull', (canvas) => canvas.toDataURL());
    let last = '';
    // The average of several pictures comes to rest.
    const isStill = async () => {
        const before = last;
        await wait(1000);
        return (last = await drawn()) === before;
    };
    await eventually(isStill, 'it does not come to rest');
    const pictures = new Set([last]);
    await page.focus('#hull');
    for (const key of ['ArrowLeft', 'ArrowUp', 'ArrowUp']) {
        await page.keyboard.press(key);
        pictures.add(await drawn());
    }
    assert.equal(pictures.size, 4);
});
