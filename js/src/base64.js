import { octets, string } from './core.js';

export const base64 = (core) => ({
    encode: (bytes) => core.text('base64_encode', octets('bytes', bytes)),
    decode: (text) => core.array(Uint8Array, 'base64_decode', string('text', text)),
});
