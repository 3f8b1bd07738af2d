// What a page would otherwise take for the cases: plain JavaScript on typed arrays, the host's own functions, a package.
import { createRequire } from 'node:module';
import { resolve } from 'node:path';

let state = 2463534242;
const next = () => {
    state ^= state << 13;
    state ^= state >>> 17;
    state ^= state << 5;
    return state >>> 11;
};
const noise = (Type, count) => Type.from({ length: count }, next);
const gcd = (a, b) => (b ? gcd(b, a % b) : a);
const clamp = (value) => (value < 0 ? 0 : value > 255 ? 255 : value);

// Polyphase rows of a Lanczos kernel of two lobes, in 16-bit integers with 14 fraction bits.
function resampler(outRate, inRate) {
    const L = outRate / gcd(outRate, inRate);
    const M = inRate / gcd(outRate, inRate);
    const reach = 2 * Math.max(L, M);
    const taps = Math.ceil((2 * reach - 1) / L);
    const rows = new Int16Array(L * taps);
    const sinc = (x) => (x ? Math.sin(Math.PI * x) / (Math.PI * x) : 1);
    for (let k = 0; k < 2 * reach - 1; ++k) {
        const x = (k - reach + 1) / Math.max(L, M);
        const tap = taps - 1 - Math.floor(k / L);
        rows[(k % L) * taps + tap] = Math.round(16384 * Math.min(1, L / M) * sinc(x) * sinc(x / 2));
    }
    return (input, output) => {
        let made = 0;
        for (let newest = taps - 1, phase = 0; newest < input.length; ) {
            let sum = 0;
            for (let k = 0, row = phase * taps, at = newest - taps + 1; k < taps; ++k) {
                sum = (sum + rows[row + k] * input[at + k]) | 0;
            }
            sum >>= 14;
            output[made++] = sum > 32767 ? 32767 : sum < -32768 ? -32768 : sum;
            for (phase += M; phase >= L; phase -= L) ++newest;
        }
    };
}

function unpack(from, to) {
    for (let s = 0, d = 0; s < from.length; s += 4, d += 6) {
        const cb = from[s] - 128;
        const cr = from[s + 2] - 128;
        for (let k = 0; k < 2; ++k) {
            const luma = (from[s + 1 + 2 * k] << 12) + 2048;
            to[d + 3 * k] = clamp((luma + 5742 * cr) >> 12);
            to[d + 3 * k + 1] = clamp((luma - 1409 * cb - 2925 * cr) >> 12);
            to[d + 3 * k + 2] = clamp((luma + 7258 * cb) >> 12);
        }
    }
}

function toYcc(from, to) {
    for (let i = 0; i < from.length; i += 3) {
        const [r, g, b] = [from[i], from[i + 1], from[i + 2]];
        to[i] = clamp((1051 * r + 2064 * g + 401 * b + 67584) >> 12);
        to[i + 1] = clamp((-607 * r - 1191 * g + 1799 * b + 526336) >> 12);
        to[i + 2] = clamp((1799 * r - 1506 * g - 292 * b + 526336) >> 12);
    }
}

function project(from, to, width, height, pan, tilt, fov) {
    const unit = Math.PI / 180 / 1024;
    const scale = width / (fov * unit);
    const [c, s] = [Math.cos(tilt * unit), Math.sin(tilt * unit)];
    for (let i = 0; i < from.length; i += 2) {
        const p = (from[i] - pan) * unit;
        const level = Math.cos(from[i + 1] * unit);
        const up = Math.sin(from[i + 1] * unit);
        const ahead = level * Math.cos(p);
        const isInFront = ahead * c + up * s > 0;
        to[i] = isInFront ? width / 2 + Math.asin(level * Math.sin(p)) * scale : -1;
        to[i + 1] = isInFront ? height / 2 - Math.asin(up * c - ahead * s) * scale : -1;
    }
}

function cloud(count, isOnSphere) {
    return Array.from({ length: count }, (_, i) => {
        if (!isOnSphere) return [next() & 255, next() & 255, next() & 255];
        const z = 1 - (2 * i + 1) / count;
        const r = Math.sqrt(1 - z * z);
        return [r * Math.cos(i * 2.399963), r * Math.sin(i * 2.399963), z].map((one) => Math.floor(128 + 127 * one));
    });
}

const pcm = noise(Int16Array, 441000);
const wave = new Int16Array(500000);
const [to48, to8] = [48000, 8000].map((rate) => resampler(rate, 44100));
const packed = noise(Uint8Array, 2 * 1920 * 1080);
const pixels = noise(Uint8Array, 3 * 1920 * 1080);
const made = new Uint8Array(pixels.length);
const bytes = noise(Uint8Array, 1 << 20);
const base64 = Buffer.from(bytes).toString('base64');
const angles = Int32Array.from({ length: 200000 }, (_, i) => (next() % 60000) - (i % 2 ? 35000 : 20000));
const positions = new Int32Array(200000);

function encode(from) {
    let text = '';
    for (let i = 0; i < from.length; i += 8192) text += String.fromCharCode(...from.subarray(i, i + 8192));
    return btoa(text);
}

function decode(from) {
    const text = atob(from);
    const to = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) to[i] = text.charCodeAt(i);
    return to;
}

// Case, alternative, and what runs it. `packages` is where convex-hull is installed.
export function alternatives(packages) {
    const convexHull = createRequire(resolve(packages, 'package.json'))('convex-hull');
    const [cube, sphere] = [cloud(100000, false), cloud(10000, true)];
    return [
        ['44.1 to 48 kHz', 'JavaScript', () => to48(pcm, wave)],
        ['44.1 to 8 kHz', 'JavaScript', () => to8(pcm, wave)],
        ['4:2:2 to RGB', 'JavaScript', () => unpack(packed, made)],
        ['RGB to BT.601', 'JavaScript', () => toYcc(pixels, made)],
        ['sphere to screen', 'JavaScript', () => project(angles, positions, 1920, 1080, 10240, -5120, 60 << 10)],
        ['Base64 encode', 'btoa()', () => encode(bytes)],
        ['Base64 decode', 'atob()', () => decode(base64)],
        ['Base64 encode', 'Buffer', () => Buffer.from(bytes.buffer).toString('base64')],
        ['Base64 decode', 'Buffer', () => Buffer.from(base64, 'base64')],
        ['hull, cube of 100000', 'convex-hull', () => convexHull(cube)],
        ['hull, sphere of 10000', 'convex-hull', () => convexHull(sphere)],
    ];
}
