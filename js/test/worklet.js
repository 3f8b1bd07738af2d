// An audio worklet has no crypto, fetch or TextDecoder: everything else works.
import { VelaError, compile, instantiate } from './vela/index.js';
import { sample } from './sample.js';

function messageOf(run) {
    try {
        run();
    } catch (error) {
        return error instanceof VelaError ? error.message : String(error);
    }
}

registerProcessor(
    'check',
    class extends AudioWorkletProcessor {
        constructor({ processorOptions: { module } }) {
            super();
            const vela = instantiate(module),
                random = messageOf(() => vela.uuid.random());
            compile().catch(({ message }) => this.port.postMessage({ sample: sample(vela), random, fetch: message }));
        }

        process() {
            return true;
        }
    },
);
