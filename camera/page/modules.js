// The library as WebAssembly: masks and views, everything else, and the latter as a module for an audio worklet.
import { load as loadOverlay } from './vela/overlay.js';
import { compile, instantiate } from './vela/index.js';
import { byId, showText } from './dom.js';

const loading = Promise.all([loadOverlay(), compile()]);
loading.catch(() => showText(byId('message'), 'The page cannot load its WebAssembly modules.'));

export const [overlay, compiled] = await loading;
export const library = instantiate(compiled);
