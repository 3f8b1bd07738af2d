// Generated numbers, the same in each run and on every host.
export function generator(seed = 2463534242) {
    let state = seed;
    const next = () => {
        state ^= state << 13;
        state ^= state >>> 17;
        state ^= state << 5;
        return state >>> 0;
    };
    const real = (limit) => (next() / 2 ** 31 - 1) * limit;
    return {
        real,
        word: () => next() | 0,
        below: (limit) => next() % limit,
        between: (min, max) => min + (next() % (max - min + 1)),
        array: (Type, count) => Type.from({ length: count }, next),
        floats: (count, limit) => Float32Array.from({ length: count }, () => real(limit)),
        text: (characters, limit) =>
            Array.from({ length: next() % limit }, () => characters[next() % characters.length]).join(''),
    };
}
