// Live sound in an audio worklet: converted to the speaker's rate as it comes, and buffered until it is played.
import { SoundBuffer } from './sound-buffer.js';
import { instantiate } from './vela/index.js';

class SoundProcessor extends AudioWorkletProcessor {
    #buffer = new SoundBuffer(sampleRate);

    constructor({ processorOptions: { module, rate, lobes, format } }) {
        super();
        const resampler = instantiate(module).Resampler.withLobes(sampleRate, rate, lobes);
        this.port.onmessage = ({ data }) => this.#buffer.write(resampler.pushBytes(data, format, 'littleEndian'));
    }

    process(inputs, outputs) {
        if (!this.#buffer.read(outputs[0][0])) this.port.postMessage('gap');
        return true;
    }
}
registerProcessor('sound', SoundProcessor);
