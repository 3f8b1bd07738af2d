// Masks: drawn by pointer and keyboard while the camera turns, found after a reload, edited, switched and deleted.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { clickPicture, eventually, get, luma, middleOf, open, page, post, press } from './harness.mjs';
import { ofElement, rest, showPicture, textOf, until, untilCount, untilText, wait } from './harness.mjs';
import { watchFrames } from './frames.mjs';

const untilCorners = (text) => untilText('masks-count', new RegExp(`^${text}`));
const lastMask = async () => (await get('/api/mask')).masks.at(-1);
const row = (mask) => `#masks-list li[data-id="${mask.id}"]`;

test('a mask is drawn by pointer and keyboard', async () => {
    await press('#home');
    await rest();
    await press('#masks-draw');
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
    await press('#masks-keep');
    await until(() => !document.getElementById('masks-refused').hidden);
    assert.match(await textOf('#masks-refused'), /Name of the mask: please/, 'a mask without a name is refused');
    await page.keyboard.type('Window <b>&amp;'); // the field has the focus
    await press('#masks-keep');
    await untilCount('#masks-list li', 1);
});

test('after a reload it is there, and hides', async () => {
    await open();
    await untilCount('#masks-list li', 1);
    const mask = await lastMask();
    assert.equal(mask.name, 'Window <b>&amp;');
    assert.equal(await textOf(`${row(mask)} label`), mask.name, 'a name is text, whatever it is');
    assert.equal(mask.corners.length, 4);
    await press(`${row(mask)} button[aria-label^=Look]`);
    await rest();
    await wait(500);
    assert.ok((await luma(0.5, 0.5)) < 8, 'the mask is black in the middle of the picture');
});

test('a corner is dragged, and moved by keys', async () => {
    const mask = await lastMask();
    await press(`${row(mask)} button[aria-label^=Edit]`);
    await untilCorners('4');
    const { pan } = await rest();
    await until(() => document.querySelector('#sketch .corner'));
    await wait(500);
    await showPicture();
    const [x, y] = await middleOf('#sketch .corner');
    await page.mouse.move(x, y);
    await page.mouse.down();
    await page.mouse.move(x + 40, y + 10, { steps: 3 });
    await watchFrames('corner', x + 40, y + 10);
    await page.mouse.up();
    await page.keyboard.press('Enter'); // what was dragged is selected until now
    await page.keyboard.press(' ');
    const across = () => ofElement('#sketch .selected', (corner) => Number(corner.getAttribute('cx')));
    await until(() => document.querySelector('#sketch .selected'));
    const before = await across();
    await page.keyboard.press('ArrowRight');
    await wait(100);
    assert.ok(Math.abs((await across()) - before - 5) < 0.1, 'an arrow key moves the selected corner');
    await page.keyboard.press('Enter');
    await press('#masks-keep');
    await until(() => document.getElementById('masks-form').hidden);
    const edited = await lastMask();
    assert.equal(edited.id, mask.id);
    const moved = edited.corners.filter((corner, i) => corner.join() !== mask.corners[i].join());
    assert.equal(moved.length, 1, 'only that corner has moved');
    assert.equal((await rest()).pan, pan, 'the camera has not turned');
});

const chord = async (...keys) => {
    for (const key of keys) await page.keyboard.down(key);
    for (const key of keys.reverse()) await page.keyboard.up(key);
};

