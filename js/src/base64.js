import { octets, string } from './core.js';
import { decodeUtf8, encodeUtf8 } from './utf8.js';

const most = 2 ** 30 - 1;
const space = /[\t-\r ]/, spaces = /[\t-\r ]+/g;
const foreign = /[^A-Za-z0-9+/]/;

export const base64 = (core) => ({
  encode(bytes) {
    if (octets('bytes', bytes).length > most) throw new RangeError(`bytes: at most ${most}`);
    return core.use((room, put) => {
      const size = 4 * Math.ceil(bytes.length / 3), to = room(size);
      core.exports.base64_encode(put(bytes), bytes.length, to, size);
      return decodeUtf8(core.heap.u8.slice(to, to + size));
    });
  },

  // The library takes any text for Base64: what it must not be given is found here.
  decode(text) {
    const whole = space.test(string('text', text)) ? text.replace(spaces, '') : text;
    if (whole.length > most) throw new RangeError(`text: at most ${most} characters`);
    const padding = whole.endsWith('==') ? 2 : whole.endsWith('=') ? 1 : 0;
    if (whole.length % 4 !== 0 || foreign.test(padding ? whole.slice(0, -padding) : whole)) return null;
    return core.use((room, put) => {
      const size = 3 * whole.length / 4, to = room(size), from = put(encodeUtf8(whole));
      return core.copy(Uint8Array, to, core.exports.base64_decode(from, whole.length, to, size) >>> 0);
    });
  },
});
