// Presets, patrol and limits. A held button goes on, letting go and a lost connection stop; two fingers zoom.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { eventually, fill, get, middleOf, openPanel, page, post, press, rest, showPicture } from './harness.mjs';
import { ofElement, until, untilCount, untilText, wait } from './harness.mjs';

const angleBetween = (a, b) => Math.abs(((a - b + 540) % 360) - 180);

async function hold(selector, milliseconds, end) {
    await showPicture();
    await page.mouse.move(...(await middleOf(selector)));
    await page.mouse.down();
    await wait(milliseconds);
    await end();
    return rest();
}

// The list is drawn again when another answer comes.
const removeLast = () => ofElement('#presets-list li:last-child button:last-child', (button) => button.click());

test('presets are saved and deleted, and a wrong patrol is refused', async () => {
    await page.type('#presets-name', 'A view');
    await press('#presets-form button');
    await untilCount('#presets-list li', 1);
    await press('#patrol');
    await untilText('patrol-error', /two saved views/);
    // Another view of the same name takes its place.
    await post('/api/ptz', { action: 'move', pan: 120, tilt: 0, fov: 40 });
    await post('/api/ptz', { action: 'save', name: 'Another', pan: 0, tilt: 0, fov: 60 });
    await untilCount('#presets-list li', 2); // which moves the button
    await fill('#patrol-dwell', 'long');
    await press('#patrol');
    await untilText('patrol-error', /seconds at each view: a number from 1 to 600/);
    assert.equal(await page.evaluate(() => document.activeElement.id), 'patrol-dwell', 'the wrong field has the focus');
    const { presets } = await get('/api/ptz');
    await post('/api/ptz', { action: 'forget', id: presets.at(-1).id });
    await untilCount('#presets-list li', 1);
    const { pan } = await rest();
    await page.type('#presets-name', 'A view');
    await press('#presets-form button');
    const panOf = async () => (await get('/api/ptz')).presets.map((preset) => Math.round(preset.pan)).join();
    await eventually(async () => (await panOf()) === `${Math.round(pan)}`, 'the view is not replaced');
    await removeLast();
    await untilCount('#presets-list li', 0);
    await press('#toast-undo');
    await untilCount('#presets-list li', 1);
    assert.equal(await panOf(), '120', 'a deleted view comes back as it was');
    await removeLast();
    await untilCount('#presets-list li', 0);
});

test('a held button stops at a limit', async () => {
    await openPanel('limits');
    await press('#limits-go-home');
    const { pan } = await rest();
    const right = (pan + 5) % 360;
    await press('[data-limit=left]');
    await until((pan) => document.getElementById('limits-left').value === pan.toFixed(1), pan);
    await fill('#limits-right', right);
    await press('#limits-form .first');
    await untilText('limits-words', /clockwise/);
    const felt = until(() => document.getElementById('view').dataset.stop === 'right');
    const stopped = await hold('[data-pan="1"]', 1500, () => page.mouse.up());
    await felt;
    assert.ok(Math.abs(stopped.pan - right) < 0.1, `it stops at ${stopped.pan}, not at ${right}`);
    await fill('#limits-low', 10);
    await fill('#limits-high', -10);
    await press('#limits-form .first');
    await untilText('limits-error', /tilt/);
    await post('/api/ptz', { action: 'limits', left: 0, right: 0, low: -90, high: 90 });
});

test('it goes on while a button is held, and stops without a connection', async () => {
    const before = await rest();
    const held = await hold('[data-pan="-1"]', 1200, () => page.mouse.up());
    assert.ok(angleBetween(held.pan, before.pan) > 10, 'while a button is held the camera goes on');
    const cut = await hold('[data-pan="-1"]', 800, () => page.setOfflineMode(true));
    await wait(1000);
    assert.equal((await get('/api/ptz')).pan, cut.pan, 'a lost connection stops it');
    await page.setOfflineMode(false);
    await page.mouse.up();
    await until(() => document.getElementById('message').hidden);
});

test('two fingers zoom', async () => {
    await showPicture();
    const [x, y] = await middleOf('#view');
    const client = await page.createCDPSession();
    const touch = (type, apart) =>
        client.send('Input.dispatchTouchEvent', {
            type,
            touchPoints: apart ? [-apart, apart].map((at, id) => ({ x: x + at, y, id })) : [],
        });
    const before = await rest();
    await touch('touchStart', 40);
    for (const apart of [50, 60, 70, 80]) await touch('touchMove', apart);
    await touch('touchEnd');
    await wait(300);
    const { pan, fov } = await rest();
    assert.ok(Math.abs(fov / before.fov - 0.5) < 0.05, `twice as far apart: from ${before.fov} to ${fov}`);
    assert.ok(angleBetween(pan, before.pan) < 1, `and no turn: from ${before.pan} to ${pan}`);
    await client.detach();
});
