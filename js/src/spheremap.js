import { array, groups, int32, integer, object } from './core.js';

const points = (name, value) => {
    groups(name, array(name, value, 'Int32Array'), 2);
    return value;
};

// The numbers of a view; each field is read once. The unit is part of the names, so that a view in degrees is refused.
function fields(view) {
    const { width, height, panQ10, tiltQ10, fovQ10 } = object('view', view);
    return [
        integer('view.width', width, 1, 65535),
        integer('view.height', height, 1, 65535),
        int32('view.panQ10', panQ10),
        int32('view.tiltQ10', tiltQ10),
        integer('view.fovQ10', fovQ10, 1, 180 * 1024),
    ];
}

export function spheremap(core) {
    const direction = ([panQ10, tiltQ10]) => ({ panQ10, tiltQ10 });
    const clip = (name, panQ10, tiltQ10) =>
        direction(core.array(Int32Array, name, int32('panQ10', panQ10), int32('tiltQ10', tiltQ10)));
    const sphereToScreen = (from, view) => {
        const all = core.array(Int32Array, 'spheremap_sphere_to_screen', points('points', from), ...fields(view));
        return { points: all.slice(0, -1), inFront: all.at(-1) !== 0 };
    };
    const screenToSphere = (from, view) =>
        core.array(Int32Array, 'spheremap_screen_to_sphere', points('points', from), ...fields(view));

    return {
        clipPanTilt: (panQ10, tiltQ10) => clip('spheremap_clip_pan_tilt', panQ10, tiltQ10),
        clipPanTiltBounds: (panQ10, tiltQ10) => clip('spheremap_clip_pan_tilt_bounds', panQ10, tiltQ10),

        spherePtToScreenPt(panQ10, tiltQ10, view) {
            const from = Int32Array.of(int32('panQ10', panQ10), int32('tiltQ10', tiltQ10)),
                { points, inFront } = sphereToScreen(from, view);
            return inFront ? { x: points[0], y: points[1] } : null;
        },
        screenPtToSpherePt: (x, y, view) =>
            direction(screenToSphere(Int32Array.of(int32('x', x), int32('y', y)), view)),
        sphereToScreen,
        screenToSphere,

        polygonOnScreen: (from, view) =>
            core.call('spheremap_polygon_on_screen', points('points', from), ...fields(view)) !== 0,
    };
}
