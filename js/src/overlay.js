// <vela/overlay.h> and <vela/picture.h>: masks, paths and pictures on the view of a moving camera. The module exports the
// functions of C as they are, which take addresses: of records, of arrays, of memory for what they find.
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

// Names in the order of the numbers that C has for them.
const models = ['axes', 'pinhole', 'fisheye'],
    formats = ['rgb24', 'bgr24', 'rgba', 'yuyv', 'uyvy', 'nv12', 'nv21', 'i420', 'i422', 'i444', 'grey'],
    colourSpaces = ['bt601Full', 'bt601Studio', 'bt709Studio', 'bt709Full'],
    styles = ['solid', 'blocks', 'blur'],
    coverages = ['conservative', 'centres'];

const scales = ['fx', 'fy', 'cx', 'cy'],
    coefficients = { pinhole: ['k1', 'k2', 'p1', 'p2', 'k3'], fisheye: ['k1', 'k2', 'k3', 'k4'] };

// The bytes of some records.
const sizes = { run: 12, pair: 16, line: 32 };

const pixelCount = (name, value) => integer(name, value, 1, 65535);
const pair = (name, a, otherName, b) => Float64Array.of(real(name, a), real(otherName, b));

// Lends pairs as their address and number.
function pairs(name, value, min) {
    const count = groups(name, array(name, value, 'Float64Array'), 2, min);
    return (lend) => [lend(value), count];
}

// 0xRRGGBB as an opaque pixel in memory.
function pixelOf(name, value) {
    const colour = integer(name, value, 0, 0xffffff);
    return (colour >> 16) | (colour & 0xff00) | ((colour & 0xff) << 16) | (0xff << 24);
}

// A vela_lens: model, field of view, scales, distortion.
function lensRecord(model, numbers) {
    const record = new Float64Array(11);
    record.set(numbers, 1);
    new Int32Array(record.buffer)[0] = models.indexOf(model);
    return record;
}

function lensOf(lens) {
    const { model, ...given } = object('view.lens', lens);
    pick('view.lens.model', model, Object.keys(coefficients));
    const names = [...scales, ...coefficients[model]];
    for (const name of Object.keys(given)) pick('view.lens', name, names);
    const number = (name) => real(`view.lens.${name}`, scales.includes(name) ? given[name] : (given[name] ?? 0));
    return lensRecord(model, [0, ...names.map(number)]);
}

function axesOf(fov) {
    if (!(real('view.fov', fov) > 0 && fov <= 180))
        throw new RangeError('view.fov: expected more than 0 and up to 180');
    return lensRecord('axes', [fov]);
}

// The arguments of vela_view_make(); each field is read once.
function checked(view) {
    const { width, height, pan, tilt, roll = 0, fov, lens } = object('view', view);
    if (fov !== undefined && lens !== undefined) throw new TypeError('view: expected fov or lens');
    return {
        width: pixelCount('view.width', width),
        height: pixelCount('view.height', height),
        where: Float64Array.of(real('view.pan', pan), real('view.tilt', tilt), real('view.roll', roll)),
        lens: lens === undefined ? axesOf(fov) : lensOf(lens),
    };
}

