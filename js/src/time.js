import { integer, object } from './core.js';

const max = 2 ** 52;

function fields(name, time) {
    const { seconds, microseconds } = object(name, time);
    return [integer(`${name}.seconds`, seconds, -max, max), integer(`${name}.microseconds`, microseconds, -max, max)];
}

export function time(core) {
    const made = (name, ...args) => {
        const [seconds, microseconds] = core.array(Float64Array, name, ...args);
        return { seconds, microseconds };
    };
    return {
        balance: (time) => made('time_balance', ...fields('time', time)),
        add: (a, b) => made('time_add', ...fields('a', a), ...fields('b', b)),
        sub: (a, b) => made('time_sub', ...fields('a', a), ...fields('b', b)),
        compare: (a, b) => Math.sign(core.call('time_compare', ...fields('a', a), ...fields('b', b))),
    };
}
