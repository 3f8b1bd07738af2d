import { load } from './vela/index.js';
import { sample } from './sample.js';

onmessage = async ({ data }) => postMessage(sample(await load(data)));
