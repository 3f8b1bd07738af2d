import { integer, octets, string } from './core.js';

const noDigit = /[^0-9A-Fa-f]/;

function withoutNul(value) {
    if (string('text', value).includes('\0')) throw new RangeError('text: expected no NUL');
    return value;
}

export const text = (core) => ({
    bin2hex: (bytes) => core.text('text_bin2hex', octets('bytes', bytes)),
    hex2bin(hex) {
        if (string('hex', hex).length % 2 !== 0 || noDigit.test(hex)) return null;
        return core.array(Uint8Array, 'text_hex2bin', hex);
    },
    chomp: (value) => core.text('text_chomp', withoutNul(value)),
    strip: (value) => core.text('text_strip', withoutNul(value)),
    chunkSplit: (bytes, chunk) =>
        core.array(Uint8Array, 'text_chunk_split', octets('bytes', bytes), integer('chunk', chunk, 1, 0xffffffff)),
});
