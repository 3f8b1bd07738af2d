// Masks: drawn by pointer and keyboard while the camera turns, found after a reload, edited, switched and deleted.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { clickPicture, eventually, get, luma, middleOf, open, page, post } from './harness.mjs';
import { rest, textOf, until, untilCount, untilText, wait } from './harness.mjs';
import { watchFrames } from './frames.mjs';

const untilCorners = (text) => untilText('masks-count', new RegExp(`^${text}`));
const lastMask = async () => (await get('/api/mask')).masks.at(-1);
const row = (mask) => `#masks-list li[data-id="${mask.id}"]`;

test('a mask is drawn by pointer and keyboard', async () => {
    await page.click('#home');
    await rest();
    await page.click('#masks-draw');
    await clickPicture(0.3, 0.3);
    await untilCorners('One');
    await clickPicture(0.6, 0.3);
    await untilCorners('2');
    await clickPicture(0.6, 0.7);
    await untilCorners('3');
    // By keyboard the camera turns, and the last corner is at the cross.
    const { pan, fov } = await rest();
    await page.focus('#view');
    await page.keyboard.down('ArrowLeft');
    await wait(300);
    await page.keyboard.up('ArrowLeft');
    const turned = await rest();
    assert.ok(turned.pan !== pan && turned.fov === fov, 'an arrow key turns the camera');
    for (const [key, count] of [
        ['Enter', 4],
        ['Backspace', 3],
        ['Enter', 4],
    ]) {
        await page.keyboard.press(key);
        await untilCorners(count);
    }
    await page.click('#masks-keep');
    await until(() => !document.getElementById('masks-error').hidden);
    assert.match(await textOf('#masks-error'), /name/, 'a mask without a name is refused');
    await page.type('#masks-name', 'Window <b>&amp;');
    await page.click('#masks-keep');
    await untilCount('#masks-list li', 1);
});

test('after a reload it is there, and hides', async () => {
    await open();
    await untilCount('#masks-list li', 1);
    const mask = await lastMask();
    assert.equal(mask.name, 'Window <b>&amp;');
    assert.equal(await textOf(`${row(mask)} label`), mask.name, 'a name is text, whatever it is');
    assert.equal(mask.corners.length, 4);
    await page.click(`${row(mask)} button[aria-label^=Look]`);
    await rest();
    await wait(500);
    assert.ok((await luma(0.5, 0.5)) < 8, 'the mask is black in the middle of the picture');
});

test('a corner is dragged, and moved by keys', async () => {
    const mask = await lastMask();
    await page.click(`${row(mask)} button[aria-label^=Edit]`);
    await untilCorners('4');
    const { pan } = await rest();
    await until(() => document.querySelector('#sketch .corner'));
    await wait(500);
    const [x, y] = await middleOf('#sketch .corner');
    await page.mouse.move(x, y);
    await page.mouse.down();
    await page.mouse.move(x + 40, y + 10, { steps: 3 });
    await watchFrames('corner', x + 40, y + 10);
    await page.mouse.up();
    await page.keyboard.press('Space');
    const across = () => page.$eval('#sketch .selected', (corner) => Number(corner.getAttribute('cx')));
    await until(() => document.querySelector('#sketch .selected'));
    const before = await across();
    await page.keyboard.press('ArrowRight');
    await wait(100);
    assert.ok(Math.abs((await across()) - before - 5) < 0.1, 'an arrow key moves the selected corner');
    await page.keyboard.press('Enter');
    await page.click('#masks-keep');
    await until(() => document.getElementById('masks-form').hidden);
    const edited = await lastMask();
    assert.equal(edited.id, mask.id);
    const moved = edited.corners.filter((corner, i) => corner.join() !== mask.corners[i].join());
    assert.equal(moved.length, 1, 'only that corner has moved');
    assert.equal((await rest()).pan, pan, 'the camera has not turned');
});

test('it is switched off, and deleted by a second press', async () => {
    const mask = await lastMask();
    await page.click(`${row(mask)} input`);
    await eventually(async () => !(await lastMask()).on, 'the mask is not switched off');
    await wait(500);
    assert.ok((await luma(0.5, 0.5)) > 8, 'switched off, it hides nothing');
    await page.click(`${row(mask)} button[aria-label^=Delete]`);
    assert.equal((await get('/api/mask')).masks.length, 1, 'deleting asks first');
    await page.click(`${row(mask)} button[aria-label^=Delete]`);
    await untilCount('#masks-list li', 0);
});

// Zoomed in, half a pixel of the wide view would be 16 pixels.
test('a clicked pixel stays under its corner when the camera zooms in', async () => {
    const move = async (to) => {
        await post('/api/ptz', { action: 'move', ...to });
        await page.evaluate(async () => (await import('/camera.js')).ptz.refresh());
        await rest();
        await wait(500);
    };
    await move({ pan: 38, tilt: 4, fov: 62 });
    await page.click('#masks-draw');
    const pixel = { x: 300, y: 200 };
    await clickPicture((pixel.x + 0.5) / 1280, (pixel.y + 0.5) / 720);
    await untilCorners('One');
    const { width } = await (await page.$('#view')).boundingBox();
    const [x] = await page.$$eval('#sketch .corner', ([corner]) => [Number(corner.getAttribute('cx'))]);
    // The pointer is at whole pixels of the screen.
    assert.ok(Math.abs(x - pixel.x) <= 640 / width + 0.01, `the corner is at ${x}`);
    const direction = await page.evaluate(
        async (x, y) => {
            const { overlay } = await import('/modules.js');
            const { live } = await import('/camera.js');
            return overlay.unproject(live.view, x, y);
        },
        pixel.x,
        pixel.y,
    );
    await move({ pan: direction.pan, tilt: direction.tilt, fov: 2 });
    const corner = await page.$eval('#sketch .corner', (circle) =>
        ['cx', 'cy'].map((name) => Number(circle.getAttribute(name))),
    );
    const off = Math.hypot(corner[0] - 640, corner[1] - 360);
    assert.ok(off < 4, `at 2 degrees the corner is ${off.toFixed(1)} pixels from the clicked pixel`);
    await page.click('#masks-cancel');
});
