import { array, pick } from './core.js';

const most = 0x7FFF, line = 0x656E694C, spline = 0x696C7053;
const methods = { line: 'line', spline: 'spline', fixedSpline: 'fixedSpline' };

// The nearest integer, away from 0 from the middle on, as round() of C has it.
const rounded = (value) => Math.sign(value) * Math.round(Math.abs(value));

export function curve(core) {
  const checked = (knots, mayStay) => {
    const count = array('knots', knots, 'Int16Array').length / 2;
    if (!Number.isInteger(count) || count < 1 || count > most) throw new RangeError(`knots: pairs of x and y are wanted, 1 to ${most}`);
    for (let i = 2; i < knots.length; i += 2) {
      if (knots[i] < knots[i - 2] || (knots[i] === knots[i - 2] && !mayStay)) throw new RangeError('knots: their x do not rise');
    }
    return count;
  };
  const table = (name, type, Type, knots, count) => core.use((room, put) => {
    const length = knots.at(-2) - knots[0] + 1, to = room(length * Type.BYTES_PER_ELEMENT);
    core.exports[name](put(Uint32Array.of(type, count, put(knots))), to);
    return core.copy(Type, to, length);
  });
  const floats = (knots, count) => {
    const values = table('spline_interpolate_float', spline, Float32Array, knots, count);
    if (count === 1) values[0] = knots[1]; // the function gives 0
    return values;
  };

  return {
    table(method, knots) {
      const how = pick('method', method, methods), count = checked(knots, how === 'line');
      if (count === 1) return Int16Array.of(knots[1]);
      if (how === 'line') return table('linear_interpolate', line, Int16Array, knots, count);
      if (how === 'fixedSpline') return table('spline_interpolate', spline, Int16Array, knots, count);
      return Int16Array.from(floats(knots, count), (value) => Math.min(0x7FFF, Math.max(-0x8000, rounded(value))));
    },
    floatTable: (knots) => floats(knots, checked(knots, false)),
  };
}
