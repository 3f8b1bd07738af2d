import { int32, integer, uint32 } from './core.js';

const tables = { sines: ['sinDegQ4inQ12out_table', 1441], arcsines: ['asinDegQ10inQ10out_table', 2049] };

export function fixedpoint(core) {
  const { exports } = core;
  const table = ([name, length]) => core.copy(Int32Array, exports[name].value, length);
  return {
    sinQ10inQ12out: (angle) => exports.sinQ10inQ12out(int32('angle', angle)),
    sqrtQ20ToQ10: (x) => exports.sqrtQ20_to_Q10(integer('x', x, 0, 2 ** 31)),
    intSqrt: (x) => exports.int_sqrt(uint32('x', x)),
    sinQ15: (x) => exports.sin_q15(int32('x', x)),
    sincQ15: (x) => exports.sinc_q15(integer('x', x, -333771, 333771)),
    lanczosQ15: (a, x) => exports.Lanczos_q15(int32('a', a), int32('x', x)),
    reciprocal: (a, bits) => exports.reciprocal(int32('a', a), integer('bits', bits, 0, 30)),
    ceilLog2: (x) => exports.ceil_log2(uint32('x', x)),
    sines: () => table(tables.sines),
    arcsines: () => table(tables.arcsines),
  };
}
