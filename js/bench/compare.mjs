// Times the cases natively, as WebAssembly, and what a page would otherwise take: plain JavaScript on typed arrays, the
// engine's own functions, packages. Rounds of all are run in turn and the best of each counts, in processor time: what else the
// machine does changes nothing.
// usage: node compare.mjs NATIVE FOLDER-OF-MODULES [FOLDER-OF-PACKAGES]     without packages, one round
import { execFileSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

const [native, modules, packages] = process.argv.slice(2);
const times = new Map(); // case -> column -> seconds
const note = (name, column, seconds) => {
  if (!times.has(name)) times.set(name, new Map());
  const row = times.get(name);
  row.set(column, Math.min(seconds, row.get(column) ?? Infinity));
};
const time = (name, column, run, rounds = 4) => {
  for (let i = 0; i < rounds; ++i) {
    const start = process.cpuUsage();
    run();
    const { user, system } = process.cpuUsage(start);
    note(name, column, (user + system) / 1e6);
  }
};

const env = { fail() { throw new Error('a precondition does not hold'); } };
const built = ['cases', 'cases-simd'].map((name) => {
  const { exports } = new WebAssembly.Instance(new WebAssembly.Module(readFileSync(join(modules, `${name}.wasm`))), { env });
  exports._initialize();
  return exports;
});
const textAt = (vela, at) => {
  const bytes = new Uint8Array(vela.memory.buffer);
  return Buffer.from(bytes.subarray(at, bytes.indexOf(0, at))).toString();
};

// ---- What else there is

let state = 2463534242;
const next = () => {
  state ^= state << 13;
  state ^= state >>> 17;
  state ^= state << 5;
  return state >>> 11;
};
const noise = (Type, count) => Type.from({ length: count }, next);

// Polyphase rows of a Lanczos kernel of two lobes, in 16-bit integers with 14 fraction bits.
function resampler(outRate, inRate) {
  const gcd = (a, b) => (b ? gcd(b, a % b) : a), L = outRate / gcd(outRate, inRate), M = inRate / gcd(outRate, inRate);
  const reach = 2 * Math.max(L, M), taps = Math.ceil((2 * reach - 1) / L), rows = new Int16Array(L * taps);
  const sinc = (x) => (x ? Math.sin(Math.PI * x) / (Math.PI * x) : 1);
  for (let phase = 0; phase < L; ++phase)
    for (let tap = 0, k = phase; k < 2 * reach - 1; ++tap, k += L) {
      const x = (k - reach + 1) / Math.max(L, M);
      rows[phase * taps + taps - 1 - tap] = Math.round(16384 * Math.min(1, L / M) * sinc(x) * sinc(x / 2));
    }
  return (input, output) => {
    let made = 0;
    for (let newest = taps - 1, phase = 0; newest < input.length;) {
      let sum = 0;
      for (let k = 0, row = phase * taps, at = newest - taps + 1; k < taps; ++k) sum = (sum + rows[row + k] * input[at + k]) | 0;
      sum >>= 14;
      output[made++] = sum > 32767 ? 32767 : sum < -32768 ? -32768 : sum;
      for (phase += M; phase >= L; phase -= L) ++newest;
    }
    return made;
  };
}

const limited = (value) => (value < 0 ? 0 : value > 255 ? 255 : value);
function unpack(from, to) {
  for (let s = 0, d = 0; s < from.length; s += 4, d += 6) {
    const cb = from[s] - 128, cr = from[s + 2] - 128;
    const red = 5742 * cr + 2048, green = -1409 * cb - 2925 * cr + 2048, blue = 7258 * cb + 2048;
    for (let k = 0; k < 2; ++k) {
      const luma = from[s + 1 + 2 * k] << 12;
      to[d + 3 * k] = limited((luma + red) >> 12);
      to[d + 3 * k + 1] = limited((luma + green) >> 12);
      to[d + 3 * k + 2] = limited((luma + blue) >> 12);
    }
  }
}
function toYcc(from, to) {
  for (let i = 0; i < from.length; i += 3) {
    const r = from[i], g = from[i + 1], b = from[i + 2];
    to[i] = limited((1051 * r + 2064 * g + 401 * b + 67584) >> 12);
    to[i + 1] = limited((-607 * r - 1191 * g + 1799 * b + 526336) >> 12);
    to[i + 2] = limited((1799 * r - 1506 * g - 292 * b + 526336) >> 12);
  }
}
function project(from, to, width, height, pan, tilt, fov) {
  const unit = Math.PI / 180 / 1024, c = Math.cos(tilt * unit), s = Math.sin(tilt * unit), scale = width / (fov * unit);
  for (let i = 0; i < from.length; i += 2) {
    const p = (from[i] - pan) * unit, t = from[i + 1] * unit, level = Math.cos(t), ahead = level * Math.cos(p), up = Math.sin(t);
    const seen = ahead * c + up * s > 0;
    to[i] = seen ? width / 2 + Math.asin(level * Math.sin(p)) * scale : -1;
    to[i + 1] = seen ? height / 2 - Math.asin(up * c - ahead * s) * scale : -1;
  }
}

const pcm = noise(Int16Array, 441000), wave = new Int16Array(500000);
const to48 = resampler(48000, 44100), to8 = resampler(8000, 44100);
const packed = noise(Uint8Array, 2 * 1920 * 1080), pixels = noise(Uint8Array, 3 * 1920 * 1080), made = new Uint8Array(pixels.length);
const bytes = noise(Uint8Array, 1 << 20), base64 = Buffer.from(bytes).toString('base64');
const angles = Int32Array.from({ length: 200000 }, (_, i) => (next() % 60000) - (i % 2 ? 35000 : 20000)), places = new Int32Array(200000);
const others = [
  ['44.1 to 48 kHz', 'JavaScript', () => to48(pcm, wave)],
  ['44.1 to 8 kHz', 'JavaScript', () => to8(pcm, wave)],
  ['4:2:2 to RGB', 'JavaScript', () => unpack(packed, made)],
  ['RGB to BT.601', 'JavaScript', () => toYcc(pixels, made)],
  ['sphere to screen', 'JavaScript', () => project(angles, places, 1920, 1080, 10240, -5120, 60 << 10)],
  ['Base64 encode', 'btoa()', () => {
    let text = '';
    for (let i = 0; i < bytes.length; i += 8192) text += String.fromCharCode(...bytes.subarray(i, i + 8192));
    return btoa(text);
  }],
  ['Base64 decode', 'atob()', () => {
    const text = atob(base64), to = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) to[i] = text.charCodeAt(i);
  }],
  ['Base64 encode', 'Buffer', () => Buffer.from(bytes.buffer).toString('base64')],
  ['Base64 decode', 'Buffer', () => Buffer.from(base64, 'base64')],
];
// Each in a process of its own. What a package doesn't end in five minutes is left without a time.
const hulls = ['quickhull3d', 'convex-hull'].flatMap((name) =>
  [['cube', 100000], ['sphere', 100000], ['sphere', 10000]].map((cloud) => [name, ...cloud]));
