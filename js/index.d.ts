/**
 * The library as WebAssembly, for pages, workers, audio worklets and Node: the same bits as on the device.
 *
 * Typed arrays go in, typed arrays of their own come out; the module's memory is never lent out. An argument of another
 * type throws a TypeError, one out of its range a RangeError, before anything is done. Where an answer does not exist
 * (no hull, no solution, no Base64) the result is `null`. A VelaError tells of a violated precondition of the library,
 * of memory or random numbers that can't be had, and of a module that can't be fetched. Nothing needs to be made anew
 * after an error.
 */

/** A violated precondition of the library, or something that can't be had. */
export class VelaError extends Error {
  /** The precondition, as the library's source has it; null for other errors. */
  readonly expression: string | null;
  /** The source file of the precondition. */
  readonly file: string | null;
  /** Its line. */
  readonly line: number | null;
  /** The function that has it. */
  readonly function: string | null;
}

/** Where a module comes from: a URL (in Node an absolute one, also `file:`), its bytes, or compiled. */
export type Source = string | URL | ArrayBuffer | ArrayBufferView | WebAssembly.Module;

export interface Options {
  /** Fills an array with random bytes, in place of the host's `crypto`, which audio worklets lack. */
  random?: (bytes: Uint8Array) => void;
}

/** Whether the host has 16-byte vectors, and load() takes vela-simd.wasm. The bits are the same without. */
export function hasVectors(): boolean;

/** Compiles a module: this package's own, if none is named. It can be sent to workers and worklets by message. */
export function compile(source?: Source): Promise<WebAssembly.Module>;

/** Starts a compiled module, at once: what an audio worklet does with the one that it was sent. */
export function instantiate(module: WebAssembly.Module, options?: Options): Vela;

/** Compiles and starts a module: this package's own, if none is named. */
export function load(source?: Source, options?: Options): Promise<Vela>;

/** One instance, with memory of its own. */
export interface Vela {
  readonly base64: Base64;
  readonly colour: Colour;
  readonly curve: Curves;
  readonly fixedpoint: FixedPoint;
  readonly matrix: Matrices;
  readonly spheremap: SphereMap;
  readonly text: Text;
  readonly time: Times;
  readonly url: Urls;
  readonly uuid: Uuids;
  readonly Hull: HullMaker;
  readonly Resampler: ResamplerMaker;
  /** The module's memory, for call(). A view of it ends when memory grows, which each call may do. */
  readonly memory: WebAssembly.Memory;
  /**
   * Calls any function that the module exports, `malloc` and `free` among them, by its name in the C headers. Nothing
   * is checked: numbers and addresses are the caller's business.
   */
  call(name: string, ...args: (number | bigint)[]): number | bigint | undefined;
}

/** A list of bytes. A Buffer of Node's is one. */
export type Bytes = Uint8Array | Uint8ClampedArray;

/** Holds memory of the module until free(), or the end of the block that declares it by `using`. */
export interface Owner {
  /** Releases it; any use afterwards throws a TypeError, but for another free(). */
  free(): void;
  /** Whether it is released. */
  readonly freed: boolean;
  /** free() */
  [Symbol.dispose](): void;
}

/** Base64 with the standard alphabet of RFC 4648 and "=" padding, without line breaks. */
export interface Base64 {
  /** @param bytes fewer than 2^30 */
  encode(bytes: Bytes): string;
  /** White space is skipped. @returns the bytes; null where the text is not Base64 */
  decode(text: string): Uint8Array | null;
}

/**
 * Luma weights and ranges: `full` has those of BT.601 over 0 to 255, as in JPEG files; `bt601` and `bt709` those of
 * ITU-R BT.601 and BT.709, luma 16 to 235, chroma 16 to 240.
 */
export type ColourVariant = 'full' | 'bt601' | 'bt709';