test('corners are removed and put in, the whole is moved, all of it undone', async () => {
    const mask = await lastMask();
    await press(`${row(mask)} button[aria-label^=Edit]`);
    await untilCorners('4');
    await rest();
    await wait(500);
    const places = () =>
        page.$$eval('#sketch .corner', (all) =>
            all.map((circle) => [...'xy'].map((c) => Number(circle.getAttribute(`c${c}`)))),
        );
    const box = await (await page.$('#view')).boundingBox();
    const scale = box.width / 1280;
    const screen = ([x, y]) => [box.x + x * scale, box.y + y * scale];
    const middle = (...points) => [0, 1].map((i) => points.reduce((sum, point) => sum + point[i], 0) / points.length);
    const first = await places();
    // Delete removes the corner that is chosen, not the last one.
    await page.mouse.click(...screen(first[1]));
    await page.keyboard.press('Delete');
    await untilCorners('3');
    const three = first.filter((_, index) => index !== 1);
    assert.deepEqual(await places(), three);
    await chord('Control', 'z');
    await untilCorners('4');
    assert.deepEqual(await places(), first);
    await chord('Control', 'Shift', 'Z');
    await untilCorners('3');
    await chord('Control', 'z');
    // A double click on a side puts one there.
    await page.mouse.click(...screen(middle(first[0], first[1])), { count: 2 });
    await untilText('masks-count', /^Corner 2 of 5/);
    const inserted = (await places())[1];
    assert.ok(Math.hypot(...[0, 1].map((i) => inserted[i] - middle(first[0], first[1])[i])) < 2);
    await chord('Control', 'z');
    await untilCorners('4');
    // The inside moves all corners alike.
    await page.mouse.move(...screen(middle(...first)));
    await page.mouse.down();
    await page.mouse.move(...screen(middle(...first).map((value, i) => value + [60, 30][i])), { steps: 3 });
    await page.mouse.up();
    const moved = await places();
    for (const [i, [x, y]] of first.entries()) {
        const off = Math.hypot(moved[i][0] - x - 60, moved[i][1] - y - 30);
        assert.ok(off < 15, `corner ${i} has moved from ${[x, y]} to ${moved[i]}`);
    }
    await chord('Control', 'z');
    assert.deepEqual(await places(), first);
    await press('#masks-cancel');
});

// That it is gone is seen in the list before the camera's answer comes.
test('a deleted mask comes back by an undo', async () => {
    await page.evaluate(() => (window.heldBack = 1000));
    const mask = await lastMask();
    for (let i = 0; i < 2; ++i) await press(`${row(mask)} button[aria-label^=Delete]`);
    await untilCount('#masks-list li', 0);
    await chord('Control', 'z');
    await untilCount('#masks-list li', 1);
    assert.deepEqual((await lastMask()).corners, mask.corners);
    await chord('Control', 'Shift', 'Z');
    await untilCount('#masks-list li', 0);
    await chord('Control', 'z');
    await untilCount('#masks-list li', 1);
    await page.evaluate(() => (window.heldBack = 0));
});

test('it is switched off, and deleted by a second press', async () => {
    const mask = await lastMask();
    await press(`${row(mask)} input`);
    await eventually(async () => !(await lastMask()).on, 'the mask is not switched off');
    await wait(500);
    assert.ok((await luma(0.5, 0.5)) > 8, 'switched off, it hides nothing');
    await press(`${row(mask)} button[aria-label^=Delete]`);
    assert.equal((await get('/api/mask')).masks.length, 1, 'deleting asks first');
    await press(`${row(mask)} button[aria-label^=Delete]`);
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
    await press('#masks-draw');
    await page.evaluate(() => {
        const view = document.getElementById('view');
        const note = ({ clientX, clientY }) => (window.clicked = [clientX, clientY]);
        view.addEventListener('pointerup', note, { once: true });
    });
    await clickPicture(300.5 / 1280, 200.5 / 720);
    await untilCorners('One');
    // The pointer is at whole pixels of the screen, near that pixel of the picture.
    const { pixel, direction } = await page.evaluate(async () => {
        const { overlay } = await import('/modules.js');
        const { live } = await import('/camera.js');
        const { left, top, width, height } = document.getElementById('view').getBoundingClientRect();
        const pixel = [
            ((window.clicked[0] - left) / width) * 1280 - 0.5,
            ((window.clicked[1] - top) / height) * 720 - 0.5,
        ];
        return { pixel, direction: overlay.unproject(live.view, ...pixel) };
    });
    assert.ok(Math.hypot(pixel[0] - 300, pixel[1] - 200) < 2, `the click was at ${pixel}`);
    await move({ pan: direction.pan, tilt: direction.tilt, fov: 2 });
    const corner = await ofElement('#sketch .corner', (circle) =>
        ['cx', 'cy'].map((name) => Number(circle.getAttribute(name))),
    );
    const off = Math.hypot(corner[0] - 640, corner[1] - 360);
    assert.ok(off < 4, `at 2 degrees the corner is ${off.toFixed(1)} pixels from the clicked pixel`);
    await press('#masks-cancel');
});
