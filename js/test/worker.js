import * as lib from './vela/index.js';
import { checkAll } from './common.js';

onmessage = async ({ data }) => {
  try {
    postMessage({ digests: await checkAll(lib, data) });
  } catch (error) {
    postMessage({ error: error.stack });
  }
};
