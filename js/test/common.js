// What holds in Node, in a page and in a worker alike.
import { digests } from './digests.js';

const check = (is, what) => {
  if (!is) throw new Error(what);
};
const same = (a, b) => a.length === b.length && a.every((one, i) => Object.is(one, b[i]));

// An xorshift generator: the same numbers in each run.
function numbers() {
  let state = 2463534242;
  return () => {
    state ^= state << 13;
    state ^= state >>> 17;
    state ^= state << 5;
    return state >>> 0;
  };
}

const thrown = (run) => {
  try {
    run();
  } catch (error) {
    return error;
  }
  return null;
};

// A call throws that, or gives null where it is null.
function refuses(run, expected) {
  let result;
  const error = thrown(() => { result = run(); });
  check(expected ? error?.constructor === expected : !error && result === null, `${run} gives ${error ?? result}`);
}

// Each call, and the class of what it throws, or null for a result of null.
function refusals(vela) {
  const none = new Uint8Array(0), view = { width: 1280, height: 720, pan: 0, tilt: 0, fov: 61440 };
  const hull = vela.Hull.ofPixels(Uint8Array.of(0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255));
  const resampler = vela.Resampler.make(8000, 48000);
  const freed = vela.Resampler.make(8000, 48000);
  freed.free();
  freed.free();
  for (const [run, expected] of [
    [() => vela.base64.encode('text'), TypeError],
    [() => vela.base64.encode([1, 2]), TypeError],
    [() => vela.base64.decode(5), TypeError],
    [() => vela.base64.decode('AAA'), null],
    [() => vela.base64.decode('AA=A'), null],
    [() => vela.base64.decode('===='), null],
    [() => vela.base64.decode('AA\u0100A'), null],
    [() => vela.colour.fromRgb('bt2020', none), RangeError],
    [() => vela.colour.fromRgb('toString', none), RangeError],
    [() => vela.colour.toRgb('full', Uint8Array.of(1, 2)), RangeError],
    [() => vela.colour.toRgb('full', Uint8Array.of(1, 2, 3), none), RangeError],
    [() => vela.colour.unpack(new Uint8Array(7), 2, 2), RangeError],
    [() => vela.colour.unpack(none, -1, 2), RangeError],
    [() => vela.curve.table('line', Int16Array.of(0, 0, 1)), RangeError],
    [() => vela.curve.table('spline', Int16Array.of(1, 0, 1, 0)), RangeError],
    [() => vela.curve.table('line', [0, 0]), TypeError],
    [() => vela.fixedpoint.intSqrt(-1), RangeError],
    [() => vela.fixedpoint.intSqrt('4'), TypeError],
    [() => vela.fixedpoint.sinQ10inQ12out(0.5), RangeError],
    [() => vela.fixedpoint.sinQ15(NaN), RangeError],
    [() => new vela.Hull(4, 8), TypeError],
    [() => vela.Hull.ofPoints(none, none, Uint8Array.of(1)), RangeError],
    [() => vela.Hull.ofPoints(none, none, none), null],
    [() => vela.Hull.ofPixels(new Uint8Array(9)), null],
    [() => vela.Hull.ofPixels(new Uint8Array(9), 2), RangeError],
    [() => hull.grow(none, none, Uint8Array.of(1)), RangeError],
    [() => hull.growByPixels(Uint8Array.of(1, 2)), RangeError],
    [() => hull.contains(1, 2), TypeError],
    [() => hull.distances(1, 2, 6000), RangeError],
    [() => vela.matrix.make(-1, 2), RangeError],
    [() => vela.matrix.of(2, 2, new Float32Array(3)), RangeError],
    [() => vela.matrix.of(1, 1, new Float64Array(1)), TypeError],
    [() => vela.matrix.product(vela.matrix.make(1, 2), vela.matrix.make(1, 2)), RangeError],
    [() => vela.matrix.inverse(vela.matrix.make(25, 25)), RangeError],
    [() => vela.matrix.inverse(vela.matrix.make(2, 2)), null],
    [() => vela.matrix.inverse3x3(new Float32Array(9)), null],
    [() => vela.matrix.leastSquares(vela.matrix.make(3, 2), new Float32Array(3)), null],
    [() => vela.matrix.decompose({ rows: 2, cols: 2, elements: new Float32Array(5) }), RangeError],
    [() => vela.matrix.polyfit(new Float32Array(3), new Float32Array(3), 2), null],
    [() => vela.matrix.polyfit2D(Uint16Array.of(50000), Uint16Array.of(1), Float32Array.of(1)), RangeError],
    [() => new vela.Resampler(), TypeError],
    [() => vela.Resampler.make(0, 8000), RangeError],
    [() => vela.Resampler.make(44100, 44101), RangeError],
    [() => vela.Resampler.make(8000, 44100, 'sinc'), RangeError],
    [() => vela.Resampler.withLobes(8000, 44100, 0), RangeError],
    [() => vela.Resampler.withLobes(8000, 44100, 1000), RangeError],
    [() => resampler.push(new Uint8Array(4)), TypeError],
    [() => resampler.pushInto(new Int16Array(600), new Int16Array(10)), RangeError],
    [() => resampler.pushBytes(new Uint8Array(3), 'littleEndian', 'alaw'), RangeError],
    [() => freed.push(new Int16Array(6)), TypeError],
    [() => vela.spheremap.sphereToScreen(Int32Array.of(1), view), RangeError],
    [() => vela.spheremap.spherePtToScreenPt(0, 0, { ...view, fov: 0 }), RangeError],
    [() => vela.spheremap.spherePtToScreenPt(184320, 0, view), null],
    [() => vela.spheremap.spherePtToScreenPt(0, 0, null), TypeError],
    [() => vela.text.hex2bin('0g'), null],
    [() => vela.text.hex2bin('000'), null],
    [() => vela.text.strip('a\0b'), RangeError],
    [() => vela.text.chunkSplit(none, 0), RangeError],
    [() => vela.time.balance({ seconds: 0 }), TypeError],
    [() => vela.time.balance({ seconds: 1e300, microseconds: 0 }), RangeError],
    [() => vela.url.parse('://'), null],
    [() => vela.url.parse('a://b\0'), null],
    [() => vela.url.parseMac('00-1a'), null],
    [() => vela.uuid.parse('00112233-4455-6677-8899-aabbccddeef'), null],
    [() => vela.uuid.toString(none), RangeError],
    [() => vela.uuid.randInt(0, 2 ** 31), RangeError],
    [() => vela.call('no_such_function'), TypeError],
  ]) refuses(run, expected);
  check(resampler.push(new Int16Array(600)).length === 100, 'what is refused leaves the stream alone');
  hull.free();
  resampler.free();
}

