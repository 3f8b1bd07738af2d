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

// Copies samples of either kind as either.
function copy(from, at, fromFloats, to, first, toFloats, count) {
    if (fromFloats === toFloats) {
        for (let i = 0; i < count; ++i) to[first + i] = from[at + i];
    } else if (toFloats) {
        for (let i = 0; i < count; ++i) to[first + i] = from[at + i] / 32768;
    } else {
        for (let i = 0; i < count; ++i) {
            to[first + i] = Math.max(-32768, Math.min(32767, Math.round(from[at + i] * 32768)));
        }
    }
}

const rate = (name, value) => integer(name, value, 1, 0xffffffff);

export function resampler(core) {
    const convert = core.binding('resampler_push'),
        countOutputs = core.binding('resampler_output_count');

    return class Resampler extends Owner {
        // The module's memory for a piece of the stream: where it is, in samples of a type, and how many it takes.
        #Type;
        #in;
        #out;
        #piece;
        #channels;

        constructor(owner, handle, type, Type, channels) {
            super(owner, handle, type);
            const size = Type.BYTES_PER_ELEMENT;
            this.#Type = Type;
            this.#in = (core.call('resampler_in', handle) >>> 0) / size;
            this.#out = (core.call('resampler_out', handle) >>> 0) / size;
            this.#piece = core.call('resampler_piece', handle);
            this.#channels = channels;
        }

        static make(outRate, inRate, kernel = 'lanczos2', { channels = 1, floats = false } = {}) {
            const out = rate('outRate', outRate),
                input = rate('inRate', inRate),
                index = pick('kernel', kernel, [...kernels, ...qualities]),
                count = integer('channels', channels, 1, index < kernels.length ? 1 : 8);
            if (index >= kernels.length) {
                const made = [out, input, index - kernels.length, count, floats ? 1 : 0];
                return Resampler.#owning('resampler_with_quality', floats ? Float32Array : Int16Array, count, ...made);
            }
            if (floats) throw new RangeError('floats: expected a quality');
            return Resampler.#owning('resampler_make', Int16Array, 1, out, input, index);
        }
        static withLobes(outRate, inRate, lobes) {
            const count = integer('lobes', lobes, 1, 0x7fff);
            const rates = [rate('outRate', outRate), rate('inRate', inRate)];
            return Resampler.#owning('resampler_with_lobes', Int16Array, 1, ...rates, count);
        }
        static #owning(name, Type, channels, outRate, inRate, ...others) {
            const handle = core.call(name, outRate, inRate, ...others);
            if (!handle) throw new RangeError(`no resampler from ${inRate} to ${outRate}: its kernel is too long`);
            return new Resampler(core, handle, 'resampler', Type, channels);
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

        // The samples that those of a push give.
        #outputs(samples) {
            return countOutputs(handleOf(this), this.#frames(samples)) * this.#channels;
        }
        #frames(samples) {
            return groups('samples', samples, this.#channels);
        }

        push(samples) {
            const Kind = areFloats('samples', samples) ? Float32Array : Int16Array,
                to = new Kind(this.#outputs(samples));
            this.pushInto(samples, to);
            return to;
        }

        // Nothing is allocated here: an audio worklet must not wait for the garbage collector.
        pushInto(samples, to) {
            const fromFloats = areFloats('samples', samples),
                toFloats = areFloats('to', to),
                hasFloats = this.#Type === Float32Array,
                count = lengthOf(samples),
                outputs = this.#outputs(samples);
            if (lengthOf(to) < outputs) throw new RangeError(`to: expected at least ${outputs} samples`);
            for (let at = 0, done = 0; at < count; ) {
                const piece = Math.min(this.#piece, count - at),
                    memory = hasFloats ? core.heap.Float32Array : core.heap.Int16Array;
                copy(samples, at, fromFloats, memory, this.#in, hasFloats, piece);
                const made = convert(handleOf(this), piece);
                copy(
                    hasFloats ? core.heap.Float32Array : core.heap.Int16Array,
                    this.#out,
                    hasFloats,
                    to,
                    done,
                    toFloats,
                    made,
                );
                at += piece;
                done += made;
            }
            return outputs;
        }

        pushBytes(bytes, inFormat, outFormat) {
            const from = pick('inFormat', inFormat, formats),
                to = pick('outFormat', outFormat, formats);
            groups('bytes', octets('bytes', bytes), sizeOf(from) * this.#channels);
            this.#refuseFloats();
            return core.array(Uint8Array, 'resampler_push_bytes', handleOf(this), bytes, from, to);
        }

        flush() {
            return core.array(this.#Type, 'resampler_flush', handleOf(this));
        }
        flushBytes(outFormat) {
            const to = pick('outFormat', outFormat, formats);
            this.#refuseFloats();
            return core.array(Uint8Array, 'resampler_flush_bytes', handleOf(this), to);
        }
        #refuseFloats() {
            if (this.#Type === Float32Array) throw new RangeError('bytes: expected a resampler of 16-bit samples');
        }

        reset() {
            core.call('resampler_reset', handleOf(this));
        }
    };
}
