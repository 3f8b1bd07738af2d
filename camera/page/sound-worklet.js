// Live sound on its way to the speaker: converted by the library to the speaker's rate as it comes, and held until it's played.
import { instantiate } from './vela/index.js';

const begin = Math.round(0.2 * sampleRate), most = sampleRate; // samples in hand when playing begins, and at most: older ones are then left out

registerProcessor('sound', class extends AudioWorkletProcessor {
  ring = new Float32Array(most);
  end = 0; // where the next sample goes
  held = 0;
  playing = false;

  constructor({ processorOptions: { module, rate, lobes, format } }) {
    super();
    const resampler = instantiate(module).Resampler.withLobes(sampleRate, rate, lobes);
    this.port.onmessage = ({ data }) => this.keep(resampler.pushBytes(data, format, 'littleEndian'));
  }

  keep(bytes) {
    const data = new DataView(bytes.buffer);
    for (let at = 0; at < bytes.length; at += 2) {
      this.ring[this.end] = data.getInt16(at, true) / 32768;
      this.end = (this.end + 1) % most;
    }
    this.held += bytes.length / 2;
    if (this.held > most) this.held = begin;
  }

  // Nothing is allocated here: the collector must not come between two calls. Says when the sound has a gap.
  process(inputs, outputs) {
    this.playing ||= this.held >= begin;
    if (!this.playing) return true;
    const output = outputs[0][0], { ring } = this, count = Math.min(output.length, this.held);
    const from = this.end - this.held + most;
    for (let i = 0; i < count; ++i) output[i] = ring[(from + i) % most];
    this.held -= count;
    if (count < output.length) {
      this.playing = false;
      this.port.postMessage('gap');
    }
    return true;
  }
});
