// The library in the page itself, where scripts/camera could build it. What follows the pointer then asks nobody.
export let overlay = null; // masks and marks
export let library = null, compiled = null; // all else, and its module, for an audio worklet

export const loaded = import('./vela/overlay.js').then(({ load }) => load()).then((module) => overlay = module).catch(() => null);
import('./vela/index.js').then(async ({ compile, instantiate }) => {
  compiled = await compile();
  library = instantiate(compiled);
}).catch(() => {});

// The digests of what the page computes, like the camera's; null where it can't.
export const digests_here = () => new Promise((done) => {
  const worker = new Worker('./digests-worker.js', { type: 'module' });
  worker.onmessage = ({ data }) => {
    worker.terminate();
    done({ architecture: 'WebAssembly', modules: Object.entries(data).map(([name, digest]) => ({ name, digest })) });
  };
  worker.onerror = () => done(null);
});
