import { Owner, VelaError, integer, kindOf, octets, pick } from './core.js';

const kernels = {
  bilinear: { tag: 0x494C4942, lobes: 1 },
  lanczos: { tag: 0x434E414C, lobes: 1 },
  lanczos2: { tag: 0x324E414C, lobes: 2 },
};
const formats = {
  littleEndian: { tag: 0x444E454C, size: 2 },
  bigEndian: { tag: 0x444E4542, size: 2 },
  alaw: { tag: 0x57414C41, size: 1 },
  ulaw: { tag: 0x57414C55, size: 1 },
};
const native = formats.littleEndian;

// Places in the record, in bytes.
const place = { interpFactor: 0, decimFactor: 4, numCoeffs: 12, phase: 16, history: 20, historyLen: 24 };
const mostCoeffs = 0xFFFF, mostRate = 0xFFFFFFFF;

// Samples of a piece, inputs and outputs: long streams are converted by as many.
const mostOfPiece = 4096;

function areFloats(name, samples) {
  const kind = kindOf(samples);
  if (kind !== 'Float32Array' && kind !== 'Int16Array') throw new TypeError(`${name}: Int16Array or Float32Array is wanted`);
  return kind === 'Float32Array';
}

const own = Symbol('made by make() or withLobes()');

const divisor = (a, b) => b === 0 ? a : divisor(b, a % b);

