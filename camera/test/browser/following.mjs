// What the page shows follows the pointer and the camera's plan. A picture that it has warped is the one that the camera
// takes there, and what a mask hides is black in it, where a picture is known and where none is.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { clickPicture, get, page, post, press, rest, showPicture, untilText, wait } from './harness.mjs';
import { watchFrames } from './frames.mjs';

// Runs in the page: turns the view by dragging from a place, and compares pixels.
async function compare(x, y, corners) {
    const { live } = await import('/camera.js');
    const { overlay } = await import('/modules.js');
    const [width, height] = [1280, 720];
    const mask = overlay.Mask.make(Float64Array.from(corners.flat()));
    const context = new OffscreenCanvas(width, height).getContext('2d', { willReadFrequently: true });
    const read = (image) => {
        context.drawImage(image, 0, 0);
        return context.getImageData(0, 0, width, height).data;
    };
    const shown = () =>
        new Promise((done) => {
            const take = ({ detail }) => done({ view: detail, pixels: read(document.getElementById('live')) });
            live.element.addEventListener('viewchange', take, { once: true });
            live.refresh();
        });
    const cover = (view) => {
        const covered = new Uint8Array(width * height);
        const runs = mask.runs(view, 'centres');
        for (let i = 0; i < runs.length; i += 3) {
            covered.fill(1, width * runs[i] + runs[i + 1], width * runs[i] + runs[i + 2]);
        }
        return covered;
    };
    const result = { hidden: 0, brightest: 0, known: 0, difference: 0, shifted: 0 };
    const checkMask = ({ view, pixels }) =>
        cover(view).forEach((isCovered, i) => {
            if (!isCovered) return;
            ++result.hidden;
            result.brightest = Math.max(result.brightest, ...pixels.subarray(4 * i, 4 * i + 3));
        });
    // On a busy machine pictures are smaller for a while.
    const isWhole = () =>
        new Promise((done) =>
            live.element.addEventListener('picture', ({ detail }) => done(detail.width === width), { once: true }),
        );
    while (!(await isWhole()));
    await shown();
    const turned = shown();
    const init = { pointerId: 1, clientX: x + 230, clientY: y + 60, bubbles: true };
    live.element.dispatchEvent(new PointerEvent('pointermove', init));
    const warped = await turned;
    checkMask(warped);
    const { pan, tilt, fov } = warped.view;
    const reply = await fetch(`/api/video?${new URLSearchParams({ pan, tilt, fov, stamp: 0 })}`);
    const expected = read(await createImageBitmap(await reply.blob()));
    const covered = cover(warped.view);
    const background = warped.pixels.slice(0, 3);
    const luma = (pixels, i) => 0.3 * pixels[4 * i] + 0.6 * pixels[4 * i + 1] + 0.1 * pixels[4 * i + 2];
    for (let i = 0; i < width * (height - 4); ++i) {
        if (covered[i] || background.every((value, k) => value === warped.pixels[4 * i + k])) continue;
        ++result.known;
        result.difference += Math.abs(luma(warped.pixels, i) - luma(expected, i));
        result.shifted += Math.abs(luma(warped.pixels, i) - luma(expected, i + 4 * width));
    }
    for (let i = 0; i < 8; ++i) checkMask(await shown());
    return result;
}

test('corners follow the turning camera in each frame', async () => {
    await post('/api/ptz', { action: 'move', pan: 120, tilt: -6, fov: 62 });
    await rest();
    await press('#masks-draw');
    await clickPicture(0.5, 0.5);
    await untilText('masks-count', /^One/);
    await watchFrames('turn');
    await press('#masks-cancel');
});

test('a warped picture is what the camera sees, with masks', async () => {
    const { pan, tilt } = await rest();
    const corners = [
        [-45, 12],
        [-22, 12],
        [-22, -8],
        [-40, -15],
    ].map(([right, up]) => [pan + right, tilt + up]);
    await post('/api/mask', {
        action: 'add',
        name: 'Beside',
        corners: corners.map((corner) => corner.join(',')).join(';'),
    });
    await page.evaluate(async () => (await import('/masks.js')).loadMasks());
    await wait(500);
    await showPicture();
    const box = await (await page.$('#view')).boundingBox();
    const [x, y] = [box.x + box.width / 2, box.y + box.height / 3];
    await page.mouse.move(x, y);
    await page.mouse.down();
    const { hidden, brightest, known, difference, shifted } = await page.evaluate(compare, x, y, corners);
    const [mean, reference] = [difference / known, shifted / known];
    console.log(
        `a warped picture is ${mean.toFixed(2)} levels from the camera's own over ${known} pixels; ` +
            `four rows off it would be ${reference.toFixed(2)}`,
    );
    assert.ok(known > 3e5 && mean < 3 && mean < reference / 2);
    assert.ok(hidden > 1e5 && brightest === 0, `${brightest} of 255 shines through a mask`);
    await page.mouse.up();
    await rest();
    await page.mouse.down();
    await wait(200);
    await watchFrames('drag', x, y);
    await page.mouse.up();
    await post('/api/mask', { action: 'remove', id: (await get('/api/mask')).masks.at(-1).id });
});
