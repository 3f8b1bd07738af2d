// Recordings: taken, opened, deleted, found by a search, deleted when they are old.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
    eventually,
    fill,
    get,
    ofElement,
    openPanel,
    page,
    post,
    press,
    textOf,
    until,
    untilCount,
    untilText,
    wait,
} from './harness.mjs';

const items = '#recordings-list li';
const find = async (pattern) => (await get(`/api/recordings?${new URLSearchParams({ pattern })}`)).recordings.length;
const pressTwice = async (selector) => {
    await press(selector);
    await press(selector);
};

test('a snapshot is taken, opened and deleted', async () => {
    await press('#recordings-snapshot');
    await untilCount(items, 1);
    await press(`${items} button`);
    await until(() => document.querySelector('#recordings-picture img')?.naturalWidth === 1280);
    const { y, height } = await (await page.$('#recordings-show')).boundingBox();
    assert.ok(Math.abs(y + height / 2 - 400) < 2, `the dialog is in the middle of the window, not at ${y}`);
    await pressTwice('#recordings-remove');
    await untilCount(items, 0);
    await until(() => !document.getElementById('recordings-show').open);
});

test('a clip plays at its own speed, with a pause and a timeline', async () => {
    await press('#recordings-clip');
    await untilCount(items, 1);
    await press(`${items} button`);
    const read = () =>
        page.evaluate(() => {
            const { currentTime, duration, paused, controls } =
                document.querySelector('#recordings-picture video') ?? {};
            return { currentTime, duration, paused, controls };
        });
    await eventually(async () => (await read()).currentTime > 0.2, 'the clip does not play');
    const [before, begun] = [await read(), performance.now()];
    await wait(1000);
    const after = await read();
    const speed = (1000 * (after.currentTime - before.currentTime)) / (performance.now() - begun);
    assert.ok(Math.abs(speed - 1) < 0.3 && Math.abs(after.duration - 5) < 0.5 && after.controls, JSON.stringify(after));
    await press('#recordings-close');
    await until(() => !document.querySelector('#recordings-picture video'));
    // The same for AVI files, which are what a camera without ffmpeg records.
    await page.evaluate(async () => {
        const { show } = await import('/player.js');
        const header = new Uint8Array(56);
        new DataView(header.buffer).setUint32(32, 100000, true);
        const jpeg = await (await fetch('/api/video?width=64&height=36')).blob();
        const original = window.fetch;
        window.fetch = async () => new Response(new Blob([header, ...new Array(20).fill(jpeg)]));
        document.getElementById('recordings-show').showModal();
        await show('clip.avi', 'video/x-msvideo', 'A clip');
        window.fetch = original;
    });
    const position = () => ofElement('#recordings-picture input', (line) => [Number(line.value), Number(line.max)]);
    await eventually(async () => (await position())[0] > 3, 'the pictures do not change');
    await press('#recordings-picture button');
    const [paused, last] = await position();
    assert.equal(last, 19);
    await wait(300);
    assert.equal((await position())[0], paused);
    assert.match(await textOf('#recordings-picture output'), / of 2.0 s/);
    await press('#recordings-close');
    const { recordings } = await get('/api/recordings');
    for (const { id } of recordings) await post('/api/recordings', { action: 'remove', id });
    await untilCount(items, 0);
});

test('an old one is found by its date, and expires', async () => {
    await openPanel('system');
    await fill('#clock', '1990-05-06T07:08:09');
    await press('#clock-form button');
    await untilText('system-clock-value', /^1990-05-06/);
    await press('#recordings-snapshot');
    await eventually(async () => (await find('1990-05')) === 1, 'the snapshot of 1990 is not found');
    await press('#clock-reset');
    await untilText('system-clock-value', /^(?!1990)/);
    await press('#recordings-more');
    await fill('#recordings-pattern', '1990-0?-*snap');
    await press('#recordings-find button');
    await untilCount(items, 1);
    await fill('#recordings-pattern', '1991');
    await press('#recordings-find button');
    await untilText('recordings-none', /^Nothing matches/);
    await fill('#recordings-pattern', '1990');
    await fill('#recordings-days', '3650');
    await pressTwice('#recordings-drop');
    await eventually(async () => (await get('/api/recordings')).recordings.length === 0, 'it does not expire');
    await untilCount(items, 0);
});

test('a wrong number of days is refused, and marked', async () => {
    await fill('#recordings-days', 'many');
    await pressTwice('#recordings-drop');
    await untilText('recordings-old', /older than: a number from 0 to 3650/);
    assert.equal(await ofElement('#recordings-days', (field) => field.getAttribute('aria-invalid')), 'true');
    assert.match(await textOf('#recordings-old'), /number/);
});