/** RGB to YCbCr and back. A pixel is three bytes: R, G, B or Y, Cb, Cr. */
export interface Colour {
  /**
   * RGB pixels to YCbCr.
   * @param pixels three bytes each
   * @param to receives as many bytes, may be `pixels`; a new array without it
   * @returns `to`
   */
  fromRgb(variant: ColourVariant, pixels: Bytes): Uint8Array;
  fromRgb<To extends Bytes>(variant: ColourVariant, pixels: Bytes, to: To): To;
  /** YCbCr pixels to RGB, as fromRgb(). */
  toRgb(variant: ColourVariant, pixels: Bytes): Uint8Array;
  toRgb<To extends Bytes>(variant: ColourVariant, pixels: Bytes, to: To): To;
  /**
   * A full-range 4:2:2 picture (bytes Cb, Y0, Cr, Y1, known as UYVY) to RGB.
   * @param from rows, of which an odd width ends with the bytes Cb, Y0, Cr of its last pixel
   * @param width pixels a row
   * @param height rows
   * @param stride bytes from the start of one row to that of the next; 2 x width, and 1 for an odd one, without it
   * @param to receives 3 x width x height bytes; a new array without it
   * @returns `to`
   */
  unpack(from: Bytes, width: number, height: number, stride?: number): Uint8Array;
  unpack<To extends Bytes>(from: Bytes, width: number, height: number, stride: number | undefined, to: To): To;
  /** Nine Q12 coefficients (4096 stands for 1.0), row by row: Y, Cb, Cr over R, G, B. Offsets are no part of it. */
  encodingMatrix(variant: ColourVariant): Int32Array;
  /** The same for R, G, B over Y, Cb, Cr. */
  decodingMatrix(variant: ColourVariant): Int32Array;
}

/**
 * How knots are joined: by line segments; by the natural cubic spline in single precision; by the same in 32-bit fixed
 * point, wrong beyond the limits that spline_interpolate() in `vela/interp.h` names.
 */
export type CurveMethod = 'line' | 'spline' | 'fixedSpline';

/** Curves through a few knots, as tables with a value for each integer x from the first knot's to the last one's. */
export interface Curves {
  /**
   * @param knots pairs of x and y, 1 to 32767 of them, x rising; for lines x may also stay
   * @returns integers; those of a spline rounded to the nearest and kept within 16 bits
   */
  table(method: CurveMethod, knots: Int16Array): Int16Array;
  /** The spline in single precision, not rounded. */
  floatTable(knots: Int16Array): Float32Array;
}

/** Trigonometry and roots in fixed point; QN holds the real value times 2^N. Angles in degrees are Q10: times 1024. */
export interface FixedPoint {
  /** Sine in Q12 (4096 stands for 1.0). @param angle Q10 degrees, any 32-bit integer */
  sinQ10inQ12out(angle: number): number;
  /** The smallest Q10 root whose square reaches x, at most 2048. @param x Q20, 0 to 2^31 */
  sqrtQ20ToQ10(x: number): number;
  /** The root rounded down. @param x 0 to 2^32 - 1 */
  intSqrt(x: number): number;
  /** Sine in Q15 within 38 units. @param x Q15 radians, any 32-bit integer */
  sinQ15(x: number): number;
  /** sin(pi x) / (pi x) in Q15. @param x Q15, -333771 to 333771 */
  sincQ15(x: number): number;
  /** Lanczos kernel in Q15. @param a lobes on each side, more than 8 count as 8 @param x Q15 */
  lanczosQ15(a: number, x: number): number;
  /** 2^bits / a, truncated; exact while |a| 2^bits is below 2^31. @param bits 0 to 30 */
  reciprocal(a: number, bits: number): number;
  /** Bit length, 0 to 32. @param x 0 to 2^32 - 1 */
  ceilLog2(x: number): number;
  /** 1441 sines in Q12, 16 a degree, from 0 to 90 degrees. */
  sines(): Int32Array;
  /** 2049 arcsines in Q10 degrees; entry i is that of (i - 1024) / 1024. */
  arcsines(): Int32Array;
}

/** A dense matrix: element (i, j), counted from 0, is `elements[i * cols + j]`. Nothing of it is in the module's memory. */
export interface Matrix {
  rows: number;
  cols: number;
  elements: Float32Array;
}

