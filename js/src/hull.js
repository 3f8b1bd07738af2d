import { Owner, VelaError, groups, handleOf, int32, integer, octets, sameLengths } from './core.js';

const near = (name, value) => integer(name, value, -5000, 5255);

function points(xs, ys, zs) {
    sameLengths('xs, ys, zs', octets('xs', xs), octets('ys', ys), octets('zs', zs));
    return [xs, ys, zs];
}

function interleaved(pixels, pixelSize) {
    groups('pixels', octets('pixels', pixels), integer('pixelSize', pixelSize, 3, 0x7fffffff));
    return [pixels, pixelSize];
}

export function hull(core) {
    const grow = (name, ...args) => {
        if (!core.call(name, ...args)) throw new VelaError('out of memory');
    };

    class Hull extends Owner {
        static ofPoints(xs, ys, zs) {
            return Hull.#owning(core.call('hull_of_points', ...points(xs, ys, zs)));
        }
        static ofPixels(pixels, pixelSize = 3) {
            return Hull.#owning(core.call('hull_of_pixels', ...interleaved(pixels, pixelSize)));
        }
        static #owning(handle) {
            return handle ? new Hull(core, handle, 'hull') : null;
        }

        grow(xs, ys, zs) {
            grow('hull_grow', handleOf(this), ...points(xs, ys, zs));
        }
        growByPixels(pixels, pixelSize = 3) {
            grow('hull_grow_by_pixels', handleOf(this), ...interleaved(pixels, pixelSize));
        }

        contains(x, y, z) {
            return core.call('hull_contains', handleOf(this), int32('x', x), int32('y', y), int32('z', z)) !== 0;
        }
        distances(x, y, z) {
            const point = [near('x', x), near('y', y), near('z', z)],
                found = core.array(Uint32Array, 'hull_distances', handleOf(this), ...point);
            return found && { nearest: found[0], farthest: found[1] };
        }

        get volume() {
            return core.call('hull_volume', handleOf(this));
        }
        get vertexCount() {
            return core.call('hull_vertex_count', handleOf(this));
        }
        get edgeCount() {
            return core.call('hull_edge_count', handleOf(this));
        }
        get faceCount() {
            return core.call('hull_face_count', handleOf(this));
        }

        vertices() {
            return core.array(Uint8Array, 'hull_vertices', handleOf(this));
        }
        vertexNumbers() {
            return core.array(Uint32Array, 'hull_vertex_numbers', handleOf(this));
        }
        edges() {
            return core.array(Uint32Array, 'hull_edges', handleOf(this));
        }
        faces() {
            return core.array(Uint32Array, 'hull_faces', handleOf(this));
        }
    }
    return Hull;
}
