// The hull of the view's colours in the cube of all colours, turned by dragging or by arrow keys.
import { Refusal, get, part, tell } from './server.js';
import { library } from './vela.js';

const view = part('view'), canvas = part('hull'), error = part('hull-error'), panel = canvas.closest('details');
let hull = null, turn = 2.2, tip = -0.5;

const minus = (a, b) => a.map((value, i) => value - b[i]);
const cross = (a, b) => [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]];
const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
const mean = (all) => [0, 1, 2].map((i) => all.reduce((sum, one) => sum + one[i], 0) / all.length);

// A colour in the turned cube, in pixels: right, down, and towards who looks.
function placed([r, g, b]) {
  const x = r - 127.5, y = b - 127.5, z = g - 127.5, scale = canvas.width / 480;
  const [cu, su, cv, sv] = [Math.cos(turn), Math.sin(turn), Math.cos(tip), Math.sin(tip)];
  const across = x * cu - y * su, away = x * su + y * cu;
  return [canvas.width / 2 + scale * across, canvas.height / 2 - scale * (z * cv - away * sv), -scale * (away * cv + z * sv)];
}

function paint() {
  const pen = canvas.getContext('2d'), style = getComputedStyle(canvas);
  pen.clearRect(0, 0, canvas.width, canvas.height);
  pen.lineWidth = 1.5;
  pen.strokeStyle = style.color;
  // The cube's twelve edges: from black outward, three from each corner, the ones that go up.
  pen.beginPath();
  for (let corner = 0; corner < 8; corner++)
    for (const bit of [1, 2, 4].filter((one) => !(corner & one)))
      for (const [end, to] of [[corner, 'moveTo'], [corner | bit, 'lineTo']])
        pen[to](...placed([1, 2, 4].map((one) => (end & one ? 255 : 0))).slice(0, 2));
  pen.stroke();
  if (!hull) return;
  const points = hull.vertices.map(placed), inside = mean(points);
  for (const face of hull.faces) {
    const [a, b, c] = face.map((i) => points[i]), normal = cross(minus(b, a), minus(c, a));
    // Outward is away from the middle; only what faces us is seen, and of a convex body nothing of that hides another.
    if (normal[2] * dot(normal, minus(a, inside)) <= 0) continue;
    pen.beginPath();
    for (const [x, y] of [a, b, c]) pen.lineTo(x, y);
    pen.closePath();
    pen.fillStyle = pen.strokeStyle = `rgb(${mean(face.map((i) => hull.vertices[i])).map(Math.round)})`;
    pen.fill();
    pen.stroke();
  }
}

// So many pixels, evenly over the picture.
const samples = { width: 64, height: 36 };
const pick = new OffscreenCanvas(samples.width, samples.height).getContext('2d', { willReadFrequently: true });
pick.imageSmoothingEnabled = false; // pixels as they are: a mean is a colour that nobody sees
pick.globalCompositeOperation = 'copy';

const triples = (all) => Array.from({ length: all.length / 3 }, (_, i) => Array.from(all.subarray(3 * i, 3 * i + 3)));

// The hull of pixels of four bytes, in the form that the camera answers with.
export function hull_of(pixels) {
  const made = library.Hull.ofPixels(pixels, 4);
  if (!made) throw new Refusal('the colours of this view have no volume');
  const all = { vertices: triples(made.vertices()), faces: triples(made.faces()), volume: made.volume / 255 ** 3 };
  made.free();
  return all;
}

// The picture as the browser or the page itself shows it. What the page draws can be read until the frame is over.
async function hull_here() {
  const glass = view.querySelector('canvas:not([hidden])');
  await new Promise((done) => { if (glass) view.addEventListener('sight', done, { once: true }); else requestAnimationFrame(done); });
  pick.drawImage(glass ?? part('picture'), 0, 0, samples.width, samples.height);
  return hull_of(pick.getImageData(0, 0, samples.width, samples.height).data);
}

async function look() {
  const answer = await tell(error, library ? hull_here() : get('/api/gamut', { points: samples.width * samples.height }));
  if (!answer) return;
  hull = answer;
  part('hull-words').textContent =
    `${(100 * hull.volume).toFixed(1)} % of all colours, within ${hull.vertices.length} corners and ${hull.faces.length} faces.`;
  paint();
}

// Once by the camera; or here, and then it follows the picture as long as it's seen.
let following = false;
export async function load_hull() {
  if (following || !panel.open) return;
  following = Boolean(library);
  part('hull-again').hidden = following;
  await look();
  while (following && panel.open) {
    await new Promise((done) => setTimeout(done, 200));
    await look();
  }
  following = false;
}

const by = (across, along) => {
  turn += across;
  tip = Math.min(Math.max(tip + along, -Math.PI / 2), Math.PI / 2);
  paint();
};
canvas.addEventListener('pointerdown', (event) => canvas.setPointerCapture(event.pointerId));
canvas.addEventListener('pointermove', (event) => {
  if (canvas.hasPointerCapture(event.pointerId)) by(event.movementX / 100, -event.movementY / 100);
});
const keys = { ArrowLeft: [-0.1, 0], ArrowRight: [0.1, 0], ArrowUp: [0, 0.1], ArrowDown: [0, -0.1] };
canvas.addEventListener('keydown', (event) => {
  if (!keys[event.key]) return;
  event.preventDefault();
  by(...keys[event.key]);
});
panel.addEventListener('toggle', load_hull);
part('hull-again').addEventListener('click', load_hull);
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', paint);
