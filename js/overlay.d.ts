/**
 * Masks, paths and pictures on the view of a moving camera, in double precision: libvela-overlay as the module
 * vela-overlay.wasm, which works without the other ones. Directions are pan and tilt in degrees, positions x and y in
 * pixels; lists hold pairs. Errors are those of the package's main entry.
 */
import type { Owner, Source } from './index.js';

/** Compiles the module, by default the package's own. */
export function compile(source?: Source): Promise<WebAssembly.Module>;
/** Instantiates a compiled module synchronously. */
export function instantiate(module: WebAssembly.Module): Overlay;
/** Compiles and instantiates it. */
export function load(source?: Source): Promise<Overlay>;

/**
 * What the camera shows; the centre of the upper left pixel is (0, 0). The lens is one of a real camera, or by a field of
 * view alone the one of <vela/spheremap.h>: positions along each axis are proportional to angles, pixels are square, and
 * (width / 2, height / 2), rounded down, shows the direction (pan, tilt). By another lens than the camera's, masks leave
 * open what they should hide.
 */
export type OverlayView = {
    /** Pixels, 1 to 65535. */
    width: number;
    /** Pixels, 1 to 65535. */
    height: number;
    /** Degrees, any number of turns. */
    pan: number;
    /** Degrees, -90 to 90. */
    tilt: number;
} & (
    | {
          /** Degrees spanned by the width, above 0 and up to 180. */
          fov: number;
          roll?: 0;
          lens?: undefined;
      }
    | {
          lens: Lens;
          /** Degrees around the optical axis; with 90 the upper edge shows what has a greater pan. */
          roll?: number;
          fov?: undefined;
      }
);

/** A lens as OpenCV's calibration gives it; has no other fields. */
export type Lens = Pinhole | Fisheye;

/** Focal lengths across and down, and the centre, in pixels. */
export interface LensScales {
    fx: number;
    fy: number;
    cx: number;
    cy: number;
}

/** OpenCV's pinhole model, with its distortion. */
export interface Pinhole extends LensScales {
    model: 'pinhole';
    k1?: number;
    k2?: number;
    p1?: number;
    p2?: number;
    k3?: number;
}

/** OpenCV's fisheye model, with its distortion. */
export interface Fisheye extends LensScales {
    model: 'fisheye';
    k1?: number;
    k2?: number;
    k3?: number;
    k4?: number;
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
    /**
     * What it covers at any moment of the motion from one view to another, in which the orientation and the numbers of
     * the lens change evenly, by the shorter way around; all pixels between views of different sizes or models.
     */
    runsBetween(from: OverlayView, to: OverlayView): Int32Array;
    /**
     * What it may cover where the camera's orientation is known to within an angle.
     * @param margin degrees; 0 or less for none, all of the picture is covered from 90 on
     */
    runsWithin(view: OverlayView, margin: number): Int32Array;
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

export type PictureFormat =
    | 'rgb24'
    | 'bgr24'
    | 'rgba'
    | 'yuyv'
    | 'uyvy'
    | 'nv12'
    | 'nv21'
    | 'i420'
    | 'i422'
    | 'i444'
    | 'grey';
export type ColourSpace = 'bt601Full' | 'bt601Studio' | 'bt709Studio' | 'bt709Full';

/** A picture in memory: plane after plane, row after row, without gaps. An ImageData is one. */
export interface PictureData {
    data: Uint8Array | Uint8ClampedArray;
    /** Pixels, 1 to 65535. */
    width: number;
    /** Pixels, 1 to 65535. */
    height: number;
    /** By default `rgba`. */
    format?: PictureFormat;
    /** What YCbCr means; by default `bt601Full`. */
    colours?: ColourSpace;
}

/** How pixels are hidden; by default by black. */
export interface Cover {
    /** One colour, squares of the average of what they cover, or smooth shades between their centres. */
    style?: 'solid' | 'blocks' | 'blur';
    /** Of blocks and blur: the side of a square in pixels, 2 to 65535. */
    size?: number;
    /** Of a solid area: 0xRRGGBB, by default black. */
    colour?: number;
}

export interface Overlay {
    readonly Mask: MaskMaker;
    readonly Picture: PictureMaker;
    /**
     * Hides pixels, and with them all chroma that any of them has a share in.
     * @param picture is written to
     * @param runs row, begin and end of each; what lies outside of the picture is left out
     */
    hide(picture: PictureData, runs: Int32Array, cover?: Cover): void;
    /**
     * A lens of square pixels without distortion, its axis in the middle of the picture.
     * @param degrees spanned by the width: above 0, below 180 for a pinhole, up to 360 for a fisheye
     */
    lensOfFov<Model extends Lens['model']>(
        model: Model,
        width: number,
        height: number,
        degrees: number,
    ): LensScales & { model: Model };
    /** The position of a direction, on the screen or beside it. @returns null if the lens cannot see it */
    project(view: OverlayView, pan: number, tilt: number): { x: number; y: number } | null;
    /** The direction that a position shows, pan from 0 to 360. @returns null if it shows none */
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
