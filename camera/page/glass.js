// The picture as it looks from the view of now: the library puts what the last one showed where its directions stand by now, so that
// it follows at once, and the next picture takes its place without a jump. Beyond what it showed there is neutral ground.
import { loaded } from './vela.js';

const canvas = document.getElementById('glass');
const ground = 0x23292f, black = 0xff000000;

let library = null, size = null, screen = null, shown = null, rows = null, scratch = null;
let picture = null; // the last one, as the library has it
let masks = [], hidden = []; // as they were given, and as the library has them

// Whether it can be done here.
export async function begin_glass(pixels) {
  library = await loaded;
  screen = library && canvas.getContext('2d', { alpha: false });
  if (!screen) return false;
  size = pixels;
  Object.assign(canvas, size);
  shown = screen.createImageData(size.width, size.height);
  rows = new Uint32Array(shown.data.buffer);
  scratch = Object.assign(document.createElement('canvas'), size).getContext('2d', { alpha: false, willReadFrequently: true });
  hide(masks);
  return true;
}

// A picture of a view.
export function take(image, view) {
  scratch.drawImage(image, 0, 0);
  picture?.free();
  picture = library.Picture.make({ ...size, ...view }, scratch.getImageData(0, 0, size.width, size.height).data);
  canvas.hidden = false;
}

// What is hidden is so in the picture already; here it is at once, and where no picture is known yet.
export function hide(all) {
  masks = all;
  if (!size) return;
  for (const one of hidden) one.free();
  hidden = masks.map(({ corners }) => library.Mask.make(Float64Array.from(corners.flat()))).filter((one) => one);
}

export function draw(view) {
  if (!picture) return;
  picture.draw(view, shown.data, ground);
  for (const one of hidden) {
    const runs = one.runs(view);
    for (let i = 0; i < runs.length; i += 3) rows.fill(black, runs[i] * size.width + runs[i + 1], runs[i] * size.width + runs[i + 2]);
  }
  screen.putImageData(shown, 0, 0);
}
