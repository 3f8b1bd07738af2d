// Fixed point, curves, matrices and fits, against the models of the library's tests and what they must satisfy.
import { deepEqual as same, equal, notEqual, ok, throws } from 'node:assert/strict';

export const near = (actual, expected, tolerance, what) =>
    ok(Math.abs(actual - expected) <= tolerance, `${what}: ${actual}, expected ${expected}`);

export function testNumbers(check, vela, models) {
    check('fixed point', (random) => {
        const { fixedpoint: fixed } = vela;
        const sines = Int32Array.from({ length: 1441 }, (_, i) => models.call('sine_entry', i));
        const arcsines = Int32Array.from({ length: 2049 }, (_, i) => models.call('arcsine_entry', i - 1024));
        same([fixed.sines(), fixed.arcsines()], [sines, arcsines]);
        for (let i = 0; i < 3000; ++i) {
            const x = random.word();
            const small = random.between(-333771, 333771);
            const bits = random.below(31);
            const square = random.below(2 ** 31 + 1);
            equal(fixed.sinQ10inQ12out(x), models.call('sine_q12', x), `sinQ10inQ12out(${x})`);
            equal(fixed.sinQ15(x >> 8), models.call('sine_q15', x >> 8), `sinQ15(${x >> 8})`);
            equal(fixed.sincQ15(small), models.call('sinc_q15', small), `sincQ15(${small})`);
            const a = random.between(-1, 9);
            equal(fixed.lanczosQ15(a, small), models.call('lanczos_q15', a, small), `lanczosQ15(${a}, ${small})`);
            equal(fixed.sqrtQ20ToQ10(square), Math.min(2048, Math.ceil(Math.sqrt(square))), `sqrtQ20ToQ10(${square})`);
            equal(fixed.intSqrt(x >>> 0), Math.floor(Math.sqrt(x >>> 0)), `intSqrt(${x >>> 0})`);
            equal(fixed.ceilLog2(x >>> bits), 32 - Math.clz32(x >>> bits), `ceilLog2(${x >>> bits})`);
        }
        same([fixed.reciprocal(3, 10), fixed.reciprocal(-3, 10), fixed.reciprocal(7, 20)], [341, -341, 149796]);
        same([0, 1, 2 ** 31, 2 ** 32 - 1].map(fixed.ceilLog2), [0, 1, 32, 32]);
    });

    check('curves', (random) => {
        const { curve } = vela;
        const rounded = (value) => Math.sign(value) * Math.floor(Math.abs(value) + 0.5); // halves away from 0
        for (let round = 0; round < 300; ++round) {
            const rising = [];
            const staying = [];
            for (let x = random.between(-40, 0); x < 250; x += random.between(1, 60)) {
                rising.push(x, random.between(-300, 300));
                staying.push(x, random.between(-300, 300), ...(random.below(4) ? [] : [x, random.between(-9, 9)]));
            }
            const knots = Int16Array.from(rising);
            const steps = Int16Array.from(staying);
            const spline = models.array(Float32Array, 'curve_spline', knots);
            same(curve.table('line', steps), models.array(Int16Array, 'curve_line', steps));
            same(curve.table('fixedSpline', knots), models.array(Int16Array, 'curve_fixed_spline', knots));
            same(curve.floatTable(knots), spline);
            same(curve.table('spline', knots), Int16Array.from(spline, rounded));
        }
        same([...curve.table('spline', Int16Array.of(0, -3, 2, 2))], [-3, -1, 2]);
        const limits = curve.table('spline', Int16Array.of(0, -32768, 1, 32767, 40, 32767, 41, -32768));
        same([limits[0], Math.max(...limits)], [-32768, 32767]);
        const single = Int16Array.of(3, -7);
        const tables = ['line', 'spline', 'fixedSpline'].map((method) => curve.table(method, single));
        same(
            [...tables, curve.floatTable(single)].flatMap((one) => [...one]),
            [-7, -7, -7, -7],
        );
    });

    check('matrices', (random) => {
        const { matrix } = vela;
        same(matrix.make(2, 3), { rows: 2, cols: 3, elements: new Float32Array(6) });
        for (let round = 0; round < 60; ++round) {
            const [rows, cols, others] = [1, 1, 1].map(() => random.between(1, 9));
            const values = random.floats(rows * cols, 100);
            const a = matrix.of(rows, cols, values);
            const b = matrix.of(cols, others, random.floats(cols * others, 100));
            same(a, { rows, cols, elements: values });
            notEqual(a.elements, values);
            const product = models.array(Float32Array, 'matrix_product', rows, cols, values, others, b.elements);
            same(matrix.product(a, b), { rows, cols: others, elements: product });
            const transposed = values.map((_, i) => values[(i % rows) * cols + Math.floor(i / rows)]);
            same(matrix.transposed(a), { rows: cols, cols: rows, elements: transposed });

            // a = u diag(values) v^T, with v orthogonal.
            const { u, values: singular, v } = matrix.decompose(a);
            same([u.rows, u.cols, singular.length, v.rows, v.cols], [rows, cols, cols, cols, cols]);
            ok(singular.every((one) => one >= 0));
            const scaled = matrix.of(
                rows,
                cols,
                u.elements.map((one, i) => one * singular[i % cols]),
            );
            const back = matrix.product(scaled, matrix.transposed(v));
            back.elements.forEach((one, i) => near(one, values[i], 1e-3, `element ${i} of u w v^T`));
            checkUnit(matrix.product(v, matrix.transposed(v)), 1e-5);

            const square = random.floats(rows * rows, 10);
            const inverse = models.array(Float32Array, 'matrix_inverse', rows, square);
            same(matrix.inverse(matrix.of(rows, rows, square)), inverse && { rows, cols: rows, elements: inverse });
            const [three, four] = [9, 16].map((count) => random.floats(count, 10));
            same(matrix.inverse3x3(three), models.array(Float32Array, 'matrix_inverse_3x3', three));
            checkUnit(matrix.product(matrix.of(4, 4, four), matrix.of(4, 4, matrix.inverse4x4(four))), 0.01);
        }
        const line = matrix.of(3, 2, Float32Array.of(1, 0, 1, 1, 1, 2));
        matrix.leastSquares(line, Float32Array.of(1, 3, 5)).forEach((one, i) => near(one, i + 1, 1e-5, `x ${i}`));
    });

    check('fits', (random) => {
        const { matrix } = vela;
        const cubic = (x) => 3 - x + x * x * (x - 900) * 1e-3;
        const xs = Float32Array.from({ length: 40 }, (_, i) => 1000 + 25 * i);
        const fit = matrix.fitPolynomial(xs, xs.map(cubic), 3);
        for (const x of [1000, 1333, 1975]) near(fit.value(x), cubic(x), 10, `the cubic at ${x}`); // up to 4 million
        const atLeftEnd = fit.coefficients().reduce((sum, one, i) => sum + one * (-1) ** i, 0);
        near(atLeftEnd, cubic(1000), 10, 'the sum of coefficients at -1');
        equal(fit.coefficients().length, 4);
        fit.free();
        throws(() => fit.value(1), TypeError);

        const surface = (x, y) => 5 + 2 * x - 3 * y + 0.5 * x * x - x * y + 0.25 * y * y;
        const [us, vs] = [1, 1].map(() => random.floats(200, 1));
        const heights = us.map((u, i) => surface(u, vs[i]));
        const [wide, high] = [us.map((u) => 960 * (1 + u)), vs.map((v) => 540 * (1 + v))];
        const plane = matrix.fitSurface(wide, high, heights);
        for (let i = 0; i < 9; ++i) near(plane.value(wide[i], high[i]), heights[i], 1e-3, `height ${i}`);
        near(matrix.poly2DValue(1, -1, plane.coefficients()), surface(1, -1), 0.2, 'a corner in scaled coordinates');
        plane.free();

        const [x, y] = [1, 1].map(() => Uint16Array.from({ length: 30 }, () => random.below(16)));
        const c = matrix.polyfit2D(
            x,
            y,
            Float32Array.from(x, (one, i) => surface(one, y[i])),
        );
        [5, -3, 2, 0.25, -1, 0.5].forEach((one, i) => near(c[i], one, 0.01, `coefficient ${i}`));
        near(matrix.poly2DValue(3, 4, c), surface(3, 4), 0.05, 'the small surface');
        const line = matrix.polyfit(Float32Array.of(0, 1, 2, 3), Float32Array.of(7, 5, 3, 1), 2);
        line.forEach((one, i) => near(one, [7, -2][i], 1e-4, `power ${i}`));
    });
}

const checkUnit = ({ cols, elements }, tolerance) =>
    elements.forEach((one, i) => near(one, i % (cols + 1) ? 0 : 1, tolerance, `element ${i} of a unit matrix`));
