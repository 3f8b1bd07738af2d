// An audio worklet has no crypto, fetch, TextDecoder or performance: everything else works, with the same bits.
import { instantiate, compile, VelaError } from './vela/index.js';
import { digests } from './digests.js';

registerProcessor('check', class extends AudioWorkletProcessor {
  constructor({ processorOptions: { module } }) {
    super();
    const vela = instantiate(module);
    const text = vela.url.decode(vela.url.encode('ü€😀'));
    let refused = 'nothing';
    try {
      vela.uuid.random();
    } catch (error) {
      refused = error instanceof VelaError ? error.message : `${error}`;
    }
    compile().catch((error) => this.port.postMessage({ digests: digests(vela), text, refused, fetched: error instanceof VelaError }));
  }

  process() { return true; }
});
