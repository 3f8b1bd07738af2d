import { lengthOf, octets, string } from './core.js';

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
