// Watches each frame that the browser gives in a second, and 30 at least, while the pointer, which is down at a place, moves before each,
// or while the camera turns home: the frame must show what belongs there by then.
import assert from 'node:assert/strict';
import { isFirefox, page } from './harness.mjs';

// Runs in the page. `kind` is what must hold: "drag", the direction under the pointer stays there; "corner", a corner of
// a mask is under the pointer; "turn", the picture and a corner follow the camera's plan.
async function watch(kind, x, y, pointerId) {
    const { live, ptz } = await import('/camera.js');
    const { overlay } = await import('/modules.js');
    const { motion } = ptz;
    const view = live.element;
    const nextFrame = window.requestAnimationFrame;
    const distance = (a, b) => Math.hypot(...a.map((value, i) => value - b[i]));
    const pixel = ([clientX, clientY]) => Object.values(live.positionOf({ clientX, clientY }));
    const angles = ({ pan, tilt, fov }) => [Number(pan), Number(tilt), Number(fov)];
    const isOff = (view, time) => distance(angles(view), angles(motion.positionAt(time)));
    const corners = () =>
        [...document.querySelectorAll('#sketch .corner')].map((corner) =>
            ['cx', 'cy'].map((name) => Number(corner.getAttribute(name))),
        );
    const start = overlay.unproject(live.view, ...(kind === 'turn' ? corners()[0] : pixel([x, y])));
    const place = () => Object.values(overlay.project(live.view, start.pan, start.tilt));
    const isRight = {
        drag: (at) => distance(place(), pixel(at)) < 1,
        corner: (at) => corners().some((corner) => distance(corner, pixel(at)) < 1),
        turn: (at, time) => isOff(live.view, motion.cameraTime(time)) < 0.001 && distance(place(), corners()[0]) < 0.1,
    }[kind];
    // How far pictures that the camera takes meanwhile are from where the page expects them.
    const comparePictures = async () => {
        let largest = 0;
        for (let i = 0; i < 4; ++i) {
            const { headers } = await fetch('/api/video?width=64&height=36');
            const picture = Object.fromEntries(new URLSearchParams(headers.get('X-Camera-Picture')));
            largest = Math.max(largest, isOff(picture, Number(picture.time)));
        }
        return largest;
    };
    if (kind === 'turn') {
        document.getElementById('home').click();
        while (!motion.isMovingAt(motion.cameraTime(performance.now()))) await new Promise(nextFrame);
    }
    const error = kind === 'turn' ? comparePictures() : 0;
    const begin = performance.now();
    const durations = [];
    let late = 0;
    let frameBegin = null;
    window.requestAnimationFrame = (run) =>
        nextFrame((time) => {
            frameBegin ??= performance.now();
            run(time);
        });
    live.refresh();
    await new Promise((done) => view.addEventListener('viewchange', done, { once: true }));
    const elapsed = () => performance.now() - begin;
    while (elapsed() < 1000 || (durations.length < 30 && elapsed() < 20000)) {
        const at = [x + 40 * Math.sin(1 + durations.length / 7), y + 20 * Math.sin(durations.length / 5)];
        const handled = performance.now();
        if (kind !== 'turn') {
            const init = { pointerId, clientX: at[0], clientY: at[1], bubbles: true };
            view.dispatchEvent(new PointerEvent('pointermove', init));
        }
        for (let i = 0; i < 20; ++i) await null; // what the page has promised
        const work = performance.now() - handled;
        frameBegin = null;
        const time = await new Promise(nextFrame);
        durations.push(work + (frameBegin === null ? 0 : performance.now() - frameBegin));
        if (!isRight(at, time)) ++late;
    }
    window.requestAnimationFrame = nextFrame;
    durations.sort((a, b) => a - b);
    return { late, durations, error: await error, seconds: (performance.now() - begin) / 1000 };
}

export async function watchFrames(kind, x = 0, y = 0) {
    const { late, durations, error, seconds } = await page.evaluate(watch, kind, x, y, isFirefox ? 0 : 1);
    const count = durations.length;
    const at = (share) => durations[Math.floor(share * count)].toFixed(1);
    console.log(
        `${kind}: ${count - late} of ${count} frames in time, ${(count / seconds).toFixed(0)} a second; ` +
            `${at(0)} ms at least, median ${at(0.5)}, 99 % within ${at(0.99)}`,
    );
    assert.ok(late === 0 && count > 5, `${late} of ${count} frames show what was before`);
    assert.ok(durations[0] < 1000 / 30, 'a frame that nothing delays takes less than a thirtieth of a second');
    assert.ok(error < 0.001, `a picture of the turning camera is ${error} degrees off`);
}
