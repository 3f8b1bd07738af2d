// <vela/overlay.hpp>: masks and marks on the view of a moving camera.
import { Core, Owner, VelaError, array, groups, integer, octets, pick, real, roomFor } from './core.js';

const coverages = { conservative: 0, centres: 1 };
const own = Symbol('made by make()');

const pairs = (name, value, least) => groups(name, array(name, value, 'Float64Array'), 2, least);

function fields(view) {
  if (typeof view !== 'object' || view === null) throw new TypeError('view: an object is wanted');
  if (!(real('view.fov', view.fov) > 0 && view.fov <= 180)) throw new RangeError('view.fov: more than 0 and up to 180 degrees are wanted');
  return Float64Array.of(integer('view.width', view.width, 1, 65535), integer('view.height', view.height, 1, 65535),
    real('view.pan', view.pan), real('view.tilt', view.tilt), view.fov);
}

export function overlay(module) {
  const core = new Core(module), { exports } = core;

  const pair = (name, view, a, b) => core.use((room, put) => {
    const to = room(16);
    return exports[name](put(fields(view)), a, b, to) ? [...core.copy(Float64Array, to, 2)] : null;
  });

  // What a function stores in the room that it is given: it tells how many there are, and is asked again for more.
  const listed = (Type, size, ask) => {
    for (let room = 1024; ;) {
      const result = core.use((block, put) => {
        const to = block(room * size * Type.BYTES_PER_ELEMENT), count = ask(put, to, room);
        return 0 <= count && count <= room ? core.copy(Type, to, count * size) : count;
      });
      if (typeof result !== 'number') return result;
      if (result < 0) return null;
      room = result;
    }
  };
  const along = (name, size, view, points, count) => {
    const seen = fields(view);
    return listed(Float64Array, size, (put, to, room) => exports[name](put(seen), put(points), count, to, room));
  };

  class Mask extends Owner {
    #record;

    constructor(key, record) {
      if (key !== own) throw new TypeError('Mask: make() makes one');
      super(() => exports.overlay_mask_free(record));
      this.#record = record;
    }

    static make(corners) {
      const count = pairs('corners', corners, 3);
      const record = core.use((room, put) => exports.overlay_mask_make(put(corners), count)) >>> 0;
      return record ? new Mask(own, record) : null;
    }

    contains(pan, tilt) { return exports.overlay_mask_contains(this.#at, real('pan', pan), real('tilt', tilt)) !== 0; }

    list(view, coverage = 'conservative') {
      const seen = fields(view), how = pick('coverage', coverage, coverages), mask = this.#at;
      return listed(Int32Array, 3, (put, to, room) => exports.overlay_mask_list(mask, put(seen), how, to, room));
    }

    get #at() {
      if (this.freed) throw new TypeError('Mask: used after free()');
      return this.#record;
    }
  }

  class Picture extends Owner {
    #view;
    #pixels;

    constructor(key, view, pixels) {
      if (key !== own) throw new TypeError('Picture: make() makes one');
      super(() => core.free(pixels));
      this.#view = view;
      this.#pixels = pixels;
    }

    static make(view, pixels) {
      const taken = fields(view), size = 4 * view.width * view.height;
      if (octets('pixels', pixels).length !== size) throw new RangeError(`pixels: ${size} bytes are wanted`);
      const at = core.room(size);
      core.heap.u8.set(pixels, at);
      return new Picture(own, taken, at);
    }

    draw(view, into, ground = 0) {
      if (this.freed) throw new TypeError('Picture: used after free()');
      const seen = fields(view), size = 4 * view.width * view.height;
      roomFor('into', octets('into', into), size);
      const [r, g, b] = [16, 8, 0].map((bits) => integer('ground', ground, 0, 0xFFFFFF) >> bits & 255);
      core.use((room, put) => {
        const to = room(size);
        if (!exports.overlay_picture_draw(put(this.#view), this.#pixels, put(seen), (r | g << 8 | b << 16 | 255 << 24), to)) throw new VelaError('out of memory');
        core.copyInto(into, to, size);
      });
    }
  }

  return {
    Mask,
    Picture,
    place(view, pan, tilt) {
      const found = pair('overlay_place', view, real('pan', pan), real('tilt', tilt));
      return found && { x: found[0], y: found[1] };
    },
    at(view, x, y) {
      const found = pair('overlay_at', view, real('x', x), real('y', y));
      return found && { pan: found[0], tilt: found[1] };
    },
    trace: (view, path) => along('overlay_trace', 4, view, path, pairs('path', path)),
    outline: (view, corners) => along('overlay_outline', 2, view, corners, pairs('corners', corners)),
  };
}
