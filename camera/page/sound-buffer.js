// Samples on their way to the speaker. Playing begins when enough are there; when too many are, the oldest are dropped.
export class SoundBuffer {
    #samples;
    #reserve;
    #end = 0; // where the next sample goes
    #count = 0;
    #isPlaying = false;

    // `rate`: samples a second.
    constructor(rate) {
        this.#samples = new Float32Array(rate);
        this.#reserve = Math.round(0.2 * rate);
    }

    // 16-bit samples, the least significant byte first.
    write(bytes) {
        const data = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
        const capacity = this.#samples.length;
        for (let at = 0; at < bytes.length; at += 2) {
            this.#samples[this.#end] = data.getInt16(at, true) / 32768;
            this.#end = (this.#end + 1) % capacity;
        }
        this.#count += bytes.length / 2;
        if (this.#count > capacity) this.#count = this.#reserve;
    }

    // Fills `output` as far as there are samples; false when the sound has a gap. Allocates nothing.
    read(output) {
        this.#isPlaying ||= this.#count >= this.#reserve;
        if (!this.#isPlaying) return true;
        const capacity = this.#samples.length;
        const count = Math.min(output.length, this.#count);
        const begin = this.#end - this.#count + capacity;
        for (let i = 0; i < count; ++i) output[i] = this.#samples[(begin + i) % capacity];
        this.#count -= count;
        this.#isPlaying = count === output.length;
        return this.#isPlaying;
    }
}
