import { array, groups, integer, real } from './core.js';

const floats = (name, value) => array(name, value, 'Float32Array');
const size = (name, value) => integer(name, value, 0, 0x7FFFFFFF);

const dependent = 1e-6; // of the largest singular value

function checked(name, value) {
  if (typeof value !== 'object' || value === null) throw new TypeError(`${name}: a matrix is wanted`);
  const { rows, cols, elements } = value;
  if (floats(`${name}.elements`, elements).length !== size(`${name}.rows`, rows) * size(`${name}.cols`, cols)) {
    throw new RangeError(`${name}: rows x cols elements are wanted`);
  }
  return value;
}

export function matrix(core) {
  const { exports } = core;
  const make = (rows, cols) => ({ rows, cols, elements: new Float32Array(size('rows', rows) * size('cols', cols)) });

  // A record of the module's, and what it holds.
  const record = (put, { rows, cols, elements }) => put(Uint32Array.of(rows, cols, put(elements)));
  const read = (at) => {
    const [rows, cols, data] = core.copy(Uint32Array, at, 3);
    return { rows, cols, elements: core.copy(Float32Array, data, rows * cols) };
  };

  const decompose = (a) => core.use((room, put) => {
    const results = put(new Uint32Array(3)), failed = exports.svdcmp(record(put, a), results, results + 4, results + 8);
    const made = [...core.copy(Uint32Array, results, 3)];
    try {
      if (failed) return null;
      const [u, w, v] = made.map(read);
      return { u, values: Float32Array.from({ length: a.cols }, (_, i) => w.elements[i * (a.cols + 1)]), v };
    } finally {
      made.forEach((at) => exports.free_matrix(at));
    }
  });

  const inverse = (name, count, elements) => {
    if (floats('elements', elements).length !== count) throw new RangeError(`elements: ${count} are wanted`);
    return core.use((room, put) => {
      const at = put(elements);
      return exports[name](at, at) ? null : core.copy(Float32Array, at, count);
    });
  };

  const sameLength = (...all) => {
    if (all.some((one) => one.length !== all[0].length)) throw new RangeError('samples: as many of each are wanted');
    if (all[0].length === 0) throw new RangeError('samples: one or more are wanted');
  };

  return {
    make,

    of(rows, cols, values) {
      const made = make(rows, cols);
      if (floats('values', values).length !== made.elements.length) throw new RangeError('values: rows x cols are wanted');
      made.elements.set(values);
      return made;
    },

    transposed(a) {
      const made = make(checked('a', a).cols, a.rows);
      for (let i = 0; i < a.rows; ++i) {
        for (let j = 0; j < a.cols; ++j) made.elements[j * a.rows + i] = a.elements[i * a.cols + j];
      }
      return made;
    },

    product(a, b) {
      if (checked('a', a).cols !== checked('b', b).rows) throw new RangeError(`a has ${a.cols} columns, b ${b.rows} rows`);
      return core.use((room, put) => {
        const to = record(put, make(a.rows, b.cols));
        exports.matrix_mult(record(put, a), record(put, b), to);
        return read(to);
      });
    },

    inverse(a) {
      if (checked('a', a).rows !== a.cols || a.rows > 24) throw new RangeError('a: a square matrix of at most 24 rows is wanted');
      return core.use((room, put) => {
        const at = record(put, a);
        return exports.matrix_inverse(at, at) ? null : read(at);
      });
    },
    inverse3x3: (elements) => inverse('inverse_3x3', 9, elements),
    inverse4x4: (elements) => inverse('inverse_4x4', 16, elements),

    decompose: (a) => decompose(checked('a', a)),

    leastSquares(a, b) {
      if (checked('a', a).rows !== floats('b', b).length) throw new RangeError('b: a number for each row of a is wanted');
      if (a.rows < a.cols) return null;
      const svd = decompose(a);
      if (!svd || !(Math.min(...svd.values) > Math.fround(Math.fround(dependent) * Math.max(0, ...svd.values)))) return null;
      return core.use((room, put) => {
        const x = record(put, make(a.cols, 1));
        const failed = exports.pseudo_inverse(record(put, a), record(put, { rows: b.length, cols: 1, elements: b }), x);
        return failed ? null : read(x).elements;
      });
    },

    polyfit(xs, ys, count) {
      sameLength(floats('xs', xs), floats('ys', ys));
      integer('count', count, 1, 0xFFFF);
      return core.use((room, put) => {
        const to = room(4 * count);
        return exports.polyfit(put(xs), put(ys), xs.length, count, to) ? null : core.copy(Float32Array, to, count);
      });
    },

    polyfit2D(xs, ys, zs) {
      sameLength(array('xs', xs, 'Uint16Array'), array('ys', ys, 'Uint16Array'), floats('zs', zs));
      if ([xs, ys].some((all) => all.some((one) => one > 46340))) throw new RangeError('xs, ys: at most 46340');
      return core.use((room, put) => {
        const to = room(24);
        return exports.polyfit2D(put(xs), put(ys), put(zs), xs.length, to) ? null : core.copy(Float32Array, to, 6);
      });
    },

    poly2DValue(x, y, coefficients) {
      if (groups('coefficients', floats('coefficients', coefficients), 6) !== 1) throw new RangeError('coefficients: six are wanted');
      return core.use((room, put) => exports.poly2D_value(real('x', x), real('y', y), put(coefficients)));
    },
  };
}
