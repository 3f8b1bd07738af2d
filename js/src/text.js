// Base64, text, URLs, UUIDs and times.
import { int32, integer, lengthOf, object, octets, pick, string, uint32 } from './core.js';

export const base64 = (core) => ({
    encode: (bytes) => core.text('base64_encode', octets('bytes', bytes)),
    decode: (text) => core.array(Uint8Array, 'base64_decode', string('text', text)),
});

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

const parts = ['scheme', 'user', 'password', 'host', 'port', 'path', 'query', 'fragment'];

export function url(core) {
    const bytesOf = (text) => (typeof text === 'string' ? text : octets('text', text));
    const read = (found) => (found.startsWith('+') ? found.slice(1) : null);

    return {
        parse(text) {
            const all = core.text('url_parse', string('text', text))?.split('\0');
            return all ? Object.fromEntries(parts.map((part, i) => [part, read(all[i])])) : null;
        },

        encodeSegment: (text) => core.text('url_encode_segment', bytesOf(text)),
        encodeForm: (text) => core.text('url_encode_form', bytesOf(text)),
        decode: (text) => core.text('url_decode', string('text', text)),
        decodeForm: (text) => core.text('url_decode_form', string('text', text)),
        decodeBytes: (text) => core.array(Uint8Array, 'url_decode', string('text', text)),

        parseMac: (text) => core.array(Uint8Array, 'url_parse_mac', string('text', text)),
        formatMac(mac) {
            if (lengthOf(octets('mac', mac)) !== 6) throw new RangeError('mac: expected 6 bytes');
            return core.text('url_format_mac', mac);
        },
    };
}

const forms = ['braced', 'dashed', 'plain'];

export const uuid = (core) => ({
    random: () => core.array(Uint8Array, 'uuid_random'),
    parse: (text) => core.array(Uint8Array, 'uuid_parse', string('text', text)),
    toString(bytes, form = 'dashed') {
        if (lengthOf(octets('bytes', bytes)) !== 16) throw new RangeError('bytes: expected 16');
        return core.text('uuid_to_string', bytes, pick('form', form, forms));
    },
    randBytes: (length) => core.array(Uint8Array, 'uuid_rand_bytes', uint32('length', length)),
    randInt: (a, b) => core.call('uuid_rand_int', int32('a', a), int32('b', b)),
});

const maxTime = 2 ** 52;

function fields(name, time) {
    const { seconds, microseconds } = object(name, time);
    return [
        integer(`${name}.seconds`, seconds, -maxTime, maxTime),
        integer(`${name}.microseconds`, microseconds, -maxTime, maxTime),
    ];
}

export function time(core) {
    const made = (name, ...args) => {
        const [seconds, microseconds] = core.array(Float64Array, name, ...args);
        return { seconds, microseconds };
    };
    return {
        balance: (time) => made('time_balance', ...fields('time', time)),
        add: (a, b) => made('time_add', ...fields('a', a), ...fields('b', b)),
        sub: (a, b) => made('time_sub', ...fields('a', a), ...fields('b', b)),
        compare: (a, b) => Math.sign(core.call('time_compare', ...fields('a', a), ...fields('b', b))),
    };
}
