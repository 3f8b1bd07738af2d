// Draws the last picture as the view of each moment sees it, so that it follows the pointer at once and the next picture
// takes its place without a jump. What it does not show is neutral ground.
import { overlay } from './modules.js';

const ground = 0x23292f;
const black = 0xff000000;

export class Renderer {
    #size;
    #canvas;
    #context;
    #frame;
    #pixels; // of #frame, four bytes each
    #decoder;
    #picture = null;
    #masks = [];

    constructor(canvas, size) {
        this.#size = size;
        this.#canvas = Object.assign(canvas, size);
        this.#context = canvas.getContext('2d', { alpha: false });
        this.#frame = this.#context.createImageData(size.width, size.height);
        this.#pixels = new Uint32Array(this.#frame.data.buffer);
        this.#decoder = new OffscreenCanvas(size.width, size.height).getContext('2d', {
            alpha: false,
            willReadFrequently: true,
        });
    }

    // A picture may be smaller than the canvas.
    setPicture(image, view) {
        const { width, height } = image;
        this.#decoder.drawImage(image, 0, 0);
        this.#picture?.free();
        const { data } = this.#decoder.getImageData(0, 0, width, height);
        this.#picture = overlay.Picture.make({ width, height, ...view }, data);
        this.#canvas.hidden = false;
    }

    // Masks are black in the camera's pictures already. Here they cover at once, and where no picture is known yet.
    setMasks(masks) {
        for (const mask of this.#masks) mask.free();
        this.#masks = masks
            .map(({ corners }) => overlay.Mask.make(Float64Array.from(corners.flat())))
            .filter((mask) => mask);
    }

    draw(view) {
        if (!this.#picture) return;
        const { width } = this.#size;
        this.#picture.draw(view, this.#frame.data, ground);
        for (const mask of this.#masks) {
            const runs = mask.runs(view);
            for (let i = 0; i < runs.length; i += 3) {
                const [y, begin, end] = runs.subarray(i, i + 3);
                this.#pixels.fill(black, y * width + begin, y * width + end);
            }
        }
        this.#context.putImageData(this.#frame, 0, 0);
    }
}
