// What the camera hears, live, and how loud it is.
import { digits, get, part, say, tell } from './server.js';
import { compiled } from './vela.js';

const listen = part('sound-listen'), meter = part('sound-meter'), error = part('sound-error');
let playing = false, gaps = 0;

const how = () => new URLSearchParams({ rate: part('sound-rate').value, format: part('sound-format').value, lobes: part('sound-lobes').value });

function set_address() {
  part('sound-download').href = `/api/audio?${how()}`;
}

// The loudest moment since the last question.
async function measure() {
  if (!playing) return;
  const answer = await tell(error, get('/api/audio/levels', { count: 6 }));
  if (playing && answer) {
    const rms = Math.max(...answer.levels.map((one) => one.rms)), peak = Math.max(...answer.levels.map((one) => one.peak));
    meter.value = rms;
    part('sound-words').textContent = `${digits(rms)} dB, peak ${digits(peak)} dB${gaps ? `, gaps: ${gaps}` : ''}`;
  }
  setTimeout(measure, 300);
}

// ---- Playing. An audio element waits until it has far more than what comes in a second; this starts at once.

const codes = {
  wav: { name: 'littleEndian', bytes: 2, of: (data, i) => data.getInt16(2 * i, true) },
  alaw: { name: 'alaw', bytes: 1, of: (data, i) => {
    const code = data.getUint8(i) ^ 0x55, exponent = code >> 4 & 7, low = (code & 15) << 4 | 8;
    const size = exponent ? low + 256 << exponent - 1 : low;
    return code & 128 ? size : -size;
  } },
  ulaw: { name: 'ulaw', bytes: 1, of: (data, i) => {
    const code = ~data.getUint8(i), size = (((code & 15) << 3) + 132 << (code >> 4 & 7)) - 132;
    return code & 128 ? -size : size;
  } },
};

// A player takes pieces of whole samples as they come. With the library a worklet converts them to the speaker's own rate;
// browsers have none on pages that come neither from this computer nor by https.
const has_worklet = () => Boolean(compiled) && typeof AudioWorkletNode !== 'undefined';

async function worklet_player(speaker, { rate, format, lobes }, { signal }) {
  await speaker.audioWorklet.addModule('./sound-worklet.js');
  const node = new AudioWorkletNode(speaker, 'sound', {
    numberOfInputs: 0, outputChannelCount: [1], processorOptions: { module: compiled, rate, lobes, format: codes[format].name },
  });
  node.port.onmessage = () => { if (!signal.aborted) ++gaps; };
  node.connect(speaker.destination);
  return (bytes) => node.port.postMessage(bytes, [bytes.buffer]);
}

// Without it the page decodes them, and the browser plays one piece behind the other.
const ahead = 0.2; // seconds, against gaps
function piece_player(speaker, { rate, format }) {
  const code = codes[format];
  let next = 0;
  return (bytes) => {
    const count = bytes.length / code.bytes, data = new DataView(bytes.buffer), piece = speaker.createBuffer(1, count, rate);
    piece.copyToChannel(Float32Array.from({ length: count }, (_, i) => code.of(data, i) / 32768), 0);
    const source = new AudioBufferSourceNode(speaker, { buffer: piece });
    source.connect(speaker.destination);
    if (next < speaker.currentTime) next = speaker.currentTime + ahead;
    source.start(next);
    next += piece.duration;
  };
}

// Where the samples begin in a WAV file; -1 while that hasn't come yet.
function head_length(bytes) {
  const data = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
  for (let at = 12; at + 8 <= bytes.length; at += 8 + data.getUint32(at + 4, true))
    if (data.getUint32(at) === 0x64617461) return at + 8;
  return -1;
}

async function play(take, { rate, format, lobes }, { signal }) {
  const reply = await fetch(`/api/audio/live?${new URLSearchParams({ rate, format, lobes })}`, { signal });
  if (!reply.ok) throw new Error();
  const reader = reply.body.getReader(), size = codes[format].bytes;
  let rest = new Uint8Array(), body = false;
  for (;;) {
    const { value, done } = await reader.read();
    if (done) throw new Error();
    const bytes = new Uint8Array(rest.length + value.length);
    bytes.set(rest);
    bytes.set(value, rest.length);
    const head = body ? 0 : head_length(bytes), end = head < 0 ? 0 : bytes.length - (bytes.length - head) % size;
    body ||= head >= 0;
    if (head < end) take(bytes.slice(head, end));
    rest = bytes.slice(end);
  }
}

let stopping = null;
async function start() {
  stopping?.abort();
  gaps = 0;
  const mine = stopping = new AbortController(), { rate, format, lobes } = Object.fromEntries(how());
  const what = { rate: Number(rate), format, lobes: Number(lobes) };
  const player = has_worklet() ? worklet_player : piece_player;
  const speaker = new AudioContext(player === piece_player ? { sampleRate: what.rate } : {});
  try {
    await play(await player(speaker, what, mine), what, mine);
  } catch {
    if (mine.signal.aborted) return;
    stop();
    say(error, 'The sound has broken off.');
  } finally {
    speaker.close();
  }
}
function stop() {
  playing = false;
  stopping.abort();
  listen.setAttribute('aria-pressed', 'false');
  part('sound-levels').hidden = true;
}
listen.addEventListener('click', () => {
  if (playing) return stop();
  playing = true;
  listen.setAttribute('aria-pressed', 'true');
  part('sound-levels').hidden = false;
  say(error, '');
  start();
  measure();
});
for (const choice of ['sound-rate', 'sound-format', 'sound-lobes'])
  part(choice).addEventListener('change', () => {
    set_address();
    if (playing) start();
  });
set_address();
