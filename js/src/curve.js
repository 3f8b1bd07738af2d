import { array, groups, pick } from './core.js';

const methods = ['line', 'spline', 'fixedSpline'];

export function curve(core) {
    const table = (Type, name, knots, ...args) => {
        groups('knots', array('knots', knots, 'Int16Array'), 2);
        const values = core.array(Type, name, ...args, knots);
        if (!values) throw new RangeError('knots: expected 1 to 32767 pairs of x and y with rising x');
        return values;
    };
    return {
        table: (method, knots) => table(Int16Array, 'curve_table', knots, pick('method', method, methods)),
        floatTable: (knots) => table(Float32Array, 'curve_float_table', knots),
    };
}
