import { integer } from './core.js';

const most = 2 ** 52;

function fields(name, time) {
  if (typeof time !== 'object' || time === null) throw new TypeError(`${name}: an object is wanted`);
  return BigInt64Array.of(BigInt(integer(`${name}.seconds`, time.seconds, -most, most)),
    BigInt(integer(`${name}.microseconds`, time.microseconds, -most, most)));
}

export function time(core) {
  const read = (at) => {
    const [seconds, microseconds] = core.copy(BigInt64Array, at, 2);
    return { seconds: Number(seconds), microseconds: Number(microseconds) };
  };
  const combine = (name, a, b) => core.use((room, put) => {
    const to = room(16);
    core.exports[name](to, put(fields('a', a)), put(fields('b', b)));
    return read(to);
  });
  const balance = (time) => core.use((room, put) => {
    const at = put(fields('time', time));
    core.exports.time_balance(at);
    return read(at);
  });
  return {
    balance,
    add: (a, b) => combine('time_add', a, b),
    sub: (a, b) => combine('time_sub', a, b),
    // The library compares balanced times.
    compare: (a, b) => core.use((room, put) =>
      Math.sign(core.exports.time_compare(put(fields('a', balance(a))), put(fields('b', balance(b)))))),
  };
}
