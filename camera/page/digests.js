// The work of the firmware's digests, done in the page: the same numbers must come of it.

// FNV-1a over 64 bits, in two halves. Numbers go in with their least significant byte first.
class Sum {
  #high = 0xCBF29CE4;
  #low = 0x84222325;

  // The prime is 2^40 + 435.
  #byte(byte) {
    const low = (this.#low ^ byte) >>> 0, product = low * 435;
    this.#high = (this.#high * 435 + Math.floor(product / 0x100000000) + low * 256) % 0x100000000;
    this.#low = product % 0x100000000;
  }

  bytes(all) {
    for (const byte of all) this.#byte(byte);
  }

  text(text) {
    for (let i = 0; i < text.length; ++i) this.#byte(text.charCodeAt(i));
  }

  number(number) {
    const sign = number < 0 ? 255 : 0, high = Math.floor(number / 0x100000000);
    for (let i = 0; i < 4; ++i) this.#byte(number >>> 8 * i & 255);
    for (let i = 0; i < 4; ++i) this.#byte(Number.isInteger(high) ? high >>> 8 * i & 255 : sign);
  }

  numbers(all) {
    for (const number of all) this.number(number);
  }

  toString() {
    return [this.#high, this.#low].map((half) => half.toString(16).padStart(8, '0')).join('').toUpperCase();
  }
}

// The same numbers everywhere.
class Source {
  #state = 2463534242;

  next() {
    this.#state ^= this.#state << 13;
    this.#state ^= this.#state >>> 17;
    this.#state ^= this.#state << 5;
    return this.#state >>>= 0;
  }

  below(limit) { return this.next() % limit; }

  bytes(count) { return Uint8Array.from({ length: count }, () => this.next() >>> 11); }
}

const works = {
  base64: (vela, from, to) => to.text(vela.base64.encode(from.bytes(60000))),

  chull(vela, from, to) {
    const hull = vela.Hull.ofPixels(from.bytes(3 * 5000));
    to.numbers(hull.vertices());
    to.number(Math.round(hull.volume * 6));
    hull.free();
  },

  colour({ colour }, from, to) {
    const pixels = from.bytes(3 * 20000);
    for (const variant of ['full', 'bt601', 'bt709']) colour.fromRgb(variant, pixels, pixels);
    to.bytes(colour.toRgb('bt709', pixels));
  },

  fixedpoint({ fixedpoint }, from, to) {
    for (let i = 0; i < 20000; ++i) {
      const number = from.next();
      to.number(fixedpoint.sinQ10inQ12out(number | 0));
      to.number(fixedpoint.intSqrt(number));
      to.number(fixedpoint.sinQ15(number >> 12));
    }
  },

  interp({ curve }, from, to) {
    for (let round = 0; round < 50; ++round) {
      const knots = [];
      for (let x = 0; x <= 255; x += 1 + from.below(60)) knots.push(x, from.below(256));
      to.numbers(curve.table('spline', Int16Array.from(knots)));
    }
  },

  matrix({ matrix }, from, to) {
    const elements = Float32Array.from({ length: 24 * 12 }, () => (from.below(2001) - 1000) / 16);
    const { values } = matrix.decompose(matrix.of(24, 12, elements));
    to.numbers(new Int32Array(values.buffer));
  },

  resample(vela, from, to) {
    const resampler = vela.Resampler.withLobes(8000, 44100, 16);
    to.bytes(resampler.pushBytes(from.bytes(2 * 44100), 'littleEndian', 'ulaw'));
    resampler.free();
  },

  spheremap({ spheremap }, from, to) {
    for (let i = 0; i < 20000; ++i) {
      const view = { width: 1280, height: 720, panQ10: from.below(368640), tiltQ10: from.below(184321) - 92160, fovQ10: 2048 + from.below(110000) };
      const seen = spheremap.screenToSphere(Int32Array.of(from.below(1280), from.below(720)), view);
      const { points, inFront } = spheremap.sphereToScreen(seen, view);
      to.numbers([...seen, Number(inFront), ...points]);
    }
  },

  text({ text }, from, to) {
    const digits = text.bin2hex(from.bytes(20000));
    to.text(digits);
    to.bytes(text.chunkSplit(Uint8Array.from(digits, (digit) => digit.charCodeAt(0)), 76));
  },

  time({ time }, from, to) {
    let now = { seconds: 1000000000, microseconds: 0 };
    for (let i = 0; i < 20000; ++i) {
      now = time.add(now, { seconds: 0, microseconds: from.below(1 << 30) });
      now = time.sub(now, { seconds: from.below(3), microseconds: from.below(1000000) });
      to.numbers([now.seconds, now.microseconds]);
    }
  },

  url({ url }, from, to) {
    for (let i = 0; i < 500; ++i) {
      const code = url.encodeForm(from.bytes(60)).replace(/[-._~]/g, (one) => `%${one.charCodeAt().toString(16).toUpperCase()}`);
      to.text(url.parse(`http://camera:8080/a/${code}?b=${code}`).path);
      to.bytes(url.decodeBytes(code.replaceAll('+', '%20')));
    }
  },

  uuid({ uuid }, from, to) {
    for (let i = 0; i < 2000; ++i) {
      const text = uuid.toString(from.bytes(16));
      to.text(text);
      to.number(uuid.parse(text)[6] >> 4);
    }
  },
};

// A digest by each module's name.
export const digests = (vela) => Object.fromEntries(Object.entries(works).map(([module, work]) => {
  const to = new Sum();
  work(vela, new Source(), to);
  return [module, to.toString()];
}));
