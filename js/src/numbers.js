// Fixed point and curves.
import { array, groups, int32, integer, pick, uint32 } from './core.js';

export const fixedpoint = (core) => ({
    sinQ10inQ12out: (angle) => core.call('fixedpoint_sin_q10_in_q12_out', int32('angle', angle)),
    sqrtQ20ToQ10: (x) => core.call('fixedpoint_sqrt_q20_to_q10', integer('x', x, 0, 2 ** 31)),
    intSqrt: (x) => core.call('fixedpoint_int_sqrt', uint32('x', x)),
    sinQ15: (x) => core.call('fixedpoint_sin_q15', int32('x', x)),
    sincQ15: (x) => core.call('fixedpoint_sinc_q15', integer('x', x, -333771, 333771)),
    lanczosQ15: (a, x) => core.call('fixedpoint_lanczos_q15', int32('a', a), int32('x', x)),
    reciprocal: (a, bits) => core.call('fixedpoint_reciprocal', int32('a', a), integer('bits', bits, 0, 30)),
    ceilLog2: (x) => core.call('fixedpoint_ceil_log2', uint32('x', x)),
    sines: () => core.array(Int32Array, 'fixedpoint_sines'),
    arcsines: () => core.array(Int32Array, 'fixedpoint_arcsines'),
});

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
