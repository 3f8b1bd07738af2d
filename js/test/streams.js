// Resamplers, against the model of the library's tests: whole streams, and cut anywhere.
import { deepEqual as same, equal, throws } from 'node:assert/strict';

const tag = (name) => new Uint32Array(new TextEncoder().encode(name).buffer)[0];
const kernels = { bilinear: tag('BILI'), lanczos: tag('LANC'), lanczos2: tag('LAN2') };
const formats = { littleEndian: tag('LEND'), bigEndian: tag('BEND'), alaw: tag('ALAW'), ulaw: tag('ULAW') };

export function testStreams(check, { Resampler }, models) {
    const all = [
        [8000, 44100, 16],
        [48000, 44100, 'lanczos2'],
        [48000, 8000, 'lanczos'],
        [8000, 8000, 3],
        [16000, 1, 'bilinear'],
        [1, 16000, 'lanczos'],
        [9, 7, 'bilinear'],
    ];
    for (const [outRate, inRate, kernel] of all) {
        check(`${inRate} to ${outRate}, ${kernel}`, (random) => {
            const input = random.array(Int16Array, inRate === 1 ? 3 : 9000);
            const bytes = new Uint8Array(input.buffer);
            const type = kernels[kernel] ?? kernel;
            const model = (Type, from, to) =>
                models.array(Type, 'resampled', outRate, inRate, type, formats[from], formats[to], bytes);
            const expected = [...model(Int16Array, 'littleEndian', 'littleEndian')];
            const one = kernels[kernel]
                ? Resampler.make(outRate, inRate, kernel)
                : Resampler.withLobes(outRate, inRate, kernel);
            equal(one.latency, models.call('resampler_latency', outRate, inRate, type));
            same([...one.push(input), ...one.flush()], expected);

            // In pieces of either kind, into either kind.
            const made = [];
            for (let at = 0; at < input.length; ) {
                const piece = input.subarray(at, (at += random.below(6000)));
                const samples = random.below(2) ? piece : Float32Array.from(piece, (sample) => sample / 32768);
                const scale = random.below(2) ? 1 : 32768;
                const to = new (scale === 1 ? Int16Array : Float32Array)(one.outputCount(piece.length) + 1).fill(7);
                equal(one.pushInto(samples, to), to.length - 1);
                equal(to.at(-1), 7);
                for (const sample of to.subarray(0, -1)) made.push(sample * scale);
            }
            same(made, expected.slice(0, made.length));
            one.reset();
            same(
                one.push(Float32Array.from(input, (sample) => sample / 32768)),
                Float32Array.from(made, (sample) => sample / 32768),
            );
            one.reset();
            for (const from in formats) {
                for (const to in formats) {
                    const converted = Uint8Array.from([...one.pushBytes(bytes, from, to), ...one.flushBytes(to)]);
                    same(converted, model(Uint8Array, from, to), `${from} to ${to}`);
                }
            }
            one.free();
        });
    }
    const qualities = ['speech', 'low', 'medium', 'high', 'best'];
    for (const [index, quality] of qualities.entries()) {
        check(`44100 to 16000, ${quality}`, (random) => {
            const input = random.array(Int16Array, 9000);
            const expected = models.array(Int16Array, 'converted', 16000, 44100, index, 1, input);
            const one = Resampler.make(16000, 44100, quality);
            same(Int16Array.of(...one.push(input), ...one.flush()), expected);
            const bytes = new Uint8Array(input.buffer);
            const from = one.pushBytes(bytes, 'littleEndian', 'littleEndian');
            same(new Int16Array(from.buffer), expected.subarray(0, from.length / 2));
            one.reset();
            const law = Resampler.make(8000, 8000, 'bilinear').pushBytes(bytes, 'littleEndian', 'alaw');
            const linear = Resampler.make(8000, 8000, 'bilinear').pushBytes(law, 'alaw', 'littleEndian');
            const byLaw = one.pushBytes(law, 'alaw', 'littleEndian');
            const late = one.flushBytes('bigEndian');
            same(byLaw, one.pushBytes(linear, 'littleEndian', 'littleEndian'));
            same(late, one.flushBytes('bigEndian'));

            one.setRatio(1.1);
            const made = one.outputCount(44100);
            equal(Math.abs(made - 17600) < 2, true);
            equal(one.push(new Int16Array(44100)).length, made);
            one.follow(100, 200);
            equal(one.outputCount(44100) >= 16000, true);
            for (const ratio of [0.8, 1.2, NaN]) throws(() => one.setRatio(ratio), RangeError);
            throws(() => one.follow(-1, 0), RangeError);
            one.free();
        });
    }
    for (const [index, quality] of qualities.entries()) {
        for (const Type of [Int16Array, Float32Array]) {
            const channels = index + 2;
            check(`${channels} channels of ${Type.name}, 16000 to 22050, ${quality}`, (random) => {
                const floats = Type === Float32Array,
                    input = Type.from(random.array(Int16Array, 1200 * channels), (x) => (floats ? x / 16384 : x)),
                    model = floats ? 'converted_floats' : 'converted',
                    expected = models.array(Type, model, 22050, 16000, index, channels, input),
                    one = Resampler.make(22050, 16000, quality, { channels, floats }),
                    made = [];
                for (let at = 0; at < input.length; ) {
                    const piece = input.subarray(at, (at += channels * random.below(400)));
                    const outputs = one.outputCount(piece.length / channels) * channels;
                    made.push(...one.push(piece));
                    equal(made.length % channels, 0);
                    equal(outputs <= made.length, true);
                }
                const late = one.flush();
                equal(late.constructor, Type);
                same(Type.of(...made, ...late), expected);

                // The other kind of samples is scaled, both ways.
                const Other = floats ? Int16Array : Float32Array,
                    other = Other.from(input, (x) => (floats ? Math.round(x * 8192) : x / 32768)),
                    again = one.push(other),
                    to = new Type(again.length);
                one.reset();
                one.pushInto(other, to);
                same(
                    again,
                    Other.from(to, (x) => (floats ? Math.round(x * 32768) : x / 32768)),
                );
                throws(() => one.push(new Type(channels + 1)), RangeError);
                if (floats) {
                    throws(() => one.pushBytes(new Uint8Array(4 * channels), 'littleEndian', 'alaw'), RangeError);
                    throws(() => one.flushBytes('alaw'), RangeError);
                }
                one.free();
            });
        }
    }
    check('options of kernels and qualities', () => {
        for (const options of [{ channels: 2 }, { floats: true }]) {
            throws(() => Resampler.make(1, 1, 'bilinear', options), RangeError);
        }
        for (const channels of [0, 9, 1.5]) {
            throws(() => Resampler.make(1, 1, 'low', { channels }), RangeError);
        }
    });
    check('samples beyond the range, and between integers', () => {
        const one = Resampler.make(1, 1, 'bilinear');
        const made = [...one.push(Float32Array.of(2, -2, 0.5, 1.6 / 32768, -1.6 / 32768)), ...one.flush()];
        same(made.slice(0, 5), [32767 / 32768, -1, 0.5, 2 / 32768, -2 / 32768]);
        one.free();
    });
}
