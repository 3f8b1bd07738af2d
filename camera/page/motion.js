// Where the camera looks at every moment: it tells the plan that it moves by, and nobody has to be asked in between.

let plan = null;

// By how many seconds the camera's clock is ahead of the page's, from how much to how much: each answer was given between its
// question and its arrival. A clock that was set, or that has drifted, begins anew.
let least = -Infinity, most = Infinity;

const seconds = (milliseconds) => milliseconds / 1000;

export const camera_time = (milliseconds) => seconds(milliseconds) + (least + most) / 2;

// Takes in a state that was asked for at a time and has come now.
export function hear(state, asked) {
  const low = state.now - seconds(performance.now()), high = state.now - seconds(asked);
  [least, most] = Math.max(least, low) <= Math.min(most, high) ? [Math.max(least, low), Math.min(most, high)] : [low, high];
  plan = state.plan;
}

// The camera's course::at().
function place({ start, speed, pieces }, passed) {
  for (const [lasting, acceleration] of pieces) {
    const t = Math.min(Math.max(passed, 0), lasting);
    start += t * (speed + acceleration * t / 2);
    speed += t * acceleration;
    passed -= lasting;
    if (passed <= 0) break;
  }
  return start;
}

// In the steps that the camera's pictures are taken in, so that one of this view lies on it pixel by pixel.
const step = (degrees) => Math.round(degrees * 1024) / 1024;
export const view_of = ({ pan, tilt, fov }) => ({ pan: step(pan), tilt: step(tilt), fov: step(fov) });

// Pan is counted through: 370 is one turn and 10 degrees.
export function position_at(time) {
  const [pan, tilt, zoom] = plan.axes.map((axis) => place(axis, time - plan.begun));
  return { pan, tilt, fov: 2 ** zoom };
}

export const moves_at = (time) => plan.axes.some(({ pieces }) => pieces.reduce((sum, [lasting]) => sum + lasting, plan.begun) > time);