// The same answers as the host's own functions.
function models(vela) {
  const next = numbers(), bytes = Uint8Array.from({ length: 1000 }, next);
  for (let length = 0; length < 300; ++length) {
    const part = bytes.subarray(length, 2 * length), text = vela.base64.encode(part);
    check(text === btoa(String.fromCharCode(...part)), `base64 of ${length} bytes`);
    check(same(vela.base64.decode(text.replace(/(.{7})/g, '$1\r\n ')), part), `${length} bytes through lines of base64`);
  }
  check(vela.url.decode(vela.url.encode('a b&ü€😀\ud800')) === 'a b&ü€😀\ufffd', 'text through a query');
  check(new URLSearchParams(`n=${vela.url.encode('a b&ü€😀+')}`).get('n') === 'a b&ü€😀+', 'a query is read by others');
  check(vela.text.strip(' \tü€ \n') === 'ü€' && vela.text.chomp('ü\r\n') === 'ü' && vela.text.chomp('') === '', 'text');
  check(same(vela.curve.table('spline', Int16Array.of(3, -7)), [-7]), 'a single knot');
  check(vela.time.compare({ seconds: 1, microseconds: 1500000 }, { seconds: 3, microseconds: -600000 }) === 1, 'times that are not balanced');
  const { colour } = vela, packed = Uint8Array.of(128, 10, 128, 20, 0, 128, 30, 128), picture = colour.unpack(packed, 1, 2, 5);
  check(same(picture, [10, 10, 10, 30, 30, 30]), 'rows of one pixel with a stride');
}

