// Checksums and encodings; names of controls, widths of the page, and a lost connection.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { fill, get, ofElement, openPanel, page, press, textOf, until, untilCount, untilText } from './harness.mjs';

test('the page and the camera compute the same checksums', async () => {
    const { modules } = await get('/api/system/checksums');
    await openPanel('checksums');
    await untilCount('#checksums-rows tr', modules.length);
    assert.match(await textOf('#checksums-words'), /^All 12 modules give the same/);
    for (const column of [2, 3]) {
        const selector = `#checksums-rows td:nth-child(${column})`;
        const shown = await page.$$eval(selector, (all) => all.map((cell) => cell.textContent));
        assert.deepEqual(
            shown,
            modules.map(({ checksum }) => checksum),
        );
    }
});

test('URLs are parsed, texts encoded', async () => {
    await openPanel('codes');
    await page.type('#codes-text', 'no URL');
    await page.keyboard.press('Enter');
    await untilText('codes-error', /no web address/);
    await fill('#codes-text', 'rtsp://me@camera:554/live?a=1%3C2');
    await page.keyboard.press('Enter');
    await untilText('codes-answer', /554/);
    await until(() => document.getElementById('codes-error').hidden);
    assert.match(await textOf('#codes-answer'), /a =1<2/);
    await press('#codes-snapshot');
    await until(() => atob(document.getElementById('codes-base64').value).startsWith('\xff\xd8\xff'));
});

test('every control has a name', async () => {
    await page.$$eval('details', (all) => {
        for (const details of all) details.open = true;
    });
    const flatten = (node) => [node, ...(node.children ?? []).flatMap(flatten)];
    const roles = ['button', 'textbox', 'checkbox', 'radio', 'application', 'slider', 'combobox', 'region', 'group'];
    const controls = flatten(await page.accessibility.snapshot()).filter(({ role }) => roles.includes(role));
    assert.ok(controls.length > 60, `only ${controls.length} controls`);
    for (const control of controls) assert.ok(control.name, `a ${control.role} without a name`);
});

test('nothing is wider than the window', async () => {
    for (const width of [360, 390, 820, 1280]) {
        await page.setViewport({ width, height: 800 });
        const needed = await page.evaluate(() => document.documentElement.scrollWidth);
        assert.ok(needed <= width, `at ${width} pixels the page is ${needed} wide`);
    }
});

test('a lost connection is reported, and found again', async () => {
    await page.setOfflineMode(true);
    await untilText('message', /No connection to the camera since \d/);
    assert.match(await ofElement('#live', (picture) => getComputedStyle(picture).filter), /grayscale/);
    await page.setOfflineMode(false);
    await until(() => document.getElementById('message').hidden);
});