/** a = u diag(values) v^T. */
export interface Decomposition {
  /** As many rows and columns as a. */
  u: Matrix;
  /** Singular values, one for each column, 0 or more, not sorted. */
  values: Float32Array;
  /** Orthogonal. */
  v: Matrix;
}

/** Small dense linear algebra in single precision. What is below 1e-14 counts as 0: bring numbers to a common scale. */
export interface Matrices {
  /** A matrix of zeros. */
  make(rows: number, cols: number): Matrix;
  /** @param values rows x cols elements, row by row; they are copied */
  of(rows: number, cols: number, values: Float32Array): Matrix;
  transposed(a: Matrix): Matrix;
  /** a b. Sums are in double precision, rounded once. */
  product(a: Matrix, b: Matrix): Matrix;
  /** By Gauss elimination that does not look for the largest pivot. @param a square, at most 24 rows @returns null where there is none */
  inverse(a: Matrix): Matrix | null;
  /** @param elements 9, row by row @returns 9; null for a determinant up to 1e-14 */
  inverse3x3(elements: Float32Array): Float32Array | null;
  /** @param elements 16, row by row @returns 16; null for a determinant up to 1e-14 */
  inverse4x4(elements: Float32Array): Float32Array | null;
  /** The singular value decomposition. @returns null where it does not converge, or a number is not finite */
  decompose(a: Matrix): Decomposition | null;
  /**
   * Solves a x = b in the least-squares sense.
   * @param b a number for each row of a
   * @returns a number for each column; null where the columns depend on each other (a singular value is below 1e-6 of
   * the largest), or a has more of them than rows
   */
  leastSquares(a: Matrix, b: Float32Array): Float32Array | null;
  /**
   * A polynomial by least squares, of degree 0, 1 or 2; for more see polyfit() in `vela/matrix.h`.
   * @param count number of coefficients
   * @returns them, in ascending powers; null where there is no solution
   */
  polyfit(xs: Float32Array, ys: Float32Array, count: number): Float32Array | null;
  /**
   * A quadratic surface by least squares, safe for coordinates up to 16; larger ones are scaled and given to leastSquares().
   * @returns the coefficients of 1, y, x, y^2, x y, x^2; null where there is no solution
   */
  polyfit2D(xs: Uint16Array, ys: Uint16Array, zs: Float32Array): Float32Array | null;
  /** The surface's height, in single precision. @param coefficients six, as polyfit2D() gives them */
  poly2DValue(x: number, y: number, coefficients: Float32Array): number;
}

/** What a camera shows on a screen. The pixel (width >> 1, height >> 1) shows the direction (pan, tilt). */
export interface View {
  /** Pixels, 1 to 65535. */
  width: number;
  /** Pixels, 1 to 65535. */
  height: number;
  /** Q10 degrees (degrees x 1024). */
  pan: number;
  /** Q10 degrees. */
  tilt: number;
  /** Q10 degrees spanned by the width, 1 to 184320 (180 degrees); pixels are square. */
  fov: number;
}

/** A direction in Q10 degrees (degrees x 1024; a full turn is 368640). */
export interface SpherePt {
  pan: number;
  tilt: number;
}

/** A position on the screen in pixels from the upper left corner, downward; off the screen as well. */
export interface ScreenPt {
  x: number;
  y: number;
}

/** A pan/tilt camera's sphere onto the screen and back. Lists of points are pairs: pan, tilt or x, y. */
export interface SphereMap {
  /** Brings a direction into pan 0 to 368639, tilt -92160 to 92160. Q10 degrees. */
  clipPanTilt(pan: number, tilt: number): SpherePt;
  /** Brings a limit of travel into pan 0 to 368639, tilt -184320 to 184320. Q10 degrees. */
  clipPanTiltBounds(pan: number, tilt: number): SpherePt;
  /** Where a direction stands. @param pan Q10 degrees @param tilt Q10 degrees @returns null where it is not in front */
  spherePtToScreenPt(pan: number, tilt: number, view: View): ScreenPt | null;
  /** Which direction a pixel shows; (0, 0), which may be one too, where it shows none. */
  screenPtToSpherePt(x: number, y: number, view: View): SpherePt;
  /**
   * Places directions on the screen.
   * @param points pairs of pan and tilt in Q10 degrees
   * @returns pairs of x and y, (-1234, -5678) for those that are not in front; and whether all are
   */
  sphereToScreen(points: Int32Array, view: View): { points: Int32Array; inFront: boolean };
  /** Finds the directions of pixels. @param points pairs of x and y @returns pairs of pan and tilt in Q10 degrees */
  screenToSphere(points: Int32Array, view: View): Int32Array;
  /** Whether the bounding box of a polygon overlaps the screen. @param points pairs of x and y */
  polygonOnScreen(points: Int32Array, view: View): boolean;
}

