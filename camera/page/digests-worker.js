import { load } from './vela/index.js';
import { digests } from './digests.js';

postMessage(digests(await load()));
