/**
 * The library as WebAssembly, for pages, workers, audio worklets and Node: bit-identical to the native library.
 *
 * Functions copy typed arrays in and return new ones; the module's memory is never exposed. An argument of the wrong
 * type throws a TypeError, one out of range a RangeError, before anything is done. A result that does not exist (no
 * hull, no solution, invalid Base64) is `null`. A VelaError reports a violated precondition of the library, a lack of
 * memory or random numbers, or a module that can't be fetched. The instance stays usable after an error.
 */

/** A violated precondition of the library, or a resource that is not available. */
export class VelaError extends Error {
    /** The precondition, as written in the library's source; null for other errors. */
    readonly expression: string | null;
    /** Its source file. */
    readonly file: string | null;
    /** Its line. */
    readonly line: number | null;
    /** The function that requires it. */
    readonly function: string | null;
}

/** A module: its URL (in Node absolute, `file:` as well), its bytes, or compiled. */
export type Source = string | URL | ArrayBuffer | ArrayBufferView | WebAssembly.Module;

export interface Options {
    /** Fills an array with random bytes, instead of the host's `crypto`, which audio worklets lack. */
    random?: (bytes: Uint8Array) => void;
}

/** Whether the host has 16-byte vectors, so that load() takes vela-simd.wasm. Results are the same without. */
export function hasVectors(): boolean;

/** Compiles a module, by default the package's own. It can be posted to workers and worklets. */
export function compile(source?: Source): Promise<WebAssembly.Module>;

/** Instantiates a compiled module synchronously, as an audio worklet must. */
export function instantiate(module: WebAssembly.Module, options?: Options): Vela;

/** Compiles and instantiates a module, by default the package's own. */
export function load(source?: Source, options?: Options): Promise<Vela>;

/** An instance, with its own memory. */
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
}

/** Bytes; Node's Buffer is a Uint8Array. */
export type Bytes = Uint8Array | Uint8ClampedArray;

/** Owns memory of the module until free(), or until the end of a block that declares it by `using`. */
export interface Owner {
    /** Releases it; a second call does nothing. Any other later use throws a TypeError. */
    free(): void;
    /** Whether it was released. */
    readonly freed: boolean;
    /** free() */
    [Symbol.dispose](): void;
}

/** Base64 with the standard alphabet of RFC 4648 and "=" padding, without line breaks. */
export interface Base64 {
    encode(bytes: Bytes): string;
    /** Skips white space. @returns the bytes; null if the text is not Base64 */
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
     * @param to receives as many bytes; may be `pixels`; a new array by default
     * @returns `to`
     */
    fromRgb(variant: ColourVariant, pixels: Bytes): Uint8Array;
    fromRgb<To extends Bytes>(variant: ColourVariant, pixels: Bytes, to: To): To;
    /** YCbCr pixels to RGB, as fromRgb(). */
    toRgb(variant: ColourVariant, pixels: Bytes): Uint8Array;
    toRgb<To extends Bytes>(variant: ColourVariant, pixels: Bytes, to: To): To;
    /**
     * A full-range 4:2:2 picture (bytes Cb, Y0, Cr, Y1, known as UYVY) to RGB.
     * @param from rows; those of an odd width end with the bytes Cb, Y0, Cr
     * @param width pixels a row
     * @param height rows
     * @param stride bytes from one row to the next; by default 2 x width, plus 1 for an odd width
     * @param to receives 3 x width x height bytes; a new array by default
     * @returns `to`
     */
    unpack(from: Bytes, width: number, height: number, stride?: number): Uint8Array;
    unpack<To extends Bytes>(from: Bytes, width: number, height: number, stride: number | undefined, to: To): To;
    /** Nine Q12 coefficients (4096 is 1.0) by rows: Y, Cb, Cr from R, G, B, without the offsets. */
    encodingMatrix(variant: ColourVariant): Int32Array;
    /** The same for R, G, B from Y, Cb, Cr. */
    decodingMatrix(variant: ColourVariant): Int32Array;
}

