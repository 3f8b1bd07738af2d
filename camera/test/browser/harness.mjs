// A browser with the page of a running camera: CAMERA is its address, BROWSER a Chromium or a Firefox. What goes wrong in
// the page is an error at the end.
import assert from 'node:assert/strict';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after } from 'node:test';
import puppeteer from 'puppeteer-core';

export const base = (process.env.CAMERA ?? 'http://127.0.0.1:8080').replace(/\/$/, '');

const directory = mkdtempSync(join(tmpdir(), 'camera-browser-'));
const executablePath = process.env.BROWSER ?? '/usr/bin/chromium';
export const isFirefox = executablePath.includes('firefox');
// Controlled through a pipe, Chromium ends with this program, however that ends. It refuses to run as root in a sandbox.
const chromium = {
    args: process.getuid() === 0 ? ['--no-sandbox'] : [],
    userDataDir: join(directory, 'profile'),
    pipe: true,
};
const browser = await puppeteer.launch({
    executablePath,
    env: { ...process.env, TMPDIR: directory },
    ...(isFirefox ? { browser: 'firefox' } : chromium),
});
export const page = await browser.newPage();
// Counts the orders that are under way; their answers can be held back for some milliseconds.
await page.evaluateOnNewDocument(() => {
    const { fetch } = window;
    window.orders = 0;
    window.heldBack = 0;
    window.fetch = async (address, options) => {
        const isOrder = options?.method === 'POST' || String(address).includes('token');
        window.orders += isOrder;
        try {
            const answer = await fetch(address, options);
            if (isOrder) await new Promise((done) => setTimeout(done, window.heldBack));
            return answer;
        } finally {
            window.orders -= isOrder;
        }
    };
});
const faults = [];
page.on('pageerror', (error) => faults.push(error.message));
page.on('console', (line) => {
    if (line.text().includes('Content Security Policy')) faults.push(line.text());
});
after(async () => {
    await browser.close();
    rmSync(directory, { recursive: true, force: true });
    assert.deepEqual(faults, []);
});

// Another client; `prepare` sets its page up before it is loaded.
export async function openAnother(prepare = () => {}) {
    const other = await browser.newPage();
    await prepare(other);
    await open(other);
    return other;
}

export const wait = (milliseconds) => new Promise((done) => setTimeout(done, milliseconds));
export const until = (predicate, ...args) => page.waitForFunction(predicate, { timeout: 20000 }, ...args);
// What a function says of the first such element, found and asked in one step: between two the page may draw it anew.
export const ofElement = (selector, ask, ...args) =>
    page.evaluate(`(${ask})(document.querySelector(${JSON.stringify(selector)}), ...${JSON.stringify(args)})`);
// Until an asynchronous function of this program returns true.
export async function eventually(predicate, text) {
    for (const end = performance.now() + 20000; !(await predicate()); await wait(50)) {
        assert.ok(performance.now() < end, text);
    }
}

// ---- Requests

export const get = async (path) => (await fetch(base + path)).json();
export const post = (path, fields) =>
    page.evaluate(async (path, fields) => (await import('/server.js')).post(path, fields), path, fields);

// The state of the camera at rest, once it has had the page's orders.
export async function rest() {
    const end = performance.now() + 60000;
    for (let last = {}; ; await wait(200)) {
        assert.ok(performance.now() < end, 'the camera does not come to rest');
        const orders = await page.evaluate(() => window.orders);
        const state = await get('/api/ptz');
        if (orders === 0 && !state.moving && state.pan === last.pan) return state;
        last = state;
    }
}

// ---- The page

// A page that is left before would complain that its modules do not load.
const untilLoaded = (of) =>
    of.waitForFunction(
        () => document.getElementById('position').textContent && !document.getElementById('live').hidden,
    );

export async function open(of = page) {
    await of.goto(`${base}/`, { waitUntil: 'domcontentloaded' });
    await untilLoaded(of);
}

// Between a phone and a desktop the page is loaded anew.
export async function setDevice(viewport) {
    await page.setViewport(viewport);
    await untilLoaded(page);
}

// Presses what is there to be pressed, found in the same step: what arrives meanwhile may move it.
export const press = (selector) =>
    ofElement(selector, (control) => {
        if (!control.checkVisibility()) throw new Error(`${control.id} is hidden`);
        control.focus();
        control.click();
    });
export const openPanel = (name) =>
    ofElement(`#${name}-title`, (title) => {
        title.closest('details').open = true;
    });
export const fill = (selector, value) =>
    ofElement(
        selector,
        (field, value) => {
            field.value = value;
        },
        value,
    );
export const textOf = (selector) => ofElement(selector, (element) => element.textContent);
export const untilText = (id, pattern) =>
    until((id, source) => new RegExp(source).test(document.getElementById(id).textContent), id, pattern.source);
export const untilCount = (selector, count) =>
    until((selector, count) => document.querySelectorAll(selector).length === count, selector, count);

// Where the picture fills the window it is at the top of the page.
export async function showPicture() {
    await page.evaluate(() => scrollTo(0, 0));
    await until(() => !document.querySelector('.away'));
}

export async function middleOf(selector) {
    const { x, y, width, height } = await (await page.$(selector)).boundingBox();
    return [x + width / 2, y + height / 2];
}

// At a share of the picture's width and height.
export async function clickPicture(x, y) {
    await showPicture();
    const box = await (await page.$('#view')).boundingBox();
    await page.mouse.click(box.x + x * box.width, box.y + y * box.height);
}

// The brightness of the shown picture at such a place; a mask is black.
export const luma = (x, y) =>
    page.evaluate(
        async (x, y) => {
            const { live } = await import('/camera.js');
            const shown = new Promise((done) => live.element.addEventListener('viewchange', done, { once: true }));
            live.refresh();
            await shown;
            const canvas = document.getElementById('live');
            const copy = new OffscreenCanvas(canvas.width, canvas.height).getContext('2d');
            copy.drawImage(canvas, 0, 0);
            const [r, g, b] = copy.getImageData(x * canvas.width, y * canvas.height, 1, 1).data;
            return 0.3 * r + 0.6 * g + 0.1 * b;
        },
        x,
        y,
    );

await page.setViewport({ width: 1280, height: 800 });
await open();
// By day, so that things in the picture can be told apart.
await post('/api/video', { light: 'day' });
