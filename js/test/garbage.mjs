// What an audio worklet calls for each block allocates nothing; in a process of its own, since nothing else may either.
import assert from 'node:assert/strict';
import { constants, PerformanceObserver } from 'node:perf_hooks';
import { test } from 'node:test';
import { load } from 'vela';

// Of what is new, that is: the old is collected from time to time whatever is done. One of three attempts must be free of
// it, as something else may lie about.
test('a million calls of an audio worklet leave nothing for the garbage collector', async () => {
    const resampler = (await load()).Resampler.withLobes(8000, 48000, 16),
        heard = new Float32Array(128).fill(0.25),
        samples = new Int16Array(128),
        attempts = [];
    let collections = 0;
    const run = (count) => {
        for (let i = 0; i < count; ++i) resampler.pushInto(heard, samples);
    };
    run(1e5); // until it is compiled
    new PerformanceObserver((list) => {
        const isOfNew = ({ detail }) => detail.kind === constants.NODE_PERFORMANCE_GC_MINOR;
        collections += list.getEntries().filter(isOfNew).length;
    }).observe({ entryTypes: ['gc'] });
    do {
        assert.ok(attempts.length < 3, attempts.join('; '));
        collections = 0;
        const before = process.memoryUsage().heapUsed;
        run(1e6);
        const used = process.memoryUsage().heapUsed - before;
        await new Promise((done) => setTimeout(done, 10)); // the observer is notified
        attempts.push(`${collections} collections, ${used} bytes`);
    } while (!/^0 collections, -?\d{1,5} bytes$/.test(attempts.at(-1)));
});
