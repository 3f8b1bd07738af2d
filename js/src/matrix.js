import { Owner, array, groups, handleOf, integer, lengthOf, object, real, sameLengths } from './core.js';

const floats = (name, value) => array(name, value, 'Float32Array');
const size = (name, value) => integer(name, value, 0, 0x7fffffff);

// Each field is read once: a matrix may be any object.
function checked(name, value) {
    const { rows, cols, elements } = object(name, value);
    size(`${name}.rows`, rows);
    size(`${name}.cols`, cols);
    if (lengthOf(floats(`${name}.elements`, elements)) !== rows * cols) {
        throw new RangeError(`${name}.elements: expected rows x cols elements`);
    }
    return { rows, cols, elements };
}

// As bindings take a matrix.
const parts = ({ rows, cols, elements }) => [rows, cols, elements];

function coordinates(name, values) {
    const count = lengthOf(array(name, values, 'Uint16Array'));
    for (let i = 0; i < count; ++i) if (values[i] > 46340) throw new RangeError(`${name}: expected at most 46340`);
    return values;
}

function samples(names, ...arrays) {
    sameLengths(names, ...arrays);
    if (lengthOf(arrays[0]) === 0) throw new RangeError(`${names}: expected one sample or more`);
    return arrays;
}

export function matrix(core) {
    class Polynomial extends Owner {
        value(x) {
            return core.call('polynomial_value', handleOf(this), real('x', x));
        }
        coefficients() {
            return core.array(Float32Array, 'polynomial_coefficients', handleOf(this));
        }
    }

    class Surface extends Owner {
        value(x, y) {
            return core.call('surface_value', handleOf(this), real('x', x), real('y', y));
        }
        coefficients() {
            return core.array(Float32Array, 'surface_coefficients', handleOf(this));
        }
    }

    const result = (rows, cols, elements) => elements && { rows, cols, elements };
    const inverse = (name, count, elements) => {
        if (lengthOf(floats('elements', elements)) !== count) throw new RangeError(`elements: expected ${count}`);
        return core.array(Float32Array, name, elements);
    };

    return {
        make: (rows, cols) => ({ rows, cols, elements: new Float32Array(size('rows', rows) * size('cols', cols)) }),

        of(rows, cols, values) {
            const { elements } = checked('matrix', { rows, cols, elements: values });
            return { rows, cols, elements: new Float32Array(elements) };
        },

        transposed(a) {
            const { rows, cols, elements } = checked('a', a);
            return result(cols, rows, core.array(Float32Array, 'matrix_transposed', rows, cols, elements));
        },

        product(a, b) {
            const left = checked('a', a),
                right = checked('b', b);
            if (left.cols !== right.rows) throw new RangeError(`b: expected ${left.cols} rows`);
            const elements = core.array(Float32Array, 'matrix_product', ...parts(left), ...parts(right));
            return result(left.rows, right.cols, elements);
        },

        inverse(a) {
            const { rows, cols, elements } = checked('a', a);
            if (rows !== cols || rows > 24) throw new RangeError('a: expected a square matrix of at most 24 rows');
            return result(rows, cols, core.array(Float32Array, 'matrix_inverse', rows, cols, elements));
        },
        inverse3x3: (elements) => inverse('matrix_inverse_3x3', 9, elements),
        inverse4x4: (elements) => inverse('matrix_inverse_4x4', 16, elements),

        decompose(a) {
            const { rows, cols, elements } = checked('a', a),
                all = core.array(Float32Array, 'matrix_decompose', rows, cols, elements),
                count = rows * cols;
            return (
                all && {
                    u: result(rows, cols, all.slice(0, count)),
                    values: all.slice(count, count + cols),
                    v: result(cols, cols, all.slice(count + cols)),
                }
            );
        },

        leastSquares(a, b) {
            const left = checked('a', a);
            if (left.rows !== lengthOf(floats('b', b))) throw new RangeError(`b: expected ${left.rows} numbers`);
            return core.array(Float32Array, 'matrix_least_squares', ...parts(left), b);
        },

        fitPolynomial(xs, ys, degree) {
            sameLengths('xs, ys', floats('xs', xs), floats('ys', ys));
            const handle = core.call('fit_polynomial', xs, ys, integer('degree', degree, 0, 0xffff));
            return handle ? new Polynomial(core, handle, 'polynomial') : null;
        },

        fitSurface(xs, ys, zs) {
            sameLengths('xs, ys, zs', floats('xs', xs), floats('ys', ys), floats('zs', zs));
            const handle = core.call('fit_surface', xs, ys, zs);
            return handle ? new Surface(core, handle, 'surface') : null;
        },

        polyfit(xs, ys, count) {
            samples('xs, ys', floats('xs', xs), floats('ys', ys));
            return core.array(Float32Array, 'polyfit', xs, ys, integer('count', count, 1, 0xffff));
        },

        polyfit2D(xs, ys, zs) {
            samples('xs, ys, zs', coordinates('xs', xs), coordinates('ys', ys), floats('zs', zs));
            return core.array(Float32Array, 'polyfit_2d', xs, ys, zs);
        },

        poly2DValue(x, y, coefficients) {
            if (groups('coefficients', floats('coefficients', coefficients), 6) !== 1) {
                throw new RangeError('coefficients: expected 6');
            }
            return core.call('poly_2d_value', coefficients, real('x', x), real('y', y));
        },
    };
}
