// Times a package's hull of a cloud of cases.cpp, in a process that can be ended: prints the best processor time in
// seconds.
// usage: node hulls.mjs FOLDER-OF-PACKAGES PACKAGE cube|sphere POINTS
import { createRequire, register } from 'node:module';
import { resolve } from 'node:path';

const [packages, name, shape, points] = process.argv.slice(2);
// quickhull3d is made for bundlers: its files name each other without their ending.
register('data:text/javascript,' + encodeURIComponent('export const resolve = (name, context, next) => ' +
  'next(name, context).catch(() => next(`${name}.js`, context));'));
const run = name === 'quickhull3d'
  ? (await import(resolve(packages, 'node_modules/quickhull3d/dist/index.js'))).default
  : createRequire(resolve(packages, 'package.json'))(name);

let state = 2463534242;
const next = () => {
  state ^= state << 13;
  state ^= state >>> 17;
  state ^= state << 5;
  return state >>> 11 & 255;
};
const count = Number(points);
const cloud = Array.from({ length: count }, shape === 'cube' ? () => [next(), next(), next()] : (_, i) => {
  const a = i * 2.399963, z = 1 - (2 * i + 1) / count, r = Math.sqrt(1 - z * z);
  return [r * Math.cos(a), r * Math.sin(a), z].map((one) => Math.floor(128 + 127 * one));
});

let best = Infinity;
for (let round = 0, begin = performance.now(); round < 8 && performance.now() < begin + 5000; ++round) {
  const start = process.cpuUsage();
  run(cloud);
  const { user, system } = process.cpuUsage(start);
  best = Math.min(best, (user + system) / 1e6);
}
console.log(best);
