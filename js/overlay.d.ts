/**
 * Masks, paths and pictures on the view of a moving camera, in double precision: the module vela-overlay.wasm, which
 * works without the other ones. Directions are pan and tilt in degrees, positions x and y in pixels; lists hold pairs.
 * Errors are those of the package's main entry.
 */
import type { Owner, Source } from './index.js';

/** Compiles the module, by default the package's own. */
export function compile(source?: Source): Promise<WebAssembly.Module>;
/** Instantiates a compiled module synchronously. */
export function instantiate(module: WebAssembly.Module): Overlay;
/** Compiles and instantiates it. */
export function load(source?: Source): Promise<Overlay>;

/** What the camera shows; the centre of the upper left pixel is (0, 0). */
export interface OverlayView {
    /** Pixels, 1 to 65535. */
    width: number;
    /** Pixels, 1 to 65535. */
    height: number;
    /** Degrees; the pixel (width / 2, height / 2), rounded down, shows the direction (pan, tilt). */
    pan: number;
    /** Degrees. */
    tilt: number;
    /** Degrees spanned by the width, above 0 and up to 180; pixels are square. */
    fov: number;
}

/** Each pixel whose square touches the inside or its boundary, or each whose centre is inside. */
export type Coverage = 'conservative' | 'centres';

export interface MaskMaker {
    /**
     * A polygon of directions, joined by the shorter great-circle arcs. Outside is the region with most of the sphere.
     * @param corners pairs of pan and tilt, three or more, up to 384
     * @returns null if a number is not finite, all corners are equal, neighbours are antipodal, or memory runs out
     */
    make(corners: Float64Array): Mask | null;
}

export interface Mask extends Owner {
    /** Whether a direction is inside. */
    contains(pan: number, tilt: number): boolean;
    /**
     * The pixels that it covers, as runs: row, begin, end (one past the last pixel); by rows, from left to right.
     * @param coverage by default `conservative`
     */
    runs(view: OverlayView, coverage?: Coverage): Int32Array;
}

export interface PictureMaker {
    /**
     * A picture.
     * @param view in which it was taken
     * @param pixels red, green, blue and opacity, a byte each, by rows; width x height of the view
     */
    make(view: OverlayView, pixels: Uint8Array | Uint8ClampedArray): Picture;
}

export interface Picture extends Owner {
    /**
     * Draws the picture as another view sees it, interpolated between its pixels.
     * @param into receives pixels of the same format, width x height of the view
     * @param background 0xRRGGBB where the picture has nothing; by default black
     */
    draw(view: OverlayView, into: Uint8Array | Uint8ClampedArray, background?: number): void;
}

export interface Overlay {
    readonly Mask: MaskMaker;
    readonly Picture: PictureMaker;
    /** The position of a direction, on the screen or beside it. @returns null if it is behind the camera */
    project(view: OverlayView, pan: number, tilt: number): { x: number; y: number } | null;
    /** The direction that a position shows, pan from 0 to 360. @returns null beyond the hemisphere in front */
    unproject(view: OverlayView, x: number, y: number): { pan: number; tilt: number } | null;
    /**
     * The lines of a path, nowhere half a pixel from the great-circle arcs between its directions.
     * @param path pairs of pan and tilt
     * @returns x and y of both ends of each line; null if a number is not finite or two neighbours are antipodal
     */
    projectPath(view: OverlayView, path: Float64Array): Float64Array | null;
    /**
     * The directions of a polygon on the screen, with as many corners as its straight edges need.
     * @param corners pairs of x and y
     * @returns pairs of pan and tilt; null if a position shows no direction
     */
    unprojectPolygon(view: OverlayView, corners: Float64Array): Float64Array | null;
}
