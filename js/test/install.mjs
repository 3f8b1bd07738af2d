// Installs the packed package into a bare directory, with the tests and the programs of its README beside it.
// usage: node install.mjs PACKAGE.tgz DIRECTORY
import { execFileSync } from 'node:child_process';
import { copyFileSync, mkdirSync, readFileSync, readdirSync, rmSync, symlinkSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';

const [tarball, directory] = process.argv.slice(2),
    tests = import.meta.dirname ?? new URL('.', import.meta.url).pathname,
    write = (name, text) => writeFileSync(join(directory, name), text);

rmSync(directory, { recursive: true, force: true });
mkdirSync(directory, { recursive: true });
write('package.json', '{ "type": "module", "private": true }');
const options = ['--offline', '--no-audit', '--no-fund', '--ignore-scripts'];
execFileSync('npm', ['install', ...options, tarball], { cwd: directory, stdio: 'inherit' });
symlinkSync('node_modules/vela', join(directory, 'vela'));
for (const name of readdirSync(tests)) if (/\.m?js$/.test(name)) copyFileSync(join(tests, name), join(directory, name));

const readme = readFileSync(join(directory, 'vela/README.md'), 'utf8'),
    [first, masks, page, worklet] = [...readme.matchAll(/```js\n([^]*?)```/g)].map(([, program]) => program);
write('first.mjs', first);
write('masks.mjs', masks);
write('readme-page.js', `${page.replace("'vela'", "'./vela/index.js'")}\nexport { node };`);
write('telephone.js', worklet);
