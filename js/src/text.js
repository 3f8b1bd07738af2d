import { integer, octets, string } from './core.js';
import { decodeUtf8, encodeUtf8 } from './utf8.js';

const noDigit = /[^0-9A-Fa-f]/;

export function text(core) {
  // The text that stands at an address when a function has changed it in place.
  const changed = (value, change) => {
    if (string('text', value).includes('\0')) throw new RangeError('text: a NUL ends it');
    return core.use((room, put) => core.textAt(change(core.putText(put, value))));
  };

  return {
    bin2hex: (bytes) => core.use((room, put) => {
      const size = 2 * octets('bytes', bytes).length, to = room(size);
      core.exports.bin2hex(put(bytes), bytes.length, to);
      return decodeUtf8(core.heap.u8.slice(to, to + size));
    }),

    hex2bin(hex) {
      if (string('hex', hex).length % 2 !== 0 || noDigit.test(hex)) return null;
      return core.use((room, put) => {
        const at = put(encodeUtf8(hex));
        return core.copy(Uint8Array, at, core.exports.hex2bin(at, hex.length, at));
      });
    },

    chomp: (value) => changed(value, (at) => {
      core.exports.chomp(at);
      return at;
    }),
    strip: (value) => changed(value, (at) => core.exports.strip(at)),

    chunkSplit(bytes, chunk) {
      integer('chunk', chunk, 1, 0xFFFFFFFF);
      return core.use((room, put) => {
        const { length } = octets('bytes', bytes), size = length && length + Math.floor((length - 1) / chunk), to = room(size);
        core.exports.chunk_split(put(bytes), length, to, size, chunk);
        return core.copy(Uint8Array, to, size);
      });
    },
  };
}
