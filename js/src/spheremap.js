import { array, groups, int32, integer } from './core.js';

const points = (name, value) => groups(name, array(name, value, 'Int32Array'), 2);

function fields(view) {
  if (typeof view !== 'object' || view === null) throw new TypeError('view: an object is wanted');
  return Int32Array.of(integer('view.width', view.width, 1, 65535), integer('view.height', view.height, 1, 65535),
    int32('view.pan', view.pan), int32('view.tilt', view.tilt), integer('view.fov', view.fov, 1, 180 * 1024));
}

export function spheremap(core) {
  const map = (name, from, view) => core.use((room, put) => {
    const count = points('points', from), at = put(from), poly = put(Uint32Array.of(count, at));
    const result = core.exports[name](poly, put(fields(view)), poly); // in place
    return { result, points: core.copy(Int32Array, at, 2 * count) };
  });
  const clip = (name, pan, tilt) => core.use((room, put) => {
    const at = put(Int32Array.of(int32('pan', pan), int32('tilt', tilt)));
    core.exports[name](at, at + 4);
    const [first, second] = core.copy(Int32Array, at, 2);
    return { pan: first, tilt: second };
  });

  return {
    clipPanTilt: (pan, tilt) => clip('smap_clip_pan_tilt', pan, tilt),
    clipPanTiltBounds: (pan, tilt) => clip('smap_clip_pan_tilt_bounds', pan, tilt),

    spherePtToScreenPt(pan, tilt, view) {
      const { result, points: [x, y] } = map('smap_sphere_to_screen', Int32Array.of(int32('pan', pan), int32('tilt', tilt)), view);
      return result ? { x, y } : null;
    },
    screenPtToSpherePt(x, y, view) {
      const [pan, tilt] = map('smap_screen_to_sphere', Int32Array.of(int32('x', x), int32('y', y)), view).points;
      return { pan, tilt };
    },
    sphereToScreen(from, view) {
      const { result, points: all } = map('smap_sphere_to_screen', from, view);
      return { points: all, inFront: result !== 0 };
    },
    screenToSphere: (from, view) => map('smap_screen_to_sphere', from, view).points,

    polygonOnScreen: (from, view) => core.use((room, put) =>
      core.exports.smap_polygon_on_screen(put(Uint32Array.of(points('points', from), put(from))), put(fields(view))) !== 0),
  };
}
