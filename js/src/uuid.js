import { int32, octets, pick, string, uint32 } from './core.js';

const forms = {
  braced: (text) => text,
  dashed: (text) => text.slice(1, -1),
  plain: (text) => text.slice(1, -1).replaceAll('-', ''),
};

export function uuid(core) {
  const braced = (bytes) => core.use((room, put) => {
    const to = room(39);
    core.exports.uuid_sprint(to, put(bytes));
    return core.textAt(to);
  });

  return {
    random: () => core.use((room) => {
      const at = room(16);
      core.exports.uuid_create(at);
      const made = core.copy(Uint8Array, at, 16);
      made[6] = made[6] & 0x0F | 0x40;
      made[8] = made[8] & 0x3F | 0x80;
      return made;
    }),

    // The library takes damaged texts as well: what it reads is written again, and must be the same.
    parse(text) {
      if (string('text', text).length > 38) return null;
      const read = core.use((room, put) => {
        const to = room(16);
        return core.exports.uuid_scan(core.putText(put, text), to) ? null : core.copy(Uint8Array, to, 16);
      });
      if (!read) return null;
      const again = braced(read), lower = text.toLowerCase();
      return Object.values(forms).some((form) => form(again) === lower) ? read : null;
    },

    toString(bytes, form = 'dashed') {
      if (octets('bytes', bytes).length !== 16) throw new RangeError('bytes: sixteen are wanted');
      return pick('form', form, forms)(braced(bytes));
    },

    randBytes: (length) => core.use((room) => {
      const at = room(uint32('length', length));
      core.exports.randbytes(at, length);
      return core.copy(Uint8Array, at, length);
    }),
    randInt: (a, b) => core.call('randint', int32('a', a), int32('b', b)),
  };
}
