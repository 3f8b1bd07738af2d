import { Owner, groups, handleOf, integer, kindOf, lengthOf, octets, pick } from './core.js';

const kernels = ['bilinear', 'lanczos', 'lanczos2'];
const qualities = ['speech', 'low', 'medium', 'high', 'best'];
const formats = ['littleEndian', 'bigEndian', 'alaw', 'ulaw'];
const sizeOf = (format) => (format < 2 ? 2 : 1);

function areFloats(name, samples) {
    const kind = kindOf(samples);
    if (kind !== 'Float32Array' && kind !== 'Int16Array') {
        throw new TypeError(`${name}: expected Int16Array or Float32Array`);
    }
    return kind === 'Float32Array';
}

const rate = (name, value) => integer(name, value, 1, 0xffffffff);

export function resampler(core) {
    const convert = core.binding('resampler_push'),
        countOutputs = core.binding('resampler_output_count');

    return class Resampler extends Owner {
        // The module's memory for a piece of the stream: where it is, in samples, and how many it takes.
        #in;
        #out;
        #piece;

        constructor(...args) {
            super(...args);
            this.#in = core.call('resampler_in', handleOf(this)) >>> 1;
            this.#out = core.call('resampler_out', handleOf(this)) >>> 1;
            this.#piece = core.call('resampler_piece', handleOf(this));
        }

        static make(outRate, inRate, kernel = 'lanczos2') {
            const out = rate('outRate', outRate),
                input = rate('inRate', inRate),
                index = pick('kernel', kernel, [...kernels, ...qualities]);
            return index < kernels.length
                ? Resampler.#owning('resampler_make', out, input, index)
                : Resampler.#owning('resampler_with_quality', out, input, index - kernels.length);
        }
        static withLobes(outRate, inRate, lobes) {
            const count = integer('lobes', lobes, 1, 0x7fff);
            return Resampler.#owning('resampler_with_lobes', rate('outRate', outRate), rate('inRate', inRate), count);
        }
        static #owning(name, outRate, inRate, kernel) {
            const handle = core.call(name, outRate, inRate, kernel);
            if (!handle) throw new RangeError(`no resampler from ${inRate} to ${outRate}: its kernel is too long`);
            return new Resampler(core, handle, 'resampler');
        }

        setRatio(ratio) {
            if (!core.call('resampler_set_ratio', handleOf(this), ratio)) {
                throw new RangeError('ratio: expected 0.9 to 1.1, of a resampler of a quality');
            }
        }
        follow(fill, target) {
            const frames = [integer('fill', fill, 0, 0xffffffff), integer('target', target, 0, 0xffffffff)];
            if (!core.call('resampler_follow', handleOf(this), ...frames)) {
                throw new RangeError('follow: expected a resampler of a quality');
            }
        }

        outputCount(inputs) {
            return countOutputs(handleOf(this), integer('inputs', inputs, 0, 2 ** 32));
        }

        get latency() {
            return core.call('resampler_latency', handleOf(this));
        }

        push(samples) {
            const Kind = areFloats('samples', samples) ? Float32Array : Int16Array,
                to = new Kind(this.outputCount(lengthOf(samples)));
            this.pushInto(samples, to);
            return to;
        }

        // Nothing is allocated here: an audio worklet must not wait for the garbage collector.
        pushInto(samples, to) {
            const fromFloats = areFloats('samples', samples),
                toFloats = areFloats('to', to),
                count = lengthOf(samples),
                outputs = countOutputs(handleOf(this), count);
            if (lengthOf(to) < outputs) throw new RangeError(`to: expected at least ${outputs} samples`);
            for (let at = 0, done = 0; at < count; ) {
                const piece = Math.min(this.#piece, count - at),
                    memory = core.heap.Int16Array;
                if (fromFloats) {
                    for (let i = 0; i < piece; ++i) {
                        memory[this.#in + i] = Math.max(-32768, Math.min(32767, Math.round(samples[at + i] * 32768)));
                    }
                } else {
                    for (let i = 0; i < piece; ++i) memory[this.#in + i] = samples[at + i];
                }
                const made = convert(handleOf(this), piece),
                    scale = toFloats ? 1 / 32768 : 1;
                for (let i = 0; i < made; ++i) to[done + i] = memory[this.#out + i] * scale;
                at += piece;
                done += made;
            }
            return outputs;
        }

        pushBytes(bytes, inFormat, outFormat) {
            const from = pick('inFormat', inFormat, formats),
                to = pick('outFormat', outFormat, formats);
            groups('bytes', octets('bytes', bytes), sizeOf(from));
            return core.array(Uint8Array, 'resampler_push_bytes', handleOf(this), bytes, from, to);
        }

        flush() {
            return core.array(Int16Array, 'resampler_flush', handleOf(this));
        }
        flushBytes(outFormat) {
            const to = pick('outFormat', outFormat, formats);
            return core.array(Uint8Array, 'resampler_flush_bytes', handleOf(this), to);
        }

        reset() {
            core.call('resampler_reset', handleOf(this));
        }
    };
}
