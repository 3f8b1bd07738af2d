// Installs the packed package into a bare folder, and uses it there: in Node, a page, a worker and audio worklets.
// usage: node driver.mjs PACKAGE.tgz FOLDER   BROWSER is a Chromium; build/browser has what drives it
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { cpSync, mkdirSync, readFileSync, rmSync, symlinkSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { createRequire } from 'node:module';
import { extname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

const [, , tarball, folder] = process.argv, here = fileURLToPath(new URL('.', import.meta.url));
const root = join(here, '../../..'), run = (...command) => execFileSync(command[0], command.slice(1), { cwd: folder, encoding: 'utf8', stdio: ['ignore', 'pipe', 'inherit'] });

rmSync(folder, { recursive: true, force: true });
mkdirSync(folder, { recursive: true });
writeFileSync(join(folder, 'package.json'), '{ "type": "module", "private": true }');
run('npm', 'install', '--offline', '--no-audit', '--no-fund', '--ignore-scripts', tarball);
for (const name of ['common.js', 'node.mjs', 'page.js', 'worker.js', 'worklet.js']) cpSync(join(here, name), join(folder, name));
cpSync(join(root, 'camera/page/digests.js'), join(folder, 'digests.js'));
symlinkSync('node_modules/vela', join(folder, 'vela'));

const [first, masks, page, worklet] = [...readFileSync(join(folder, 'vela/README.md'), 'utf8').matchAll(/```js\n([^]*?)```/g)].map((one) => one[1]);
writeFileSync(join(folder, 'first.js'), first);
writeFileSync(join(folder, 'masks.js'), masks);
writeFileSync(join(folder, 'readme-page.js'), `${page.replace("'vela'", "'./vela/index.js'")}\nexport { node };`);
writeFileSync(join(folder, 'telephone.js'), worklet);
const [position, colours, samples] = run('node', 'first.js').trim().split('\n');
assert.match(position, /^\{ x: \d+, y: \d+ \}$/);
assert.match(colours, /^\d+ (true|false)$/);
assert.equal(samples, '8017'); // a second, and the kernel's half
assert.equal(run('node', 'masks.js').trim(), '215'); // rows 253 to 467: 5 degrees up and down, at 1280 pixels for 60
run('tsc', '--noEmit', '--allowJs', '--checkJs', '--strict', '--target', 'es2022', '--lib', 'es2022,dom', '--module', 'node16', 'first.js', 'masks.js');
console.log("package: its README's programs run, and fit its declarations");

const node = JSON.parse(run('node', 'node.mjs'));
console.log(`package: in Node; a million calls of a worklet left ${node.used} bytes`);

const types = { '.js': 'text/javascript', '.wasm': 'application/wasm', '.html': 'text/html' };
const server = createServer((request, response) => {
  const path = new URL(request.url, 'http://host').pathname;
  response.setHeader('Content-Type', types[extname(path)] ?? 'text/html');
  response.setHeader('Content-Security-Policy', "default-src 'none'; script-src 'self' 'wasm-unsafe-eval'; connect-src 'self'");
  if (path === '/') return response.end('<!doctype html><title>check</title><script type="module" src="/page.js"></script>');
  try {
    response.end(readFileSync(join(folder, path)));
  } catch {
    response.writeHead(404).end();
  }
});
await new Promise((done) => server.listen(0, '127.0.0.1', done));
const puppeteer = createRequire(join(root, 'build/browser/'))('puppeteer-core');
const browser = await puppeteer.launch({ executablePath: process.env.BROWSER ?? '/usr/bin/chromium', args: ['--no-sandbox'], protocolTimeout: 600000 });
try {
  const tab = await browser.newPage(), faults = [];
  tab.on('pageerror', (error) => faults.push(error.message));
  tab.on('console', (line) => faults.push(line.text()));
  tab.on('requestfailed', (request) => faults.push(request.url()));
  await tab.goto(`http://127.0.0.1:${server.address().port}/`);
  await tab.waitForFunction(() => 'result' in globalThis, { timeout: 120000 });
  const { error, digests, telephone, vectors } = await tab.evaluate(() => globalThis.result);
  assert.equal(error, undefined);
  assert.ok(vectors, 'Chromium has vectors');
  console.log(`package: in a page, a worker and worklets, one of which made ${telephone} samples`);
  const all = { ...node.digests, ...digests }, [expected] = Object.values(all);
  for (const [where, one] of Object.entries(all)) assert.deepEqual(one, expected, where);
  console.log(`package: ${Object.keys(expected).length} digests are the same in ${Object.keys(all).join('; ')}`);
  assert.deepEqual(faults.filter((one) => !one.includes('favicon')), []);
} finally {
  await browser.close();
  server.close();
}
