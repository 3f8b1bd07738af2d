// The tone curve: computed as the camera computes it, drawn at once, and followed by the picture.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { eventually, get, luma, ofElement, openPanel, page, post, press, textOf, wait } from './harness.mjs';

const curve = async () => (await get('/api/video/settings')).curve;
const untilCurve = (knots) =>
    eventually(async () => JSON.stringify(await curve()) === JSON.stringify(knots), `the curve is not ${knots}`);
const ends = [
    [0, 0],
    [255, 255],
];

async function drag(knot, right, down) {
    const [x, y] = await ofElement(`#curve [data-knot="${knot}"]`, (circle) => {
        const { x, y, width, height } = circle.getBoundingClientRect();
        return [x + width / 2, y + height / 2];
    });
    await page.mouse.move(x, y);
    await page.mouse.down();
    await page.mouse.move(x + right, y + down, { steps: 4 });
}

// Runs in the page: random knots, of which some have x that do not rise, by the page and by the camera.
async function computeBoth() {
    const { computeTones } = await import('/light.js');
    const { post } = await import('/server.js');
    const below = (limit) => Math.floor(Math.random() * limit);
    const all = [];
    for (let i = 0; i < 60; ++i) {
        let xs = Array.from({ length: below(i % 3 ? 4 : 15) }, () => 1 + below(254));
        if (i % 6) xs = [...new Set(xs.sort((a, b) => a - b))];
        const knots = [0, ...xs, 255].map((x) => [x, below(256)]);
        const exposure = (below(41) - 20) / 10;
        const camera = await post('/api/video', { exposure, curve: knots.join(';') }).then(
            ({ spline, levels }) => ({ spline, levels }),
            () => null,
        );
        all.push({ knots, exposure, page: computeTones(knots, exposure), camera });
    }
    return all;
}

test("the page's curves are the camera's, value by value", async () => {
    const { exposure, curve } = await get('/api/video/settings');
    const all = await page.evaluate(computeBoth);
    for (const each of all) assert.deepEqual(each.page, each.camera, `${each.knots.join(';')} at ${each.exposure}`);
    const refused = all.filter((each) => !each.camera).length;
    assert.ok(refused > 0 && refused < 30, `${refused} of ${all.length} curves are refused`);
    await post('/api/video', { exposure, curve: curve.join(';') });
});

test('the curve is drawn while it is dragged, and the picture follows', async () => {
    await openPanel('curve');
    await ofElement('#curve', (plot) => plot.scrollIntoView({ block: 'center' }));
    await press('#curve-straight');
    await untilCurve(ends);
    await wait(300);
    const before = await luma(0.25, 0.1);
    await drag(1, 0, 120);
    // Drawn before any answer can come.
    const [first, second] = await page.evaluate(() => {
        const plot = document.getElementById('curve');
        const { right, top, height } = plot.getBoundingClientRect();
        const path = () => plot.querySelector('.spline').getAttribute('d');
        const before = path();
        const init = { pointerId: 1, clientX: right - 20, clientY: top + height * 0.4 };
        plot.dispatchEvent(new PointerEvent('pointermove', init));
        return [before, path()];
    });
    assert.notEqual(first, second);
    await page.mouse.up();
    await eventually(async () => (await curve())[1][1] < 200, 'the dragged knot is not saved');
    await wait(300);
    assert.ok((await luma(0.25, 0.1)) < before - 20, 'the picture follows the curve');
    await press('#curve-straight');
    await untilCurve(ends);
});

test('knots are added, moved and removed by keys', async () => {
    await press('#curve-add');
    await untilCurve([
        [0, 0],
        [128, 128],
        [255, 255],
    ]);
    for (const key of ['ArrowLeft', 'ArrowUp', 'ArrowUp']) await page.keyboard.press(key);
    await untilCurve([
        [0, 0],
        [127, 130],
        [255, 255],
    ]);
    const { spline } = await get('/api/video/settings');
    const path = await ofElement('#curve .spline', (line) => line.getAttribute('d'));
    const drawn = path
        .slice(1)
        .split('L')
        .map((point) => 255 - Number(point.split(' ')[1]));
    assert.deepEqual(drawn, spline);
    // Beyond its neighbour it does not go.
    await drag(1, 400, 0);
    await page.mouse.up();
    await eventually(async () => (await curve())[1][0] === 254, 'the knot is not beside its neighbour');
    await page.keyboard.press('Delete');
    await untilCurve(ends);
    assert.ok(await ofElement('#curve-error', (error) => error.hidden));
    await page.focus('#exposure');
    await page.keyboard.press('ArrowLeft');
    await eventually(async () => (await get('/api/video/settings')).exposure === -0.1, 'the exposure is not saved');
    assert.match(await textOf('#exposure-words'), /−0.1 stops/);
});

test('changes are undone and made again, a drag at once', async () => {
    const before = await curve();
    await drag(0, 0, -60);
    await page.mouse.up();
    const level = await ofElement('#curve [data-knot="0"]', (knot) => Number(knot.getAttribute('aria-valuenow')));
    assert.ok(level > 20, 'the knot has not moved');
    await eventually(async () => (await curve())[0][1] === level, 'the curve is not saved');
    const after = await curve();
    await page.keyboard.down('Control');
    await page.keyboard.press('z');
    await untilCurve(before);
    await page.keyboard.press('z'); // the exposure
    await eventually(async () => (await get('/api/video/settings')).exposure === 0, 'the exposure is not undone');
    await page.keyboard.down('Shift');
    for (let i = 0; i < 2; ++i) await page.keyboard.press('Z');
    for (const key of ['Shift', 'Control']) await page.keyboard.up(key);
    await untilCurve(after);
    await press('#curve-straight');
    await untilCurve(ends);
});

test('the histogram is that of the picture', async () => {
    // All of it in the upper half, but for the time stamp.
    await post('/api/video', { curve: '0,200;255,255', stamp: 0 });
    const brightest = () => {
        const bars = document.querySelector('#curve .histogram').getAttribute('d').split('M').slice(1);
        const heights = bars.map((bar) => Math.abs(Number(/v([-.\d]+)/.exec(bar)[1])));
        return heights.indexOf(Math.max(...heights)) / heights.length;
    };
    await eventually(async () => (await page.evaluate(brightest)) > 0.7, 'the histogram is not of the bright picture');
    await post('/api/video', { curve: '0,0;255,255', stamp: 1 });
});
