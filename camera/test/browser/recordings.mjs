// Recordings: taken, opened, deleted, found by a search, deleted when they are old.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { eventually, fill, get, openPanel, page, textOf, until, untilCount, untilText } from './harness.mjs';

const items = '#recordings-list li';
const find = async (pattern) => (await get(`/api/recordings?${new URLSearchParams({ pattern })}`)).recordings.length;
const pressTwice = async (selector) => {
    await page.click(selector);
    await page.click(selector);
};

test('a snapshot is taken, opened and deleted', async () => {
    await page.click('#recordings-snapshot');
    await untilCount(items, 1);
    await page.click(`${items} button`);
    await until(() => document.getElementById('recordings-picture').naturalWidth === 1280);
    const { y, height } = await (await page.$('#recordings-show')).boundingBox();
    assert.ok(Math.abs(y + height / 2 - 400) < 2, `the dialog is in the middle of the window, not at ${y}`);
    await pressTwice('#recordings-remove');
    await untilCount(items, 0);
});

test('an old one is found by its date, and expires', async () => {
    await openPanel('system');
    await fill('#clock', '1990-05-06T07:08:09');
    await page.click('#clock-form button');
    await untilText('system-clock', /^1990-05-06/);
    await page.click('#recordings-snapshot');
    await eventually(async () => (await find('1990-05')) === 1, 'the snapshot of 1990 is not found');
    await page.click('#clock-reset');
    await untilText('system-clock', /^(?!1990)/);
    await page.click('#recordings-more');
    await fill('#recordings-pattern', '1990-0?-*snap');
    await page.click('#recordings-find button');
    await untilCount(items, 1);
    await fill('#recordings-pattern', '1991');
    await page.click('#recordings-find button');
    await untilText('recordings-none', /^Nothing matches/);
    await fill('#recordings-pattern', '1990');
    await fill('#recordings-days', '3650');
    await pressTwice('#recordings-drop');
    await untilCount(items, 0);
    assert.equal((await get('/api/recordings')).recordings.length, 0);
});

test('a wrong number of days is refused, and marked', async () => {
    await fill('#recordings-days', 'many');
    await pressTwice('#recordings-drop');
    await untilText('recordings-old', /days/);
    assert.equal(await page.$eval('#recordings-days', (field) => field.getAttribute('aria-invalid')), 'true');
    assert.match(await textOf('#recordings-old'), /number/);
});
