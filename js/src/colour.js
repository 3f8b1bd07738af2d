import { groups, lengthOf, octets, pick, target, uint32 } from './core.js';

const variants = ['full', 'bt601', 'bt709'];

export function colour(core) {
    const convert = (name, variant, pixels, to) => {
        const index = pick('variant', variant, variants),
            size = 3 * groups('pixels', octets('pixels', pixels), 3);
        return core.bytes(target('to', to, size), name, index, pixels);
    };
    const matrix = (name, variant) => core.array(Int32Array, name, pick('variant', variant, variants));

    return {
        fromRgb: (variant, pixels, to) => convert('colour_from_rgb', variant, pixels, to),
        toRgb: (variant, pixels, to) => convert('colour_to_rgb', variant, pixels, to),
        encodingMatrix: (variant) => matrix('colour_encoding_matrix', variant),
        decodingMatrix: (variant) => matrix('colour_decoding_matrix', variant),

        unpack(from, width, height, stride = 2 * width + (width % 2), to = undefined) {
            const sizes = [uint32('width', width), uint32('height', height), uint32('stride', stride)];
            octets('from', from);
            target('to', to, 3 * width * height);
            const made = core.bytes(to, 'colour_unpack', from, ...sizes);
            if (!made) throw new RangeError(`from: expected more than ${lengthOf(from)} bytes`);
            return made;
        },
    };
}
