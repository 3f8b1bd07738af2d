/**
 * Masks and marks on the view of a moving camera, in double precision: the module vela-overlay.wasm, which serves alone.
 * Directions are pan and tilt in degrees, positions x and y in pixels; lists hold them in pairs. Errors are those of the
 * package's main entry.
 */
import type { Owner, Source } from './index.js';

/** Compiles the module: this package's own, if none is named. It can be sent to workers by message. */
export function compile(source?: Source): Promise<WebAssembly.Module>;
/** Starts a compiled module, at once. */
export function instantiate(module: WebAssembly.Module): Overlay;
/** Compiles and starts it. */
export function load(source?: Source): Promise<Overlay>;

/** What the camera shows; the middle of the upper left pixel is (0, 0). */
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

/** Each pixel whose square touches the inside or the outline, or each whose centre is inside. */
export type Coverage = 'conservative' | 'centres';

export interface MaskMaker {
  /**
   * A polygon of directions joined by the shorter great-circle arcs. Outside is the side that holds most of the sphere.
   * @param corners pairs of pan and tilt, three or more, up to 2^20
   * @returns null for numbers that are not finite, for corners that are all the same, for neighbours opposite to each
   * other, and when memory runs out
   */
  make(corners: Float64Array): Mask | null;
}

export interface Mask extends Owner {
  /** Whether a direction is inside. */
  contains(pan: number, tilt: number): boolean;
  /**
   * The pixels that it covers, as runs: the row, its first pixel, and the pixel behind its last; downward, and from left
   * to right.
   * @param coverage `conservative` without it
   */
  list(view: OverlayView, coverage?: Coverage): Int32Array;
}

export interface PictureMaker {
  /**
   * A picture as it was taken.
   * @param view in which it was
   * @param pixels red, green, blue and opacity, a byte each, in rows from the top; width times height of the view
   */
  make(view: OverlayView, pixels: Uint8Array | Uint8ClampedArray): Picture;
}

export interface Picture extends Owner {
  /**
   * What a view shows of it: each pixel between the four whose directions are next to its own. Pixels stray by a sixth of one
   * at most from a view of 110 degrees to one close by, by a hundredth at 60 degrees.
   * @param into receives pixels like the picture's, width times height of the view
   * @param ground 0xRRGGBB, where it shows nothing of the picture; black without it
   */
  draw(view: OverlayView, into: Uint8Array | Uint8ClampedArray, ground?: number): void;
}

export interface Overlay {
  readonly Mask: MaskMaker;
  readonly Picture: PictureMaker;
  /** Where a direction stands, on the screen or beside it; null where it is behind the view. */
  place(view: OverlayView, pan: number, tilt: number): { x: number; y: number } | null;
  /** Which direction a position shows, pan from 0 to 360; null beyond the rim of what is in front. */
  at(view: OverlayView, x: number, y: number): { pan: number; tilt: number } | null;
  /**
   * The straight lines of a path, nowhere half a pixel from the arcs between its directions.
   * @param path pairs of pan and tilt
   * @returns x and y of both ends for each line; null where a number is not finite or two neighbours are opposite
   */
  trace(view: OverlayView, path: Float64Array): Float64Array | null;
  /**
   * The directions of a polygon drawn on the screen, with as many corners as its straight sides need.
   * @param corners pairs of x and y
   * @returns pairs of pan and tilt; null where a position shows no direction
   */
  outline(view: OverlayView, corners: Float64Array): Float64Array | null;
}