// However a stream is cut, and as which numbers: the same samples.
function streams(vela) {
  const next = numbers(), input = Int16Array.from({ length: 50000 }, next);
  for (const [outRate, inRate] of [[8000, 44100], [48000, 44100], [48000, 8000], [8000, 8000], [16000, 1], [1, 16000]]) {
    const all = inRate === 1 ? input.subarray(0, 3) : input;
    const whole = vela.Resampler.make(outRate, inRate), cut = vela.Resampler.make(outRate, inRate);
    const expected = [...whole.push(all), ...whole.flush()], made = [], floats = new Float32Array(2e5);
    for (let at = 0; at < all.length;) {
      const piece = all.subarray(at, at += next() % 600), promised = cut.outputsOf(piece.length);
      const length = cut.pushInto(next() % 2 ? piece : Float32Array.from(piece, (one) => one / 32768), floats);
      check(length === promised, `${length} samples, not ${promised}`);
      for (let i = 0; i < length; ++i) made.push(floats[i] * 32768);
    }
    made.push(...cut.flush());
    check(same(expected, made), `${inRate} to ${outRate} in pieces`);
    const bytes = cut.pushBytes(new Uint8Array(all.buffer, 0, 2 * all.length), 'littleEndian', 'bigEndian');
    check(bytes.every((byte, i) => byte === (expected[i >> 1] >> (i % 2 ? 0 : 8) & 255)), `${inRate} to ${outRate} as bytes`);
    whole.free();
    cut.free();
  }
}

// Owners keep what they hold when memory grows below them.
function growth(vela) {
  const next = numbers(), colours = Uint8Array.from({ length: 3000 }, next), sound = Int16Array.from({ length: 3000 }, next);
  const hull = vela.Hull.ofPixels(colours), resampler = vela.Resampler.withLobes(8000, 44100, 16), other = vela.Resampler.withLobes(8000, 44100, 16);
  const before = [hull.vertices(), hull.faces(), ...[hull.volume, hull.faceCount].map((one) => [one])];
  const expected = other.push(sound), made = [...resampler.push(sound.subarray(0, 1000))];
  const block = vela.call('malloc', 100e6);
  check(block !== 0 && vela.memory.buffer.byteLength > 100e6, 'memory has grown');
  made.push(...resampler.push(sound.subarray(1000)));
  const after = [hull.vertices(), hull.faces(), ...[hull.volume, hull.faceCount].map((one) => [one])];
  check(before.every((one, i) => same(one, after[i])) && same(made, expected), 'a hull and a stream outlive growth');
  hull.growByPixels(Uint8Array.of(255, 255, 255, 0, 0, 0));
  check(hull.contains(255, 255, 255), 'a hull grows afterwards');
  vela.call('free', block);
  for (const owner of [hull, resampler, other]) owner[Symbol.dispose ?? Symbol.for('Symbol.dispose')]();
  check(hull.freed && vela.Hull.ofPixels(colours).volume > 0, 'memory is used again');
}

// An instance, and what its module exports.
function watched(instantiate, module, options) {
  const { Instance } = WebAssembly;
  let inside;
  WebAssembly.Instance = function (...args) { return inside = new Instance(...args); };
  const vela = instantiate(module, options);
  WebAssembly.Instance = Instance;
  return { vela, stack: inside.exports.__stack_pointer };
}

// Assertions, and exceptions of the host's below a frame of the module, leave nothing on the stack and no block behind.
function assertions({ instantiate, VelaError }, module) {
  const { vela, stack } = watched(instantiate, module, { random() { throw new VelaError('none'); } });
  const top = stack.value, size = vela.memory.buffer.byteLength;
  for (let i = 0; i < 1e5; ++i) {
    const error = thrown(() => vela.call('chunk_split', 1024, 4, 2048, 9, 0));
    check(error instanceof VelaError && error.expression === 'chunk > 0' && /text\.cpp$/.test(error.file) && error.line > 0 &&
      error.function === 'chunk_split_len', `assertion ${i} is ${error}`);
    check(thrown(() => vela.uuid.randInt(1, 6))?.message === 'none', 'without random numbers');
    check(stack.value === top, `the stack is at ${stack.value}, not ${top}, after ${i} assertions`);
  }
  check(vela.memory.buffer.byteLength === size, 'memory has grown');
}