/**
 * How knots are joined: by line segments; by the natural cubic spline in single precision; by the same in 32-bit fixed
 * point, within the limits that `vela/interp.h` gives for spline_interpolate().
 */
export type CurveMethod = 'line' | 'spline' | 'fixedSpline';

/** Curves through a few knots, as tables with a value for each integer x from the first knot's to the last one's. */
export interface Curves {
    /**
     * @param knots 1 to 32767 pairs of x and y; x increases, for lines it may also repeat
     * @returns integers; those of a spline are rounded to the nearest and clamped to 16 bits
     */
    table(method: CurveMethod, knots: Int16Array): Int16Array;
    /** The spline in single precision, not rounded. */
    floatTable(knots: Int16Array): Float32Array;
}

/** Trigonometry and roots in fixed point; QN holds the real value times 2^N. Angles in degrees are Q10: times 1024. */
export interface FixedPoint {
    /** Sine in Q12 (4096 is 1.0). @param angle Q10 degrees, any 32-bit integer */
    sinQ10inQ12out(angle: number): number;
    /** The smallest Q10 root whose square reaches x, at most 2048. @param x Q20, 0 to 2^31 */
    sqrtQ20ToQ10(x: number): number;
    /** The root rounded down. @param x 0 to 2^32 - 1 */
    intSqrt(x: number): number;
    /** Sine in Q15 within 38 units. @param x Q15 radians, any 32-bit integer */
    sinQ15(x: number): number;
    /** sin(pi x) / (pi x) in Q15. @param x Q15, -333771 to 333771 */
    sincQ15(x: number): number;
    /** Lanczos kernel in Q15. @param a lobes on each side, at most 8 @param x Q15 */
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

/** A dense matrix: element (i, j), counted from 0, is `elements[i * cols + j]`. A plain object: nothing to free. */
export interface Matrix {
    rows: number;
    cols: number;
    elements: Float32Array;
}

/** a = u diag(values) v^T. */
export interface Decomposition {
    /** The size of a. */
    u: Matrix;
    /** Singular values, one for each column, not negative, not sorted. */
    values: Float32Array;
    /** Orthogonal. */
    v: Matrix;
}

/** A polynomial that fitPolynomial() found. */
export interface Polynomial extends Owner {
    value(x: number): number;
    /** In ascending powers of u, the abscissa scaled to -1..1 over the samples. */
    coefficients(): Float32Array;
}

/** A quadratic surface that fitSurface() found. */
export interface Surface extends Owner {
    value(x: number, y: number): number;
    /** Six, as polyfit2D() has them, of the coordinates scaled to -1..1 over the samples. */
    coefficients(): Float32Array;
}

/** Small dense linear algebra in single precision. Magnitudes below 1e-14 count as 0: scale the numbers accordingly. */
export interface Matrices {
    /** A matrix of zeros. */
    make(rows: number, cols: number): Matrix;
    /** @param values rows x cols elements by rows; copied */
    of(rows: number, cols: number, values: Float32Array): Matrix;
    transposed(a: Matrix): Matrix;
    /** a b. Sums are in double precision and rounded once. */
    product(a: Matrix, b: Matrix): Matrix;
    /** By Gauss elimination without pivoting for size. @param a square, at most 24 rows @returns null if singular */
    inverse(a: Matrix): Matrix | null;
    /** @param elements 9 by rows @returns 9; null for a determinant of at most 1e-14 */
    inverse3x3(elements: Float32Array): Float32Array | null;
    /** @param elements 16 by rows @returns 16; null for a determinant of at most 1e-14 */
    inverse4x4(elements: Float32Array): Float32Array | null;
    /** The singular value decomposition. @returns null if it does not converge, or a number is not finite */
    decompose(a: Matrix): Decomposition | null;
    /**
     * Solves a x = b in the least-squares sense.
     * @param b a number for each row of a
     * @returns a number for each column; null if the columns are dependent (a singular value is below 1e-6 of the
     * largest), or if a has fewer rows than columns
     */
    leastSquares(a: Matrix, b: Float32Array): Float32Array | null;
    /**
     * Fits a polynomial of any degree by least squares; degrees up to 10 or so are well determined.
     * @returns null if the samples don't determine it, or a number is not finite
     */
    fitPolynomial(xs: Float32Array, ys: Float32Array, degree: number): Polynomial | null;
    /**
     * Fits a quadratic surface by least squares, over coordinates of any size.
     * @returns null if the samples don't determine it, or a number is not finite
     */
    fitSurface(xs: Float32Array, ys: Float32Array, zs: Float32Array): Surface | null;
    /**
     * polyfit() of `vela/matrix.h`, for degrees up to 2; fitPolynomial() has no such limit.
     * @param count number of coefficients
     * @returns them, in ascending powers; null if there is no solution
     */
    polyfit(xs: Float32Array, ys: Float32Array, count: number): Float32Array | null;
    /**
     * polyfit2D() of `vela/matrix.h`, for coordinates up to 16; fitSurface() has no such limit.
     * @returns the coefficients of 1, y, x, y^2, x y, x^2; null if there is no solution
     */
    polyfit2D(xs: Uint16Array, ys: Uint16Array, zs: Float32Array): Float32Array | null;
    /** The surface's height, in single precision. @param coefficients six, as polyfit2D() gives them */
    poly2DValue(x: number, y: number, coefficients: Float32Array): number;
}

/**
 * What a camera shows on a screen, in Q10 degrees (degrees x 1024). The unit is part of the names, so that a view in
 * degrees, as `vela/overlay` takes it, is refused. The pixel (width >> 1, height >> 1) shows the direction (panQ10, tiltQ10).
 */
export interface View {
    /** Pixels, 1 to 65535. */
    width: number;
    /** Pixels, 1 to 65535. */
    height: number;
    panQ10: number;
    tiltQ10: number;
    /** Spanned by the width, 1 to 184320 (180 degrees); pixels are square. */
    fovQ10: number;
}

/** A direction in Q10 degrees; a full turn is 368640. */
export interface SpherePt {
    panQ10: number;
    tiltQ10: number;
}

/** A position in pixels from the upper left corner, downward; on or off the screen. */
export interface ScreenPt {
    x: number;
    y: number;
}

/** A pan/tilt camera's sphere to the screen and back. Lists of points are pairs: panQ10, tiltQ10 or x, y. */
export interface SphereMap {
    /** Brings a direction into pan 0 to 368639, tilt -92160 to 92160. */
    clipPanTilt(panQ10: number, tiltQ10: number): SpherePt;
    /** Brings a limit of travel into pan 0 to 368639, tilt -184320 to 184320. */
    clipPanTiltBounds(panQ10: number, tiltQ10: number): SpherePt;
    /** The position of a direction. @returns null if it is not in front */
    spherePtToScreenPt(panQ10: number, tiltQ10: number, view: View): ScreenPt | null;
    /** The direction that a pixel shows; (0, 0), which may also be a direction, if it shows none. */
    screenPtToSpherePt(x: number, y: number, view: View): SpherePt;
    /**
     * The positions of directions.
     * @param points pairs of panQ10 and tiltQ10
     * @returns pairs of x and y, (-1234, -5678) for those that are not in front; and whether all are
     */
    sphereToScreen(points: Int32Array, view: View): { points: Int32Array; inFront: boolean };
    /** The directions that pixels show. @param points pairs of x and y @returns pairs of panQ10 and tiltQ10 */
    screenToSphere(points: Int32Array, view: View): Int32Array;
    /** Whether the bounding box of a polygon overlaps the screen. @param points pairs of x and y */
    polygonOnScreen(points: Int32Array, view: View): boolean;
}

export interface Text {
    /** Two upper-case hexadecimal digits for each byte. */
    bin2hex(bytes: Bytes): string;
    /** @returns null if the text is not pairs of hexadecimal digits */
    hex2bin(hex: string): Uint8Array | null;
    /** Removes the line end: at most one newline, then one carriage return. @param text without NULs */
    chomp(text: string): string;
    /** Removes white space at both ends. @param text without NULs */
    strip(text: string): string;
    /** Puts a newline between chunks. @param chunk bytes of each, 1 or more */
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

/** The components of a URL, not decoded; null for those that it lacks. */
export interface UrlParts {
    scheme: string;
    user: string | null;
    password: string | null;
    /** An IPv6 address in brackets. */
    host: string | null;
    port: string | null;
    /** With the leading "/". */
    path: string | null;
    /** After "?". */
    query: string | null;
    /** After "#". */
    fragment: string | null;
}

export interface Urls {
    /** Splits a URL. @returns null for what RFC 3986 does not allow, and without "//" or "/" after the scheme */
    parse(text: string): UrlParts | null;
    /** Encodes a segment of a path: "%" and two digits for each byte of UTF-8 that may not occur there. */
    encodeSegment(text: string | Bytes): string;
    /** Encodes a name or value of a query: "+" for a space, "%" and two digits for all but letters, digits, "-._~". */
    encodeForm(text: string | Bytes): string;
    /** Decodes any component but a query. Invalid UTF-8 becomes U+FFFD. */
    decode(text: string): string;
    /** Decodes a name or value of a query. */
    decodeForm(text: string): string;
    /** decode() without conversion from UTF-8. */
    decodeBytes(text: string): Uint8Array;
    /** The bytes of a MAC address such as "00:1a:2B:3c:4d:5e"; what follows is ignored. @returns null for others */
    parseMac(text: string): Uint8Array | null;
    /** @param mac six bytes */
    formatMac(mac: Bytes): string;
}

/** `{00112233-4455-6677-8899-aabbccddeeff}`, the same without braces, or without dashes either. */
export type UuidForm = 'braced' | 'dashed' | 'plain';

/** UUIDs as 16 bytes, and random numbers, which throw a VelaError without a random source. */
export interface Uuids {
    /** A UUID of version 4 (RFC 9562): 122 random bits. Never null: no random bytes are an exception. */
    random(): Uint8Array;
    /** @returns null for a text in none of the forms, in either case */
    parse(text: string): Uint8Array | null;
    /** @param bytes 16 @param form `dashed` by default */
    toString(bytes: Bytes, form?: UuidForm): string;
    randBytes(length: number): Uint8Array;
    /** From a to b, both included; only the lowest 65536 values of a wider range. */
    randInt(a: number, b: number): number;
}

export interface HullMaker {
    /**
     * The hull of points with coordinates 0 to 255.
     * @returns null if there is none: all points in one plane, or no three consecutive points that are not collinear
     */
    ofPoints(xs: Bytes, ys: Bytes, zs: Bytes): Hull | null;
    /** The same for pixels. @param pixelSize bytes of one, by default 3; the first three count; 4 for canvas data */
    ofPixels(pixels: Bytes, pixelSize?: number): Hull | null;
}

/** The convex hull of points with 8-bit coordinates, such as colours, in exact integer arithmetic. */
export interface Hull extends Owner {
    /** Adds points. After a VelaError for lack of memory the hull is empty. */
    grow(xs: Bytes, ys: Bytes, zs: Bytes): void;
    growByPixels(pixels: Bytes, pixelSize?: number): void;
    /** Whether a point is inside the hull or on its surface. */
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
    /** The index of each vertex among the points of the call that added it. */
    vertexNumbers(): Uint32Array;
    /** Two indices into vertices() for each edge. */
    edges(): Uint32Array;
    /** Three for each face, counter-clockwise as seen from outside. */
    faces(): Uint32Array;
}

/** Bilinear interpolation, without an anti-aliasing filter, or a Lanczos kernel of one or two lobes. */
export type Kernel = 'bilinear' | 'lanczos' | 'lanczos2';

/**
 * Filters with a pass band up to 0.86, 0.80, 0.85, 0.90 and 0.95 of the lower rate's Nyquist frequency, and a stop band as
 * far above it, attenuated by 54, 87, 88, 92 and 100 dB. From `low` on the only noise is the rounding to 16 bits.
 */
export type Quality = 'speech' | 'low' | 'medium' | 'high' | 'best';

/** Samples in bytes: signed 16-bit linear, or one byte of ITU-T G.711. */
export type SampleFormat = 'littleEndian' | 'bigEndian' | 'alaw' | 'ulaw';

/**
 * Samples: signed 16-bit integers, or numbers from -1 to 1. Those are rounded to 16 bits and clamped, but by a resampler of
 * floats, whose range is -8 to 8 with a resolution of 2^-27. Several channels are interleaved: a frame is one of each.
 */
export type Samples = Int16Array | Float32Array;

export interface ResamplerMaker {
    /**
     * A converter, at the start of a stream.
     * @param outRate 1 to 2^32 - 1, usually in Hz, like inRate
     * @param kernel or a quality; by default `lanczos2`
     * @param options for a quality alone
     * @param options.channels 1 to 8; 1 by default
     * @param options.floats whether the stream is one of floats, of more than 16 bits; false by default
     * @throws RangeError if no quality has a filter for the rates, which differ by more than a factor of 100, or the kernel
     * would have more than 65535 coefficients: with the larger rate, divided by the greatest common divisor, above 16384 for
     * `lanczos2` and 32768 for `lanczos`; for `bilinear`, the output rate
     */
    make(
        outRate: number,
        inRate: number,
        kernel?: Kernel | Quality,
        options?: { channels?: number; floats?: false },
    ): Resampler;
    make(
        outRate: number,
        inRate: number,
        quality: Quality,
        options: { channels?: number; floats: true },
    ): FloatResampler;
    /** A Lanczos kernel of any number of lobes. From 48 to 8 kHz, 16 pass 3700 Hz and attenuate 5000 Hz by 65 dB. */
    withLobes(outRate: number, inRate: number, lobes: number): Resampler;
}

/**
 * A stream. The output does not depend on how the input is divided into pushes: each takes all its
 * samples, and keeps those that later outputs need.
 */
export interface Resampler extends Owner {
    /** The exact number of frames that the next push of `inputs` frames returns. */
    outputCount(inputs: number): number;
    /** The delay of the output, in output frames. */
    readonly latency: number;
    /** Converts the next samples, of whole frames. @returns an array of the same type */
    push<Kind extends Samples>(samples: Kind): Kind;
    /**
     * Converts the next samples without allocating anything, as the process() of an audio worklet should.
     * @param to at least the samples of outputCount(frames) frames, of either type
     * @returns the number of samples written
     */
    pushInto(samples: Samples, to: Samples): number;
    /** Converts the next samples between formats, which may change from push to push. */
    pushBytes(bytes: Bytes, inFormat: SampleFormat, outFormat: SampleFormat): Uint8Array;
    /** Ends the stream: returns the delayed outputs, and resets. */
    flush(): Int16Array;
    /** The same in a format. */
    flushBytes(outFormat: SampleFormat): Uint8Array;
    /**
     * Changes the ratio of the rates from the next sample on, without a click. The first call allocates.
     * @param ratio samples for one that there would be at the rates of make(): 0.9 to 1.1
     * @throws RangeError for another ratio, and for a resampler of a kernel
     */
    setRatio(ratio: number): void;
    /**
     * Keeps a buffer that this stream fills at a level, where its reader's clock differs: changes the ratio by up to
     * 0.1 %, after every push or as often.
     * @param fill samples that the buffer holds, with those of the last push
     * @param target samples that it is to hold
     * @throws RangeError for a resampler of a kernel
     */
    follow(fill: number, target: number): void;
    /** Discards the stream's history, for a new stream. */
    reset(): void;
}

/** A stream of floats. */
export interface FloatResampler extends Omit<Resampler, 'flush' | 'pushBytes' | 'flushBytes'> {
    flush(): Float32Array;
}

declare global {
    interface SymbolConstructor {
        readonly dispose: unique symbol;
    }
}
