import { Owner, VelaError, groups, int32, integer, octets } from './core.js';

// Places in the records, in words.
const ctx = { vertices: 0, edges: 1, faces: 2 };
const vertex = { coord: 0, vnum: 3, next: 7 };
const edge = { endpts: 2, next: 6 };
const face = { vert: 3, next: 7 };

const own = Symbol('made by ofPoints() or ofPixels()');

const near = (name, value) => integer(name, value, -5000, 5255);

function planes(pixels, pixelSize) {
  integer('pixelSize', pixelSize, 3, 0x7FFFFFFF);
  const count = groups('pixels', octets('pixels', pixels), pixelSize);
  return [0, 1, 2].map((plane) => {
    const all = new Uint8Array(count);
    for (let i = 0; i < count; ++i) all[i] = pixels[i * pixelSize + plane];
    return all;
  });
}

export function hull(core) {
  const { exports } = core;

  return class Hull extends Owner {
    #record;

    constructor(key, record) {
      if (key !== own) throw new TypeError('Hull: ofPoints() and ofPixels() make one');
      super(() => {
        exports.free_chull(record);
        core.free(record);
      });
      this.#record = record;
    }

    static ofPoints(xs, ys, zs) {
      const record = core.use((room) => {
        const slot = room(4);
        if (exports.alloc_chull(slot)) throw new VelaError('out of memory');
        return core.heap.u32[slot >>> 2];
      });
      const made = new this(own, record);
      try {
        if (made.#grow(xs, ys, zs)) return made;
      } catch (error) {
        made.free();
        throw error;
      }
      made.free();
      return null;
    }

    static ofPixels(pixels, pixelSize = 3) { return this.ofPoints(...planes(pixels, pixelSize)); }

    grow(xs, ys, zs) {
      if (octets('xs', xs).length === 0 && !octets('ys', ys).length && !octets('zs', zs).length) return;
      if (this.#grow(xs, ys, zs)) return;
      exports.free_chull(this.#at);
      throw new VelaError('out of memory');
    }

    growByPixels(pixels, pixelSize = 3) { this.grow(...planes(pixels, pixelSize)); }

    contains(x, y, z) {
      return [int32('x', x), int32('y', y), int32('z', z)].every((one) => 0 <= one && one <= 255) &&
        exports.is_in_chull(this.#at, x, y, z) !== 0;
    }

    distances(x, y, z) {
      near('x', x);
      near('y', y);
      near('z', z);
      return core.use((room) => {
        const to = room(8);
        if (exports.dist_to_chull(this.#at, x, y, z, to, to + 4)) return null;
        const [nearest, farthest] = core.copy(Uint32Array, to, 2);
        return { nearest, farthest };
      });
    }

    get volume() { return exports.chull_volume6(this.#at) / 6; }
    get vertexCount() { return exports.chull_num_vertices(this.#at); }
    get edgeCount() { return exports.chull_num_edges(this.#at); }
    get faceCount() { return exports.chull_num_faces(this.#at); }

    vertices() { return Uint8Array.from(this.#list(ctx.vertices, vertex.next).flatMap((at) => this.#words(at + vertex.coord, 3))); }
    vertexNumbers() { return Uint32Array.from(this.#list(ctx.vertices, vertex.next), (at) => core.heap.u32[at + vertex.vnum]); }
    edges() { return this.#corners(this.#list(ctx.edges, edge.next), edge.endpts, 2); }
    faces() { return this.#corners(this.#list(ctx.faces, face.next), face.vert, 3); }

    get #at() {
      if (this.freed) throw new TypeError('Hull: used after free()');
      return this.#record;
    }

    #grow(xs, ys, zs) {
      if (octets('xs', xs).length !== octets('ys', ys).length || xs.length !== octets('zs', zs).length) {
        throw new RangeError('xs, ys and zs differ in length');
      }
      return core.use((room, put) => exports.get_chull(put(xs), put(ys), put(zs), xs.length, this.#at) === 0);
    }

    #words(at, count) { return Array.from(core.heap.u32.subarray(at, at + count)); }

    // The records of a list, as places in words.
    #list(head, next) {
      const { u32 } = core.heap, first = u32[(this.#at >>> 2) + head] >>> 2, all = [];
      if (first === 0) return all;
      let at = first;
      do {
        all.push(at);
        at = u32[at + next] >>> 2;
      } while (at !== first);
      return all;
    }

    // Pointers to vertices, as numbers in vertices().
    #corners(records, place, count) {
      const numbers = new Map(this.#list(ctx.vertices, vertex.next).map((at, i) => [at, i])), { u32 } = core.heap;
      const corners = new Uint32Array(records.length * count);
      records.forEach((at, i) => {
        for (let j = 0; j < count; ++j) corners[i * count + j] = numbers.get(u32[at + place + j] >>> 2);
      });
      return corners;
    }
  };
}
