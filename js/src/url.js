import { octets, string } from './core.js';
import { decodeUtf8, encodeUtf8 } from './utf8.js';

const parts = ['scheme', 'user', 'password', 'host', 'port', 'path', 'query'];

export function url(core) {
  const coded = (name, bytes, size) => core.use((room, put) => {
    const to = room(size), length = core.exports[name](put(bytes), bytes.length, to, size);
    return core.heap.u8.slice(to, to + length);
  });

  const decoded = (text) => {
    const bytes = encodeUtf8(string('text', text));
    return coded('url_decode', bytes, bytes.length + 1).slice(0, -1); // without its NUL
  };

  return {
    parse(text) {
      if (string('text', text).includes('\0')) return null;
      const hash = text.indexOf('#');
      return core.use((room, put) => {
        const at = core.exports.url_alloc(core.putText(put, hash < 0 ? text : text.slice(0, hash))) >>> 0;
        if (at === 0) return null;
        try {
          const found = core.copy(Uint32Array, at + 4, parts.length);
          const made = Object.fromEntries(parts.map((part, i) => [part, core.textOrNull(found[i])]));
          return { ...made, fragment: hash < 0 ? null : text.slice(hash + 1) };
        } finally {
          core.exports.url_free(at);
        }
      });
    },

    encode(text) {
      const bytes = typeof text === 'string' ? encodeUtf8(text) : octets('text', text);
      return decodeUtf8(coded('url_encode', bytes, 3 * bytes.length + 5));
    },
    decode: (text) => decodeUtf8(decoded(text)),
    decodeBytes: (text) => decoded(text),

    parseMac: (text) => core.use((room, put) => {
      const to = room(6);
      return core.exports.inet_parse_mac(core.putText(put, string('text', text)), to) ? null : core.copy(Uint8Array, to, 6);
    }),

    formatMac(mac) {
      if (octets('mac', mac).length !== 6) throw new RangeError('mac: six bytes are wanted');
      return core.use((room, put) => {
        const to = room(18);
        core.exports.inet_strfmac(put(mac), to);
        return core.textAt(to);
      });
    },
  };
}
