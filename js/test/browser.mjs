// The package in Chromium: in a page with a strict Content-Security-Policy, a worker and audio worklets, with the results
// of Node. Run like node.mjs; VELA_ROOT is where puppeteer-core is installed.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { createRequire } from 'node:module';
import { extname } from 'node:path';
import { test } from 'node:test';
import { load } from 'vela';
import { sample } from './sample.js';

const puppeteer = createRequire(`${process.env.VELA_ROOT}/`)('puppeteer-core');
const types = { '.js': 'text/javascript', '.wasm': 'application/wasm' };
const policy = "default-src 'none'; script-src 'self' 'wasm-unsafe-eval'; connect-src 'self'";

function serve(request, response) {
    const { pathname } = new URL(request.url, 'http://host');
    response.setHeader('Content-Type', types[extname(pathname)] ?? 'text/html');
    response.setHeader('Content-Security-Policy', policy);
    if (pathname === '/') return response.end('<!doctype html><script type="module" src="/page.js"></script>');
    try {
        response.end(readFileSync(`.${pathname}`));
    } catch {
        response.writeHead(404).end();
    }
}

test('in a page, a worker and worklets', { timeout: 180000 }, async (t) => {
    const server = createServer(serve);
    await new Promise((done) => server.listen(0, '127.0.0.1', done));
    t.after(() => server.close());
    const browser = await puppeteer.launch({ executablePath: process.env.BROWSER, args: ['--no-sandbox'] });
    t.after(() => browser.close());
    const page = await browser.newPage(),
        errors = [];
    page.on('pageerror', (error) => errors.push(error.message));
    page.on('console', (line) => errors.push(line.text()));
    await page.goto(`http://127.0.0.1:${server.address().port}/`);
    await page.waitForFunction(() => 'result' in globalThis, { timeout: 120000 });
    const result = await page.evaluate(() => globalThis.result);
    assert.equal(result.error, undefined);
    assert.deepEqual(
        errors.filter((text) => !text.includes('favicon') && !text.includes('404')),
        [],
    );
    assert.ok(result.hasVectors);
    assert.equal(result.telephone, 811); // of 38 blocks of 128
    assert.deepEqual(result.refused, {
        random: 'no random source available: pass { random }',
        fetch: 'fetch is not available: pass a compiled module to instantiate()',
    });
    assert.ok(result.projected.x > 640 && result.projected.y < 360);
    const expected = JSON.parse(JSON.stringify(sample(await load())));
    assert.deepEqual(Object.keys(result.samples), ['page', 'page, without vectors', 'worker', 'worklet']);
    for (const [host, one] of Object.entries(result.samples)) assert.deepEqual(one, expected, host);
});
