// The map of all directions: what it shows lies where it is, a click looks there, corners of masks are dragged.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { eventually, get, ofElement, page, post, press, rest, until, untilCount, wait } from './harness.mjs';

const angleBetween = (a, b) => Math.abs(((a - b + 540) % 360) - 180);

// The place of a direction on the screen: home is in the middle.
async function placeOf(pan, tilt) {
    const { home } = await get('/api/ptz');
    const { x, y, width, height } = await (await page.$('#sphere')).boundingBox();
    const right = (((pan - home.pan + 180) % 360) + 360) % 360;
    return [x + (right / 360) * width, y + ((90 - tilt) / 180) * height];
}

// Runs in the page: directions of the outlined view, and its brightness at a direction.
async function readOutline() {
    const { live, ptz } = await import('/camera.js');
    const { overlay } = await import('/modules.js');
    const path = document.querySelector('#sphere .seen').getAttribute('d').split('M')[3];
    const west = ptz.state.home.pan - 180;
    const points = path
        .replace('Z', '')
        .split('L')
        .map((point) => point.split(' ').map(Number));
    return points
        .filter(([, y]) => y > 0 && y < 180) // around a pole it is closed along the map's border
        .map(([x, y]) => overlay.project(live.view, west + x, 90 - y))
        .filter((at) => at);
}
const brightness = async (pan, tilt) => {
    const { home } = await get('/api/ptz');
    return ofElement(
        '#sphere-picture',
        (canvas, right, down) => {
            const [r, g, b] = canvas
                .getContext('2d')
                .getImageData(right * canvas.width, down * canvas.height, 1, 1).data;
            return r + g + b;
        },
        ((((pan - home.pan + 180) % 360) + 360) % 360) / 360,
        (90 - tilt) / 180,
    );
};

test('it is open, and a click looks there', async () => {
    assert.ok(await ofElement('#sphere-panel', ({ open }) => open));
    for (const [pan, tilt] of [
        [120, 10],
        [300, -30],
    ]) {
        await page.mouse.click(...(await placeOf(pan, tilt)));
        await eventually(async () => angleBetween((await get('/api/ptz')).pan, pan) < 2, 'the camera does not turn');
        const state = await rest();
        assert.ok(angleBetween(state.pan, pan) < 1 && Math.abs(state.tilt - tilt) < 1, `${state.pan} ${state.tilt}`);
    }
});

test('the outline is that of the picture, around the zenith as well', async () => {
    for (const tilt of [-30, 80]) {
        await post('/api/ptz', { action: 'move', pan: 200, tilt, fov: 62 });
        await rest();
        await wait(1500);
        const outline = await page.evaluate(readOutline);
        assert.ok(outline.length > 50, `only ${outline.length} points`);
        for (const { x, y } of outline.filter(({ x, y }) => Math.abs(x - 640) < 2000 && Math.abs(y - 360) < 2000)) {
            const off = Math.max(Math.abs(x - 639.5) - 640, Math.abs(y - 359.5) - 360);
            assert.ok(Math.abs(off) < 12, `a point is ${off.toFixed(1)} pixels off the border`);
        }
    }
});

test("a mask is black on it, and its corner's drag moves it; an undo moves it back", async () => {
    const corners = '60,20;90,20;90,-10;60,-10';
    assert.ok((await brightness(75, 5)) > 60, 'without a mask it is bright');
    await post('/api/mask', { action: 'add', name: 'Map', corners });
    await until(() => document.querySelectorAll('#sphere .corner').length === 4);
    await eventually(async () => (await brightness(75, 5)) === 0, 'the mask is not black');
    assert.ok((await brightness(100, 5)) > 60, 'beside it nothing is hidden');
    const cornersNow = async () => (await get('/api/mask')).masks.at(-1).corners;
    const before = await cornersNow();
    await page.mouse.move(...(await placeOf(90, 20)));
    await page.mouse.down();
    await page.mouse.move(...(await placeOf(110, 30)), { steps: 3 });
    await eventually(async () => (await brightness(95, 15)) === 0, 'the mask does not follow');
    await page.mouse.up();
    await eventually(async () => Math.abs((await cornersNow())[1][0] - 110) < 2, 'the corner is not saved');
    const unmoved = (corners) => corners.filter((_, index) => index !== 1);
    assert.deepEqual(unmoved(await cornersNow()), unmoved(before));
    await until(() => !document.getElementById('undo').disabled);
    await press('#undo');
    await eventually(async () => JSON.stringify(await cornersNow()) === JSON.stringify(before), 'it is not undone');
    await post('/api/mask', { action: 'remove', id: (await get('/api/mask')).masks.at(-1).id });
    await until(() => !document.querySelector('#sphere .corner'));
});

test('saved views are on it, and the way that a patrol takes', async () => {
    const views = [
        ['Low', 10, -20],
        ['High', 150, 40],
    ];
    for (const [name, pan, tilt] of views) await post('/api/ptz', { action: 'save', name, pan, tilt, fov: 60 });
    await untilCount('#sphere .preset', 2);
    await page.mouse.click(...(await placeOf(10, -20)));
    await eventually(async () => angleBetween((await rest()).pan, 10) < 0.01, 'the view is not recalled');
    const way = await ofElement('#sphere .way', (path) =>
        path
            .getAttribute('d')
            .split(/[ML]/)
            .slice(1)
            .map((point) => point.split(' ').map(Number)),
    );
    await post('/api/ptz', { action: 'patrol', dwell: 1 });
    const { home } = await get('/api/ptz');
    let moving = 0;
    for (let i = 0; i < 60; ++i, await wait(50)) {
        const { pan, tilt, moving: isMoving } = await get('/api/ptz');
        moving += isMoving;
        const at = [(((pan - home.pan + 180) % 360) + 360) % 360, 90 - tilt];
        const off = Math.min(...way.map(([x, y]) => Math.hypot(x - at[0], y - at[1])));
        assert.ok(off < 4, `on patrol it is ${off.toFixed(1)} degrees off its way`);
    }
    assert.ok(moving > 5, 'the camera was hardly on its way');
    await post('/api/ptz', { action: 'limits', left: 300, right: 200, low: -40, high: 60 });
    await eventually(
        () => ofElement('#sphere .beyond', (path) => path.getAttribute('d') !== ''),
        'no limits are shown',
    );
    await post('/api/ptz', { action: 'limits', left: 0, right: 0, low: -90, high: 90 });
    for (const { id } of (await get('/api/ptz')).presets) await post('/api/ptz', { action: 'forget', id });
});