// A mask tells the same by its runs and by what it contains.
export async function checkMasks({ load }, source) {
  const { Mask, Picture, at, place, outline, trace } = await load(source), view = { width: 320, height: 180, pan: 350, tilt: 40, fov: 90 };
  const turned = { ...view, width: 640, pan: 20, tilt: 20, fov: 70 }, pixels = new Uint8Array(4 * 640 * 180), drawn = new Uint8Array(4 * 320 * 180), same = new Uint8Array(pixels.length);
  for (let i = 0; i < pixels.length; i += 4) pixels.set([255 * (i / 4 % 640) / 639, 255 * Math.floor(i / 2560) / 179, 0, 255], i);
  const picture = Picture.make(turned, pixels);
  picture.draw(view, drawn, 0xFFFFFE);
  picture.draw(turned, same);
  check(pixels.every((one, i) => one === same[i]), 'a picture in its own view is itself');
  const mask = Mask.make(Float64Array.of(340, 30, 375, 35, 10, 55, 345, 20)), covered = new Uint8Array(320 * 180);
  const runs = mask.list(view, 'centres');
  for (let i = 0; i < runs.length; i += 3) covered.fill(1, 320 * runs[i] + runs[i + 1], 320 * runs[i] + runs[i + 2]);
  covered.forEach((one, i) => {
    const { pan, tilt } = at(view, i % 320, Math.floor(i / 320)), { x, y } = place(view, pan, tilt);
    check(mask.contains(pan, tilt) === (one === 1), `pixel ${i}`);
    check(Math.hypot(x - i % 320, y - Math.floor(i / 320)) < 0.05, `pixel ${i} is found at ${x}, ${y}`);
    // Red, green and blue grow evenly, so that a pixel between others tells its place; the ground is white.
    const from = place(turned, pan, tilt), near = (value, wanted) => Math.abs(value - wanted) < 1.5, known = from && from.x > 1 && from.y > 1 && from.x < 638 && from.y < 178;
    if (known) check(near(drawn[4 * i], 255 * from.x / 639) && near(drawn[4 * i + 1], 255 * from.y / 179) && drawn[4 * i + 3] === 255, `pixel ${i} comes from ${from.x}, ${from.y}`);
    if (!from || from.x < -1 || from.y < -1 || from.x > 640 || from.y > 180) check(drawn[4 * i + 2] === 254, `pixel ${i} is seen`);
  });
  check(mask.list(view).length >= runs.length && covered.includes(1), 'a mask covers something');
  const corners = outline(view, Float64Array.of(10, 10, 300, 10, 300, 170)), path = trace(view, corners);
  check(corners.length > 6 && path.every((one, i) => i < 4 || i % 4 > 1 || Math.abs(one - path[i - 2]) < 1e-9), 'a triangle has bent sides');
  check(trace({ ...view, width: 4000, height: 4000 }, Float64Array.from({ length: 8000 }, (_, i) => i % 2 ? 40 + i % 3 : 350)).length > 4096, 'long lists');
  for (const [run, expected] of [
    [() => Mask.make(Float64Array.of(0, 0, 1, 1)), RangeError],
    [() => Mask.make(Float64Array.of(0, 0, 1, 1, NaN, 1)), null],
    [() => Mask.make([0, 0, 1, 1, 2, 1]), TypeError],
    [() => mask.list({ ...view, fov: 181 }), RangeError],
    [() => mask.list(view, 'all'), RangeError],
    [() => at(view, 1e6, 0), null],
    [() => place(view, 170, -40), null],
    [() => trace(view, Float64Array.of(0, 0, 180, 0)), null],
    [() => { mask.free(); return mask.list(view); }, TypeError],
    [() => Picture.make(view, pixels), RangeError],
    [() => picture.draw(turned, drawn), RangeError],
    [() => { picture.free(); return picture.draw(view, drawn); }, TypeError],
  ]) refuses(run, expected);
}

// Everything, of one module. Gives its digests.
export async function checkAll(lib, source) {
  const module = await lib.compile(source), vela = await lib.load(module), other = await lib.load(module);
  check(vela.uuid.toString(vela.uuid.random()) !== other.uuid.toString(other.uuid.random()), 'two instances make the same UUID');
  check(!same(vela.uuid.randBytes(1e5).subarray(-16), new Uint8Array(16)), 'random bytes up to the last one');
  for (const part of [refusals, models, streams, growth]) part(vela);
  assertions(lib, module);
  return digests(vela);
}