export interface Text {
  /** Two upper-case hexadecimal digits for each byte. */
  bin2hex(bytes: Bytes): string;
  /** @returns null where the text is not pairs of hexadecimal digits */
  hex2bin(hex: string): Uint8Array | null;
  /** Without its line end: at most one newline and then one carriage return. @param text without NULs */
  chomp(text: string): string;
  /** Without white space at its ends. @param text without NULs */
  strip(text: string): string;
  /** Bytes with a newline between every two chunks. @param chunk bytes of one, 1 or more */
  chunkSplit(bytes: Bytes, chunk: number): Uint8Array;
}

/** A time or a difference of times. Balanced, its microseconds are 0 to 999999: -0.25 s is -1 and 750000. */
export interface Time {
  /** -2^52 to 2^52 */
  seconds: number;
  /** -2^52 to 2^52 */
  microseconds: number;
}

/** Arithmetic on times. Arguments need not be balanced, results are. */
export interface Times {
  balance(time: Time): Time;
  add(a: Time, b: Time): Time;
  sub(a: Time, b: Time): Time;
  /** -1 where a is earlier, 0 for equal times, 1 where a is later. */
  compare(a: Time, b: Time): number;
}

/** The parts of a URL, not decoded; null where the URL has none. */
export interface UrlParts {
  scheme: string;
  user: string | null;
  password: string | null;
  /** An IPv6 address in its brackets. */
  host: string | null;
  port: string | null;
  /** With its leading "/". */
  path: string | null;
  /** Behind "?". */
  query: string | null;
  /** Behind "#". */
  fragment: string | null;
}

export interface Urls {
  /** Takes a URL apart, more simply than RFC 3986. @returns null for a text without a scheme or with a NUL */
  parse(text: string): UrlParts | null;
  /** A name or value for a query or form: "+" for a space, "%" and two digits for all bytes of UTF-8 but letters and digits. */
  encode(text: string | Bytes): string;
  /** The other way. Digits are not checked; what is not UTF-8 then becomes U+FFFD. */
  decode(text: string): string;
  /** The same as bytes. */
  decodeBytes(text: string): Uint8Array;
  /** Six bytes of a MAC address like "00:1a:2B:3c:4d:5e", whatever follows it. @returns null for another text */
  parseMac(text: string): Uint8Array | null;
  /** @param mac six bytes */
  formatMac(mac: Bytes): string;
}

/** `{00112233-4455-6677-8899-aabbccddeeff}`, the same without braces, or without dashes either. */
export type UuidForm = 'braced' | 'dashed' | 'plain';

/** UUIDs as sixteen bytes, and random numbers. What is random throws a VelaError where the host has no `crypto`. */
export interface Uuids {
  /** A UUID of version 4 (RFC 9562): 122 random bits. */
  random(): Uint8Array;
  /** @returns null for a text in none of the forms, which may be in upper case */
  parse(text: string): Uint8Array | null;
  /** @param bytes sixteen @param form `dashed` without it */
  toString(bytes: Bytes, form?: UuidForm): string;
  randBytes(length: number): Uint8Array;
  /** Between two 32-bit integers, both included; of a wide range the lowest 65536. */
  randInt(a: number, b: number): number;
}

