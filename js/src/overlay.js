// <vela/overlay.hpp>: masks and paths on the view of a moving camera.
import {
    Core,
    Owner,
    VelaError,
    array,
    groups,
    handleOf,
    integer,
    lengthOf,
    object,
    octets,
    pick,
    real,
    target,
} from './core.js';

const coverages = ['conservative', 'centres'];

function pairs(name, value, min) {
    groups(name, array(name, value, 'Float64Array'), 2, min);
    return value;
}

// The numbers of a view; each field is read once.
function fields(view) {
    const { width, height, pan, tilt, fov } = object('view', view);
    if (!(real('view.fov', fov) > 0 && fov <= 180))
        throw new RangeError('view.fov: expected more than 0 and up to 180');
    return [
        integer('view.width', width, 1, 65535),
        integer('view.height', height, 1, 65535),
        real('view.pan', pan),
        real('view.tilt', tilt),
        fov,
    ];
}

const bytesOf = ([width, height]) => 4 * width * height;

// 0xRRGGBB as an opaque pixel in memory.
const pixelOf = (colour) => (colour >> 16) | (colour & 0xff00) | ((colour & 0xff) << 16) | (0xff << 24);

export function overlay(module) {
    const core = new Core(module);

    class Mask extends Owner {
        static make(corners) {
            const handle = core.call('mask_make', pairs('corners', corners, 3));
            return handle ? new Mask(core, handle, 'mask') : null;
        }

        contains(pan, tilt) {
            return core.call('mask_contains', handleOf(this), real('pan', pan), real('tilt', tilt)) !== 0;
        }

        runs(view, coverage = 'conservative') {
            const mode = pick('coverage', coverage, coverages);
            return core.array(Int32Array, 'mask_runs', handleOf(this), mode, ...fields(view));
        }
    }

    class Picture extends Owner {
        static make(view, pixels) {
            const taken = fields(view);
            if (lengthOf(octets('pixels', pixels)) !== bytesOf(taken)) {
                throw new RangeError(`pixels: expected ${bytesOf(taken)} bytes`);
            }
            return new Picture(core, core.call('picture_make', pixels, ...taken), 'picture');
        }

        draw(view, into, background = 0) {
            const seen = fields(view),
                pixel = pixelOf(integer('background', background, 0, 0xffffff));
            target('into', octets('into', into), bytesOf(seen));
            if (!core.bytes(into, 'picture_draw', handleOf(this), pixel, ...seen)) throw new VelaError('out of memory');
        }
    }

    return {
        Mask,
        Picture,
        project(view, pan, tilt) {
            const at = core.array(Float64Array, 'project', real('pan', pan), real('tilt', tilt), ...fields(view));
            return at && { x: at[0], y: at[1] };
        },
        unproject(view, x, y) {
            const shown = core.array(Float64Array, 'unproject', real('x', x), real('y', y), ...fields(view));
            return shown && { pan: shown[0], tilt: shown[1] };
        },
        projectPath: (view, path) => core.array(Float64Array, 'project_path', pairs('path', path), ...fields(view)),
        unprojectPolygon: (view, corners) =>
            core.array(Float64Array, 'unproject_polygon', pairs('corners', corners), ...fields(view)),
    };
}
