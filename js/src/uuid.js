import { int32, lengthOf, octets, pick, string, uint32 } from './core.js';

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
