// Sound: what is played is what the library makes of the stream, in an audio worklet and, without one, in the page.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { base, openPanel, page, press, textOf, until, wait } from './harness.mjs';

// Runs in the page: the recorded voice by pieces through the worklet, and by the library at once.
async function playVoice(format, rate, lobes, to) {
    const { compiled, library } = await import('/modules.js');
    const [name, size] = format === 'wav' ? ['littleEndian', 2] : [format, 1];
    const half = size * Math.floor(0.45 * rate);
    const reply = await fetch(`/api/audio?${new URLSearchParams({ format, rate, lobes })}`);
    const bytes = new Uint8Array(await reply.arrayBuffer()).slice(46 + half, 46 + 3 * half);
    const context = new OfflineAudioContext(1, to, to);
    await context.audioWorklet.addModule('/sound-worklet.js');
    const processorOptions = { module: compiled, rate, lobes, format: name };
    const node = new AudioWorkletNode(context, 'sound', { numberOfInputs: 0, processorOptions });
    let gaps = 0;
    node.port.onmessage = () => ++gaps;
    node.connect(context.destination);
    for (let at = 0, piece; at < bytes.length; at += piece.length) {
        piece = bytes.slice(at, at + size * Math.ceil(Math.random() * 1000));
        node.port.postMessage(piece);
    }
    await new Promise((done) => setTimeout(done, 300));
    const played = (await context.startRendering()).getChannelData(0);
    const resampler = library.Resampler.withLobes(to, rate, lobes);
    const expected = new Int16Array(resampler.pushBytes(bytes, name, 'littleEndian').buffer);
    resampler.free();
    await new Promise((done) => setTimeout(done, 100));
    const isSame = played.every((sample, i) => sample === (expected[i] ?? 0) / 32768);
    return { count: expected.length, peak: Math.max(...expected), isSame, gaps };
}

// Runs in the page: what is connected to a speaker is listened to as well.
function listen() {
    const { connect } = AudioNode.prototype;
    window.players = [];
    AudioNode.prototype.connect = function (to) {
        const { context } = this;
        const analyser = new AnalyserNode(context);
        const samples = new Float32Array(analyser.fftSize);
        const player = { node: this.constructor.name, context, peak: 0 };
        window.players.push(player);
        connect.call(this, analyser);
        setInterval(() => {
            analyser.getFloatTimeDomainData(samples);
            player.peak = samples.reduce((peak, sample) => Math.max(peak, Math.abs(sample)), player.peak);
        }, 20);
        return connect.call(this, to);
    };
}
const untilHeard = (count) =>
    until((count) => {
        const last = window.players.at(-1);
        return window.players.length === count && last.context.currentTime > 2.5 && last.peak > 0.2;
    }, count);

test('the worklet plays the samples of the library', async () => {
    for (const options of [
        ['wav', 16000, 16, 48000],
        ['alaw', 8000, 16, 44100],
        ['ulaw', 48000, 2, 44100],
    ]) {
        const { count, peak, isSame, gaps } = await page.evaluate(playVoice, ...options);
        assert.ok(isSame && gaps === 1, `${options}: ${isSame ? 'the same' : 'other'} samples, ${gaps} gaps`);
        assert.ok(Math.abs(count - 0.9 * options[3]) < 200 && peak > 3000, `${count} samples up to ${peak}`);
    }
});

test('each format is heard without a gap, and ends', async () => {
    await page.evaluate(listen);
    await openPanel('sound');
    const client = await page.createCDPSession();
    await client.send('Performance.enable');
    const countProcessors = async () => {
        const { metrics } = await client.send('Performance.getMetrics');
        return metrics.find(({ name }) => name === 'AudioWorkletProcessors').value;
    };
    const before = await countProcessors();
    await press('#sound-listen');
    await until(() => window.players.length === 1);
    for (const format of ['alaw', 'ulaw', 'wav']) {
        // A busy machine may be too late once.
        for (let attempt = 0, words = 'gap'; words.includes('gap'); ++attempt) {
            assert.ok(attempt < 3, words);
            const count = await page.evaluate(() => window.players.length);
            await page.select('#sound-format', format);
            await untilHeard(count + 1);
            words = await textOf('#sound-words');
            assert.match(words, / dB/);
        }
        assert.ok(await page.evaluate(() => window.players.at(-1).peak < 1));
    }
    for (let i = 0; i < 5; ++i) {
        await press('#sound-listen');
        await wait(100);
    }
    await until(() => document.getElementById('sound-levels').hidden);
    await until(() => window.players.every(({ context }) => context.state === 'closed'));
    assert.equal(await countProcessors(), before, 'a worklet is left');
    await client.detach();
});

test('the chart shows what filters let through', async () => {
    const level = (lobes, hertz) =>
        page.evaluate(
            async (lobes, hertz) => {
                const levels = (await import('/spectrum.js')).responseOf(48000, 16000, lobes);
                return levels[Math.round((hertz / 24000) * levels.length)];
            },
            lobes,
            hertz,
        );
    for (const [lobes, hertz, low, high] of [
        [2, 1000, -0.5, 0.5],
        [16, 1000, -0.5, 0.5],
        [16, 7000, -1, 1],
        [2, 10000, -25, -5],
        [16, 10000, -80, -40],
        [16, 20000, -100, -60],
    ]) {
        const found = await level(lobes, hertz);
        assert.ok(found > low && found < high, `${lobes} lobes at ${hertz} Hz: ${found.toFixed(1)} dB`);
    }
});

// As on a page of another computer without https.
test('without a worklet the page plays it', async () => {
    await page.evaluateOnNewDocument(() => {
        Object.defineProperty(AudioContext.prototype, 'audioWorklet', { value: undefined });
    });
    await page.goto(`${base}/`);
    await page.evaluate(listen);
    await openPanel('sound');
    await page.select('#sound-format', 'ulaw');
    await press('#sound-listen');
    await untilHeard(1);
    assert.equal(await page.evaluate(() => window.players[0].node), 'ScriptProcessorNode');
    await press('#sound-listen');
    await until(() => window.players[0].context.state === 'closed');
});
