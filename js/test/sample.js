// Generated inputs, and results of every module for comparison between hosts: numbers and texts alone.

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

export function sample(vela) {
    const random = generator(),
        bytes = random.array(Uint8Array, 3000),
        hull = vela.Hull.ofPixels(bytes),
        resampler = vela.Resampler.withLobes(8000, 44100, 16),
        view = { width: 1280, height: 720, panQ10: 40000, tiltQ10: -9000, fovQ10: 61440 },
        { values } = vela.matrix.decompose(vela.matrix.of(24, 12, random.floats(288, 60))),
        points = vela.spheremap.screenToSphere(
            random.array(Int32Array, 200).map((one) => one % 1280),
            view,
        );
    const all = {
        base64: vela.base64.encode(bytes),
        colour: vela.colour.toRgb('bt709', bytes),
        curve: vela.curve.floatTable(Int16Array.of(0, 3, 40, 200, 90, 7, 255, 255)),
        fixedpoint: Array.from({ length: 99 }, (_, i) => vela.fixedpoint.sinQ15(i * 9999 - 500000)),
        hull: hull.faces(),
        matrix: values,
        resampler: resampler.pushBytes(bytes, 'littleEndian', 'ulaw'),
        spheremap: [...points, ...vela.spheremap.sphereToScreen(points, view).points],
        text: vela.text.bin2hex(bytes),
        time: vela.time.sub({ seconds: 5, microseconds: 3 }, { seconds: 0, microseconds: 2000007 }),
        url: vela.url.decodeForm(vela.url.encodeForm('a b&ü€😀\ud800')),
        uuid: vela.uuid.toString(bytes.subarray(0, 16)),
    };
    hull.free();
    resampler.free();
    return Object.entries(all).map(([name, one]) => [name, ArrayBuffer.isView(one) ? Array.from(one) : one]);
}
