import { groups, octets, pick, roomFor, uint32 } from './core.js';

const variants = {
  full: ['srgb_to_yccfull', 'yccfull_to_srgb', 'get_rgb_to_ycc', 'get_ycc_to_rgb'],
  bt601: ['srgb_to_yccbt601', 'yccbt601_to_srgb', 'get_rgb_to_ycc601', 'get_ycc_to_rgb601'],
  bt709: ['srgb_to_yccbt709', 'yccbt709_to_srgb', 'get_rgb_to_ycc709', 'get_ycc_to_rgb709'],
};

export function colour(core) {
  const convert = (name, pixels, to) => {
    const count = groups('pixels', octets('pixels', pixels), 3);
    roomFor('to', to, pixels.length);
    return core.use((room, put) => {
      const at = put(pixels);
      core.exports[name](at, at, count);
      return core.copyInto(to, at, pixels.length);
    });
  };
  const weights = (name) => core.use((room) => {
    const at = room(36);
    core.exports[name](at);
    return core.copy(Int32Array, at, 9);
  });
  const packedSize = (width, height, stride) => width && height ? stride * (height - 1) + 2 * width + width % 2 : 0;

  return {
    fromRgb: (variant, pixels, to) => convert(pick('variant', variant, variants)[0], pixels, to),
    toRgb: (variant, pixels, to) => convert(pick('variant', variant, variants)[1], pixels, to),
    encodingMatrix: (variant) => weights(pick('variant', variant, variants)[2]),
    decodingMatrix: (variant) => weights(pick('variant', variant, variants)[3]),

    unpack(from, width, height, stride = 2 * width + width % 2, to = undefined) {
      uint32('width', width);
      uint32('height', height);
      uint32('stride', stride);
      const read = packedSize(width, height, stride), size = 3 * width * height;
      if (octets('from', from).length < read) throw new RangeError(`from: ${read} bytes are wanted`);
      roomFor('to', to, size);
      return core.use((room, put) => {
        const at = room(size);
        core.exports.cyc422_to_srgb(put(from.subarray(0, read)), width, height, stride, at);
        return core.copyInto(to, at, size);
      });
    },
  };
}