export interface HullMaker {
  /**
   * The hull of points with coordinates 0 to 255.
   * @returns null where there is none: no three consecutive points out of line, or all points in one plane
   */
  ofPoints(xs: Bytes, ys: Bytes, zs: Bytes): Hull | null;
  /** The same of pixels. @param pixelSize bytes of one, at least 3, of which the first three count; 4 for canvas data */
  ofPixels(pixels: Bytes, pixelSize?: number): Hull | null;
}

/** The convex hull of points with 8-bit coordinates, such as colours, in exact integer arithmetic. */
export interface Hull extends Owner {
  /** Grows the hull by further points. It is empty after a VelaError for want of memory. */
  grow(xs: Bytes, ys: Bytes, zs: Bytes): void;
  growByPixels(pixels: Bytes, pixelSize?: number): void;
  /** Whether a point of integer coordinates lies in the hull or on its surface. */
  contains(x: number, y: number, z: number): boolean;
  /**
   * Squared distances to the nearest and the farthest face, rounded as dist_to_chull() does.
   * @param x integer, -5000 to 5255, like y and z
   * @returns null for an empty hull
   */
  distances(x: number, y: number, z: number): { nearest: number; farthest: number } | null;
  readonly volume: number;
  readonly vertexCount: number;
  readonly edgeCount: number;
  readonly faceCount: number;
  /** x, y, z of each vertex. */
  vertices(): Uint8Array;
  /** The number of each vertex among the points that brought it. */
  vertexNumbers(): Uint32Array;
  /** Two numbers of vertices() for each edge. */
  edges(): Uint32Array;
  /** Three for each face, counter-clockwise seen from outside. */
  faces(): Uint32Array;
}

/** Bilinear interpolation, which does not filter when the rate falls, or a Lanczos kernel of one or two lobes. */
export type Kernel = 'bilinear' | 'lanczos' | 'lanczos2';

/** Samples in bytes: signed 16-bit linear, or one byte of ITU-T G.711. */
export type SampleFormat = 'littleEndian' | 'bigEndian' | 'alaw' | 'ulaw';

/** Samples: signed 16-bit integers, or numbers from -1 to 1 that are rounded to 16 bits and limited. */
export type Samples = Int16Array | Float32Array;

export interface ResamplerMaker {
  /**
   * A converter that begins in silence.
   * @param outRate 1 to 2^32 - 1, as a rule Hz, like inRate
   * @param kernel `lanczos2` without it
   * @throws RangeError for rates whose kernel would have more than 65535 coefficients: with the larger one, both
   * divided by their greatest common divisor, above 16384 for `lanczos2` and 32768 for `lanczos`; for `bilinear` the
   * output rate counts
   */
  make(outRate: number, inRate: number, kernel?: Kernel): Resampler;
  /** The same with a Lanczos kernel of any number of lobes: 16 pass 3700 Hz at 8 kHz and stop 5000 by 65 dB. */
  withLobes(outRate: number, inRate: number, lobes: number): Resampler;
}

/**
 * The stream of one channel. It may be cut in any way: a push takes in all its samples, keeps what no output needs yet,
 * and the output is the same.
 */
export interface Resampler extends Owner {
  /** How many samples a push of so many makes, exactly. */
  outputsOf(inputs: number): number;
  /** How late the output is, in output samples. */
  readonly latency: number;
  /** Converts the next samples. @returns what they give, in an array of the same kind */
  push<Kind extends Samples>(samples: Kind): Kind;
  /**
   * Converts the next samples without allocating anything, as the process() of an audio worklet should.
   * @param to has room for outputsOf(samples.length); may be of the other kind
   * @returns the number of samples written, outputsOf(samples.length)
   */
  pushInto(samples: Samples, to: Samples): number;
  /** Converts the next samples from one format to another, which may change from push to push. */
  pushBytes(bytes: Bytes, inFormat: SampleFormat, outFormat: SampleFormat): Uint8Array;
  /** Ends the stream: gives the outputs that were still late, and goes back to the beginning. */
  flush(): Int16Array;
  /** The same in a format. */
  flushBytes(outFormat: SampleFormat): Uint8Array;
  /** Goes back to the beginning, in silence. */
  reset(): void;
}

declare global {
  interface SymbolConstructor {
    readonly dispose: unique symbol;
  }
}
