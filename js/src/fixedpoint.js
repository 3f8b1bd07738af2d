import { int32, integer, uint32 } from './core.js';

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