const hull_program = fileURLToPath(new URL('hulls.mjs', import.meta.url));
function time_hull([name, shape, points]) {
  const run = ['-c', 'ulimit -St 300 && exec "$@"', 'sh', process.execPath, hull_program, packages, name, shape, `${points}`];
  let seconds = Infinity;
  try {
    seconds = Number(execFileSync('sh', run, { encoding: 'utf8' }));
  } catch (error) {
    if (error.signal !== 'SIGXCPU') throw error;
  }
  note(`hull, ${shape} of ${points}`, name, seconds);
}

// ---- All in turn

for (let round = 0; round < (packages ? 2 : 1); ++round) {
  for (const line of execFileSync(native, { encoding: 'utf8' }).trim().split('\n')) {
    const [name, seconds] = line.split('\t');
    note(name, 'native', Number(seconds));
  }
  built.forEach((vela, i) => {
    for (let number = 0, at; (at = vela.name(number)); ++number)
      time(textAt(vela, at), i ? 'vectors' : 'plain', () => vela.run(number));
  });
  for (const [name, column, run] of others) time(name, column, run, 4);
  if (packages && round === 0) hulls.forEach(time_hull);
}

console.log('| case | native | WebAssembly | with vectors | others |');
console.log('|---|--:|--:|--:|---|');
for (const [name, row] of times) {
  const unit = row.get('native'), ratio = (column) => (row.get(column) / unit).toFixed(2);
  const peers = [...row.keys()].filter((column) => !['native', 'plain', 'vectors'].includes(column));
  const said = (column) => (Number.isFinite(row.get(column)) ? ratio(column) : 'not in five minutes');
  console.log(`| ${name} | ${(unit * 1e3).toFixed(3)} ms | ${ratio('plain')} | ${ratio('vectors')} | ` +
    `${peers.map((column) => `${column} ${said(column)}`).join(', ')} |`);
}