export function resampler(core) {
  const { exports } = core;

  return class Resampler extends Owner {
    #record;
    #from;
    #to;
    #counts;
    #interpFactor;
    #decimFactor;
    #piece;

    constructor(key, record) {
      if (key !== own) throw new TypeError('Resampler: make() and withLobes() make one');
      const blocks = [];
      super(() => {
        exports.resample_free(record);
        for (const at of blocks) core.free(at);
      });
      this.#record = record;
      this.#interpFactor = core.heap.u32[record + place.interpFactor >>> 2];
      this.#decimFactor = core.heap.u32[record + place.decimFactor >>> 2];
      const perInput = this.#interpFactor / this.#decimFactor;
      this.#piece = Math.max(1, Math.min(mostOfPiece, Math.floor(mostOfPiece / perInput)));
      try {
        const sizes = [2 * this.#piece, 2 * (Math.ceil(this.#piece * perInput) + 1), 8];
        for (const size of sizes) blocks.push(core.room(size));
      } catch (error) {
        this.free();
        throw error;
      }
      [this.#from, this.#to, this.#counts] = blocks;
    }

    static make(outRate, inRate, kernel = 'lanczos2') {
      const { tag, lobes } = pick('kernel', kernel, kernels);
      const steps = Resampler.#steps(outRate, inRate, kernel === 'bilinear');
      if (2 * lobes * steps - 1 > mostCoeffs) throw new RangeError('the rates, without their common divisors, are too large');
      return Resampler.#owning(outRate, inRate, tag);
    }

    static withLobes(outRate, inRate, lobes) {
      const length = 2 * integer('lobes', lobes, 1, 0x7FFF) * Resampler.#steps(outRate, inRate, false) - 1;
      if (length > mostCoeffs) throw new RangeError('lobes: the rates have no kernel of so many');
      const made = Resampler.#owning(outRate, inRate, kernels.lanczos.tag);
      try {
        made.#lengthen(lobes, Math.floor((length - 1) / made.#interpFactor));
        return made;
      } catch (error) {
        made.free();
        throw error;
      }
    }

    outputsOf(inputs) { return this.#outputsOf(integer('inputs', inputs, 0, 2 ** 32)); }

    get latency() { return (core.heap.u16[this.#at + place.numCoeffs >>> 1] - 1) / 2 / this.#decimFactor; }

    push(samples) {
      const Kind = areFloats('samples', samples) ? Float32Array : Int16Array, to = new Kind(this.outputsOf(samples.length));
      this.pushInto(samples, to);
      return to;
    }

    // Nothing is allocated here or below: an audio worklet must not wait for the collector.
    pushInto(samples, to) {
      const fromFloats = areFloats('samples', samples), toFloats = areFloats('to', to);
      const count = samples.length, outputs = this.#outputsOf(count);
      if (to.length < outputs) throw new RangeError('to: there is no room for outputsOf() samples');
      for (let at = 0, done = 0; at < count;) {
        const piece = Math.min(this.#piece, count - at);
        const { i16 } = core.heap, from = this.#from >>> 1, made = this.#to >>> 1;
        if (fromFloats) {
          for (let i = 0; i < piece; ++i) i16[from + i] = Math.max(-32768, Math.min(32767, Math.round(samples[at + i] * 32768)));
        } else {
          for (let i = 0; i < piece; ++i) i16[from + i] = samples[at + i];
        }
        at += piece;
        const length = this.#convert(piece, native, native);
        if (toFloats) {
          for (let i = 0; i < length; ++i) to[done + i] = i16[made + i] / 32768;
        } else {
          for (let i = 0; i < length; ++i) to[done + i] = i16[made + i];
        }
        done += length;
      }
      return outputs;
    }

    pushBytes(bytes, inFormat, outFormat) {
      const from = pick('inFormat', inFormat, formats), to = pick('outFormat', outFormat, formats);
      if (octets('bytes', bytes).length % from.size !== 0) throw new RangeError('bytes: whole samples are wanted');
      const count = bytes.length / from.size, made = new Uint8Array(this.outputsOf(count) * to.size);
      for (let at = 0, done = 0; at < count;) {
        const piece = Math.min(this.#piece, count - at);
        core.heap.u8.set(bytes.subarray(at * from.size, (at + piece) * from.size), this.#from);
        at += piece;
        const size = this.#convert(piece, from, to) * to.size;
        made.set(core.heap.u8.subarray(this.#to, this.#to + size), done);
        done += size;
      }
      return made;
    }

    flush() {
      const made = this.push(new Int16Array(this.#lateInputs));
      this.reset();
      return made;
    }

    flushBytes(outFormat) {
      const made = this.pushBytes(new Uint8Array(2 * this.#lateInputs), 'littleEndian', outFormat);
      this.reset();
      return made;
    }

    reset() { exports.resample_reset(this.#at); }

    get #at() {
      if (this.freed) throw new TypeError('Resampler: used after free()');
      return this.#record;
    }

    // Up to the middle of the kernel.
    get #lateInputs() {
      const half = core.heap.u16[this.#at + place.numCoeffs >>> 1] >>> 1;
      return Math.floor((half + this.#interpFactor - 1) / this.#interpFactor);
    }

    // Between two zeros of the kernel.
    static #steps(outRate, inRate, isBilinear) {
      const common = divisor(integer('outRate', outRate, 1, mostRate), integer('inRate', inRate, 1, mostRate));
      return (isBilinear ? outRate : Math.max(outRate, inRate)) / common;
    }

    static #owning(outRate, inRate, kernel) {
      const record = exports.resample_alloc(outRate, inRate, kernel) >>> 0;
      if (record === 0) throw new VelaError('out of memory');
      return new Resampler(own, record);
    }

    // The history that so many lobes look back to, and their kernel.
    #lengthen(lobes, length) {
      const history = core.room(2 * length), { u8, u16, u32 } = core.heap;
      u8.fill(0, history, history + 2 * length);
      core.free(u32[this.#at + place.history >>> 2]);
      u32[this.#at + place.history >>> 2] = history;
      u16[this.#at + place.historyLen >>> 1] = length;
      const before = u16[this.#at + place.numCoeffs >>> 1];
      exports.init_lanczos(this.#at, lobes);
      if (lobes > 1 && core.heap.u16[this.#at + place.numCoeffs >>> 1] === before) throw new VelaError('out of memory');
    }

    #outputsOf(inputs) {
      const end = inputs * this.#interpFactor, phase = core.heap.u32[this.#at + place.phase >>> 2];
      return phase < end ? Math.floor((end - phase - 1) / this.#decimFactor) + 1 : 0;
    }

    // Converts a piece, and takes all of it in: samples that a call leaves with room for all outputs, those that no
    // output needs yet, go into the history with a second one. Gives the number of outputs.
    #convert(piece, inFormat, outFormat) {
      const counts = this.#counts >>> 2, { u32 } = core.heap;
      let used = 0, made = 0;
      while (used < piece) {
        u32[counts] = piece - used;
        u32[counts + 1] = Math.max(1, this.#outputsOf(piece - used)); // room, so that the input is taken
        exports.resample_mono(this.#at, this.#from + used * inFormat.size, this.#counts,
          this.#to + made * outFormat.size, this.#counts + 4, inFormat.tag, outFormat.tag);
        used += u32[counts];
        made += u32[counts + 1];
      }
      return made;
    }
  };
}
