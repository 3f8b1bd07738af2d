// Measurements: samples by pointer and keyboard, the surface and the line.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { clickPicture, openPanel, page, press, showPicture, until, untilCount, untilText } from './harness.mjs';

test('samples of the exposure are taken, fitted and removed', async () => {
    await openPanel('fit');
    await press('#fit-take');
    for (const [x, y] of [
        [0.1, 0.1],
        [0.5, 0.12],
        [0.9, 0.1],
        [0.12, 0.4],
        [0.9, 0.44],
    ])
        await clickPicture(x, y);
    await untilText('fit-words', /^5 samples yet/);
    await page.keyboard.press('ArrowDown');
    await untilText('fit-words', /^Cross at 640, 370/);
    await page.keyboard.press('Enter');
    await untilCount('#fit-rows tr', 6);
    assert.equal(await page.$$eval('#fit-rows th', (all) => all.at(-1).textContent), '640, 370');
    await clickPicture(0.25, 0.4); // a dark roof, which no even light explains
    await untilCount('#fit-rows tr', 7);
    const residuals = await page.$$eval('#fit-rows td:last-child', (all) => all.map((cell) => cell.textContent));
    assert.ok(
        residuals.some((text) => Number(text.replace('−', '-')) !== 0),
        'seven samples leave residuals',
    );
    assert.equal(await page.$$eval('#fit-sketch .stem', (all) => all.length), 7);
    await press('#fit-back');
    await untilCount('#fit-rows tr', 6);
});

test('a click takes the pixel under the pointer', async () => {
    await showPicture();
    const { x, width } = await (await page.$('#view')).boundingBox();
    const shown = await page.$$eval('#fit-rows th', (all) => all.map((cell) => Number(cell.textContent.split(',')[0])));
    const scale = 1280 / width;
    for (const [i, share] of [0.1, 0.5, 0.9, 0.12, 0.9].entries()) {
        const pointer = Math.floor(x + share * width) - x; // at whole pixels of the screen
        assert.ok(Math.abs(shown[i] - Math.floor(pointer * scale)) <= 1, `${shown[i]} of ${pointer * scale}`);
    }
});

test('the line of the lens replaces the surface', async () => {
    await press('[name=fit][value=lens]');
    await untilText('fit-words', /for 1000 pixels/);
    await press('#fit-clear');
    await untilText('fit-words', /^No samples/);
    await until(() => !document.querySelector('#fit-sketch circle'));
    await press('#fit-take');
});
