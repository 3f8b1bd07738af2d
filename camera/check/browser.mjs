// Drives the page in a browser: draws a mask while the camera turns, finds it after a reload, and reads what goes wrong.
// CAMERA is the address of a running camera, BROWSER a Chromium. It turns that camera, and takes away the mask that it drew.
import assert from 'node:assert/strict';
import { mkdtempSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const puppeteer = createRequire(new URL('../../build/browser/', import.meta.url))('puppeteer-core');

const base = (process.env.CAMERA ?? 'http://127.0.0.1:8080').replace(/\/$/, '');
// What the browser keeps, it keeps here. Led by a pipe, it ends with this program, however that ends.
const rubbish = mkdtempSync(join(tmpdir(), 'camera-browser-'));
process.on('exit', () => rmSync(rubbish, { recursive: true, force: true }));
const browser = await puppeteer.launch({
  executablePath: process.env.BROWSER ?? '/usr/bin/chromium',
  args: process.getuid() === 0 ? ['--no-sandbox'] : [], // it refuses to run as root otherwise
  env: { ...process.env, TMPDIR: rubbish }, userDataDir: join(rubbish, 'profile'), pipe: true,
});
const page = await browser.newPage();
const faults = [];
page.on('pageerror', (error) => faults.push(error.message));
page.on('console', (line) => line.text().includes('Content Security Policy') && faults.push(line.text()));

const get = async (path) => (await fetch(base + path)).json();
const text = (place) => page.$eval(place, (one) => one.textContent);
const until = (what, ...rest) => page.waitForFunction(what, { timeout: 10000 }, ...rest);
const corners = (n) => until((start) => document.getElementById('masks-count').textContent.startsWith(start), n);
const still = async () => {
  for (let last = {}; ;) {
    const now = await get('/api/ptz');
    if (!now.moving && now.pan === last.pan) return now;
    last = now;
    await new Promise((done) => setTimeout(done, 200));
  }
};
const open = async () => {
  await page.goto(base + '/', { waitUntil: 'domcontentloaded' });
  await until(() => document.getElementById('position').textContent && document.getElementById('picture').naturalWidth);
};
const click = async (x, y) => {
  const box = await (await page.$('#view')).boundingBox();
  await page.mouse.click(box.x + x * box.width, box.y + y * box.height);
};
// How bright the picture is at a place: a mask is black.
const luma = (x, y) => page.evaluate((x, y) => {
  const picture = document.getElementById('picture');
  const canvas = new OffscreenCanvas(picture.naturalWidth, picture.naturalHeight), context = canvas.getContext('2d');
  context.drawImage(picture, 0, 0);
  const [r, g, b] = context.getImageData(x * canvas.width, y * canvas.height, 1, 1).data;
  return 0.3 * r + 0.6 * g + 0.1 * b;
}, x, y);

async function masks() {
  await open();
  await page.click('#home');
  await still();
  const before = (await get('/api/mask')).masks.length;
  await page.click('#masks-draw');
  for (const [i, [x, y]] of [[0.3, 0.3], [0.6, 0.3], [0.6, 0.7]].entries()) {
    await click(x, y);
    await corners(['One', '2', '3'][i]);
  }
  // By keyboard the camera turns, and the last corner is the one at the cross.
  const { pan, fov } = await still();
  await page.focus('#view');
  await page.keyboard.down('ArrowLeft');
  await new Promise((done) => setTimeout(done, 300));
  await page.keyboard.up('ArrowLeft');
  const turned = await still();
  assert.ok(turned.pan !== pan && turned.fov === fov, 'an arrow key turns the camera, and letting go stops it');
  await page.keyboard.press('Enter');
  await corners('4');
  await page.keyboard.press('Backspace');
  await corners('3');
  await page.keyboard.press('Enter');
  await corners('4');
  await page.click('#masks-keep');
  await until(() => !document.getElementById('masks-error').hidden);
  assert.match(await text('#masks-error'), /name/, 'a mask without a name is refused in words');
  await page.type('#masks-name', 'Window <b>&amp;');
  await page.click('#masks-keep');
  await until((n) => document.querySelectorAll('#masks-list li').length === n, before + 1);

  await open();
  await until((n) => document.querySelectorAll('#masks-list li').length === n, before + 1);
  const kept = (await get('/api/mask')).masks.at(-1), row = `#masks-list li[data-id="${kept.id}"]`;
  assert.equal(kept.name, 'Window <b>&amp;');
  assert.equal(await text(`${row} label`), kept.name, 'a name is text, whatever it is');
  assert.equal(kept.corners.length, 4);
  await page.click(`${row} button[aria-label^=Look]`);
  await still();
  await until((id) => document.querySelector(`[data-id="${id}"] input`).checked, kept.id);
  await new Promise((done) => setTimeout(done, 500));
  assert.ok(await luma(0.5, 0.5) < 8, 'the mask is black in the middle of the picture');
  await page.click(`${row} input`);
  await until(async (id) => !(await (await fetch('/api/mask')).json()).masks.find((one) => one.id === id).on, kept.id);
  await new Promise((done) => setTimeout(done, 500));
  assert.ok(await luma(0.5, 0.5) > 8, 'switched off, it hides nothing');
  await page.click(`${row} button[aria-label^=Delete]`);
  assert.equal((await get('/api/mask')).masks.length, before + 1, 'deleting asks once more');
  await page.click(`${row} button[aria-label^=Delete]`);
  await until((n) => document.querySelectorAll('#masks-list li').length === n, before);
}

async function recordings() {
  const before = (await get('/api/recordings')).recordings.length;
  await page.click('#recordings-snapshot');
  await until((n) => document.querySelectorAll('#recordings-list li').length === n, before + 1);
  await page.click('#recordings-list button');
  await until(() => document.getElementById('recordings-picture').naturalWidth === 1280);
  await page.click('#recordings-remove');
  await until((n) => document.querySelectorAll('#recordings-list li').length === n, before);
  await page.type('#recordings-pattern', '((');
  await page.keyboard.press('Enter');
  await until(() => /expression/.test(document.getElementById('recordings-error').textContent));
}

async function hull() {
  await until(() => / faces/.test(document.getElementById('hull-words').textContent));
  const seen = new Set(), painted = () => page.$eval('#hull', (canvas) => canvas.toDataURL());
  await page.focus('#hull');
  for (const key of ['ArrowLeft', 'ArrowUp', 'ArrowUp', 'ArrowLeft']) {
    seen.add(await painted());
    await page.keyboard.press(key);
  }
  assert.equal(seen.size, 4, 'arrow keys turn the hull');
}

// All three codes are played, and a voice is in each.
async function sound() {
  await page.evaluate(() => {
    const { start } = AudioBufferSourceNode.prototype;
    window.heard = { seconds: 0, peak: 0 };
    AudioBufferSourceNode.prototype.start = function (when) {
      window.heard.seconds += this.buffer.duration;
      for (const one of this.buffer.getChannelData(0)) window.heard.peak = Math.max(window.heard.peak, Math.abs(one));
      return start.call(this, when);
    };
  });
  await page.click('#sound-listen');
  for (const format of ['wav', 'alaw', 'ulaw']) {
    await page.select('#sound-format', format);
    await page.evaluate(() => { window.heard = { seconds: 0, peak: 0 }; });
    await until(() => window.heard.seconds > 1.5 && window.heard.peak > 0.2);
    assert.ok(await page.evaluate(() => window.heard.peak < 1));
  }
  await until(() => / dB/.test(document.getElementById('sound-words').textContent));
  await page.click('#sound-listen');
  await until(() => document.getElementById('sound-levels').hidden);
}

async function system() {
  await page.click('#system-digests');
  await until(() => document.querySelectorAll('#system-rows tr').length > 8);
  const { modules } = await get('/api/system/digests');
  assert.deepEqual(await page.$$eval('#system-rows td', (all) => all.map((one) => one.textContent)), modules.map((one) => one.digest));
}

async function names() {
  const all = (one) => [one, ...(one.children ?? []).flatMap(all)];
  const controls = all(await page.accessibility.snapshot()).filter(({ role }) => ['button', 'textbox', 'checkbox', 'radio', 'application'].includes(role));
  assert.ok(controls.length > 10);
  for (const one of controls) assert.ok(one.name, `${one.role} without a name`);
}

async function widths() {
  for (const width of [360, 390, 820, 1280]) {
    await page.setViewport({ width, height: 800 });
    const wide = await page.evaluate(() => document.documentElement.scrollWidth);
    assert.ok(wide <= width, `${width} pixels: the page is ${wide} wide`);
  }
}

// The camera can't be reached for a while: the page says so, and comes back by itself.
async function lost() {
  await page.setOfflineMode(true);
  await until(() => /lost/.test(document.getElementById('message').textContent));
  await page.setOfflineMode(false);
  await until(() => document.getElementById('message').hidden);
}

try {
  await page.setViewport({ width: 1280, height: 800 });
  const begun = performance.now();
  for (const each of [masks, recordings, hull, sound, system, names, widths, lost]) {
    await each();
    console.log(`browser: ${each.name}`);
  }
  console.log(`browser: ${Math.round((performance.now() - begun) / 1000)} s`);
  assert.deepEqual(faults, []);
} finally {
  await browser.close();
}