export function overlay(module) {
    const core = new Core(module);

    // Runs what needs blocks, as allocate() makes them, and views for its time.
    function lending(run) {
        const blocks = [],
            views = [];
        const lend = (content) => blocks[blocks.push(core.allocate(content)) - 1];
        const see = ({ width, height, where, lens }) => {
            const view = core.call('view_make', width, height, lend(where), lend(lens));
            if (!view) throw new RangeError('view: out of range');
            return views[views.push(view) - 1];
        };
        try {
            return run(lend, see);
        } finally {
            for (const view of views) core.call('view_free', view);
            for (const block of blocks) core.free(block);
        }
    }

    // The pair that a function of a view finds for another; null for none.
    function findPair(name, view, from) {
        const seen = checked(view);
        return lending((lend, see) => {
            const to = lend(sizes.pair);
            return core.call(name, see(seen), lend(from), to) ? core.read(Float64Array, to, sizes.pair) : null;
        });
    }

    // All records that a function finds, which says how many there are; null for less than none, SIZE_MAX in C.
    function findAll(Type, size, name, argumentsOf) {
        return lending((lend, see) => {
            const first = argumentsOf(lend, see);
            for (let capacity = 2048; ; ) {
                const out = lend(size * capacity),
                    count = core.call(name, ...first, out, capacity);
                if (count <= capacity) return count < 0 ? null : core.read(Type, out, size * count);
                capacity = count;
            }
        });
    }
    const findRuns = (name, argumentsOf) => findAll(Int32Array, sizes.run, name, (lend, see) => argumentsOf(see));

    function findFromPairs(size, name, view, list) {
        const seen = checked(view);
        return findAll(Float64Array, size, name, (lend, see) => [see(seen), ...list(lend)]);
    }

    class Mask extends Owner {
        static make(corners) {
            const list = pairs('corners', corners, 3),
                handle = lending((lend) => core.call('mask_make', ...list(lend)));
            return handle ? new Mask(core, handle, 'mask') : null;
        }

        contains(pan, tilt) {
            const at = pair('pan', pan, 'tilt', tilt);
            return lending((lend) => core.call('mask_contains', handleOf(this), lend(at)) !== 0);
        }

        runs(view, coverage = 'conservative') {
            const seen = checked(view);
            return pick('coverage', coverage, coverages)
                ? findRuns('mask_runs_by_centres', (see) => [handleOf(this), see(seen)])
                : findRuns('mask_runs', (see) => [handleOf(this), see(seen), 0]);
        }

        runsBetween(from, to) {
            const views = [checked(from), checked(to)];
            return findRuns('mask_runs', (see) => [handleOf(this), ...views.map(see)]);
        }

        runsWithin(view, margin) {
            const seen = checked(view),
                degrees = real('margin', margin);
            return findRuns('mask_runs_within', (see) => [handleOf(this), see(seen), degrees]);
        }
    }

    class Picture extends Owner {
        #taken;

        constructor(taken, ...block) {
            super(...block);
            this.#taken = taken;
        }

        static make(view, pixels) {
            const taken = checked(view),
                size = 4 * taken.width * taken.height;
            if (lengthOf(octets('pixels', pixels)) !== size) throw new RangeError(`pixels: expected ${size} bytes`);
            lending((lend, see) => see(taken));
            return new Picture(taken, core, core.allocate(pixels));
        }

        draw(view, into, background = 0) {
            const taken = this.#taken,
                seen = checked(view),
                size = 4 * seen.width * seen.height,
                pixel = pixelOf('background', background);
            target('into', octets('into', into), size);
            lending((lend, see) => {
                const from = [see(taken), handleOf(this), taken.width * taken.height],
                    out = lend(size);
                if (core.call('view_warp', ...from, see(seen), pixel, out, size / 4))
                    throw new VelaError('out of memory');
                core.readInto(into, out, size);
            });
        }
    }

    function hide(picture, runs, cover = {}) {
        const { data, width, height, format = 'rgba', colours = 'bt601Full' } = object('picture', picture),
            { style = 'solid', size = 2, colour = 0 } = object('cover', cover),
            record = new Int32Array(13), // a vela_picture; the module's addresses have 4 bytes
            length = lengthOf(octets('picture.data', data)),
            count = groups('runs', array('runs', runs, 'Int32Array'), 3);
        record.set([
            pixelCount('picture.width', width),
            pixelCount('picture.height', height),
            pick('picture.format', format, formats),
            pick('picture.colours', colours, colourSpaces),
        ]);
        const how = Int32Array.of(
            pick('cover.style', style, styles),
            integer('cover.size', size, 2, 65535),
            pixelOf('cover.colour', colour),
        );
        lending((lend) => {
            const described = lend(record),
                bytes = core.call('picture_lay_out', described, 0, 0) >>> 0;
            if (!bytes || length !== bytes) throw new RangeError(`picture.data: expected ${bytes} bytes`);
            const pixels = lend(data);
            core.call('picture_lay_out', described, pixels, bytes);
            core.call('picture_hide', described, lend(runs), count, lend(how));
            core.readInto(data, pixels, bytes);
        });
    }

    return {
        Mask,
        Picture,
        hide,
        lensOfFov(model, width, height, degrees) {
            const index = 1 + pick('model', model, Object.keys(coefficients)),
                size = [pixelCount('width', width), pixelCount('height', height)],
                record = lensRecord(model, []);
            real('degrees', degrees);
            const [fx, fy, cx, cy] = lending((lend) => {
                const lens = lend(record);
                core.call('lens_of_fov', lens, index, ...size, degrees);
                return core.read(Float64Array, lens, record.byteLength).subarray(2);
            });
            if (fx === 0) throw new RangeError('degrees: out of range');
            return { model, fx, fy, cx, cy };
        },
        project(view, pan, tilt) {
            const at = findPair('view_project', view, pair('pan', pan, 'tilt', tilt));
            return at && { x: at[0], y: at[1] };
        },
        unproject(view, x, y) {
            const shown = findPair('view_unproject', view, pair('x', x, 'y', y));
            return shown && { pan: shown[0], tilt: shown[1] };
        },
        projectPath: (view, path) => findFromPairs(sizes.line, 'view_project_path', view, pairs('path', path)),
        unprojectPolygon: (view, corners) =>
            findFromPairs(sizes.pair, 'view_unproject_polygon', view, pairs('corners', corners)),
    };
}
